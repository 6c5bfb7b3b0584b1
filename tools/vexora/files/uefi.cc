// SPDX-License-Identifier: Apache-2.0
//
// vexora uefi: packs and unpacks compressed firmware images.
#include <iostream>
#include <memory>
#include <optional>

#include <vexora/platform.h>

#include "files/commands.h"
#include "uefi/encoder.h"

namespace vexora::tool {
namespace {

constexpr std::size_t kImageHeader = 8;
// Larger than any flash: a header with a larger size is damaged.
constexpr std::uint32_t kMaxPlain = 1U << 28;

struct Form {
  const char *name;
  std::uint32_t version;
};

constexpr Form kForms[] = {{"uefi", VEXORA_UEFI_FORM}, {"tiano", VEXORA_TIANO_FORM}};

struct UefiArguments {
  std::string input;
  std::string output;
  std::string form;
};

using Bytes = std::vector<std::uint8_t>;

struct Header {
  std::uint32_t compressed;
  std::uint32_t plain;
};

std::uint32_t little32(std::span<const std::uint8_t> image, std::size_t at) {
  return static_cast<std::uint32_t>(littleEndian(image.subspan(at, 4)));
}

/// Throws Failure when the image is shorter than its header says, or the plain size exceeds kMaxPlain.
Header headerOf(const Bytes &image, const std::string &path) {
  std::uint32_t plain = 0;
  std::uint32_t scratch = 0;
  const bool fits = image.size() <= UINT32_MAX;
  if (!fits || UefiDecompressGetInfo(image.data(), static_cast<std::uint32_t>(image.size()), &plain, &scratch) != 0) {
    const bool hasHeader = image.size() >= kImageHeader;
    throw Failure(kFinding, printable(path) + ": " +
                                (hasHeader ? "has " + std::to_string(image.size()) + " bytes, and its header says " +
                                                 std::to_string(std::uint64_t{little32(image, 0)} + kImageHeader)
                                           : "too short for a header"));
  }
  if (plain > kMaxPlain) {
    throw Failure(kFinding, printable(path) + ": its header says " + std::to_string(plain) + " bytes of plain data");
  }
  return {little32(image, 0), plain};
}

/// Returns the plain data, or nothing when the image doesn't decompress in this form.
std::optional<Bytes> decompress(const Bytes &image, const Header &header, const Form &form) {
  Bytes plain(header.plain);
  Bytes scratch(VEXORA_UEFI_SCRATCH_SIZE);
  int result = -1;
  static_cast<void>(
      captured([&] { result = UefiTianoDecompress(image.data(), plain.data(), scratch.data(), form.version); }));
  return result == 0 ? std::optional(std::move(plain)) : std::nullopt;
}

void info(Session &session, const UefiArguments &arguments) {
  const Bytes image = readFile(arguments.input, kMaxPlain);
  const Header header = headerOf(image, arguments.input);
  const std::size_t after = image.size() - kImageHeader - header.compressed;
  Json forms = array();
  std::string names;
  for (const Form &form : kForms) {
    if (decompress(image, header, form)) {
      forms.append(form.name);
      names += (names.empty() ? "" : ", ") + std::string(form.name);
    }
  }
  session.found(names.empty() ? kFinding : kFine);
  if (session.json) {
    session.answer(
        object({{"compressed", header.compressed}, {"plain", header.plain}, {"after", after}, {"forms", forms}}));
    return;
  }
  std::cout << "compressed    " << header.compressed << " bytes\n"
            << "plain         " << header.plain << " bytes\n"
            << "after it      " << after << " bytes\n"
            << "decompresses  " << (names.empty() ? coloured("as neither form: damaged", 31) : "as " + names) << "\n";
}

/// Tries both forms, as an image doesn't say its own. If both yield data that differ, the user must choose.
void unpack(Session & /*session*/, const UefiArguments &arguments) {
  const Bytes image = readFile(arguments.input, kMaxPlain);
  const Header header = headerOf(image, arguments.input);
  std::optional<Bytes> found;
  for (const Form &form : kForms) {
    if (!arguments.form.empty() && arguments.form != form.name) {
      continue;
    }
    std::optional<Bytes> plain = decompress(image, header, form);
    if (found && plain && *found != *plain) {
      throw Failure(kFinding,
                    printable(arguments.input) + " decompresses in both forms, to different data: say --form");
    }
    if (plain) {
      found = std::move(plain);
    }
  }
  if (!found) {
    throw Failure(kFinding, printable(arguments.input) + " does not decompress" +
                                (arguments.form.empty() ? "" : " in the form " + arguments.form));
  }
  writeFile(arguments.output, *found);
}

void pack(Session &session, const UefiArguments &arguments) {
  const Bytes plain = readFile(arguments.input, kMaxPlain);
  const Form &form = arguments.form == kForms[0].name ? kForms[0] : kForms[1];
  const Bytes image = uefi::compress(plain, static_cast<uefi::Version>(form.version));
  if (image.empty() || plain.size() > kMaxPlain) {
    throw Failure(kFinding, printable(arguments.input) + " is larger than an image can be");
  }
  const auto again = decompress(image, headerOf(image, arguments.output), form);
  if (!again || *again != plain) {
    throw Failure(kFinding, "the library does not decompress what was compressed; nothing was written");
  }
  writeFile(arguments.output, image);
  if (arguments.output == "-") {
    return;
  }
  if (session.json) {
    session.answer(object({{"plain", plain.size()}, {"image", image.size()}, {"form", form.name}}));
  } else {
    std::cout << plain.size() << " bytes packed into " << image.size() << "\n";
  }
}

}  // namespace

void addUefi(Command app, Session &session) {
  Command command = app.add("uefi", "Looks into, unpacks and packs compressed UEFI images.",
                            "vexora uefi pack /etc/passwd passwd.lz --form tiano");
  command.needsCommand();
  const auto arguments = std::make_shared<UefiArguments>();
  const std::vector<std::string> forms({kForms[0].name, kForms[1].name});
  const auto addFiles = [&](Command one) {
    one.option("INPUT", arguments->input, "File to read, - for standard input").required();
    one.option("OUTPUT", arguments->output, "File to write, - for standard output").required();
  };
  const std::string make = "vexora uefi pack /etc/passwd passwd.lz --form tiano && ";
  Command shown = command.add("info", "Shows an image's sizes, and the forms in which it decompresses.",
                              make + "vexora uefi info passwd.lz");
  shown.option("IMAGE", arguments->input, "Image, - for standard input").required();
  Command unpacked = command.add("unpack", "Decompresses an image.", make + "vexora uefi unpack passwd.lz -");
  addFiles(unpacked);
  unpacked.option("--form", arguments->form, "Form of the image, where both are possible").isOneOf(forms);
  Command packed =
      command.add("pack", "Compresses a file into an image.", "vexora uefi pack /etc/passwd passwd.lz --form tiano");
  addFiles(packed);
  packed.option("--form", arguments->form, "Form of the image: distances up to 8 KiB (uefi) or 512 KiB (tiano)")
      .required()
      .isOneOf(forms);
  shown.run([&session, arguments] { info(session, *arguments); });
  unpacked.run([&session, arguments] { unpack(session, *arguments); });
  packed.run([&session, arguments] { pack(session, *arguments); });
}

}  // namespace vexora::tool
