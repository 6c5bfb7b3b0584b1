// SPDX-License-Identifier: Apache-2.0
//
// The envelope of guarded files: the CRC32 of the content, four bytes with the lowest first as on the boards, and the
// content. The library's calls take texts, which end at a zero byte; here the platform's checksum is asked itself, so
// that any content passes whole.

#include <firmware/checksum.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <limits>
#include <memory>

#include "files/commands.h"

namespace vexora::tool {
namespace {

constexpr std::size_t kHeader = 4;

struct Envelope {
  std::span<const std::uint8_t> content;
  std::uint32_t stored = 0;
  std::uint32_t computed = 0;
  std::string damage;  // empty when there is none
};

std::uint32_t checksum(const std::string &path, std::span<const std::uint8_t> content) {
  if (content.size() > std::numeric_limits<unsigned>::max()) {
    throw Failure(kFinding, printable(path) + ": longer than an envelope can hold");
  }
  return CalculateCRC32(content.data(), static_cast<unsigned>(content.size()));
}

Envelope look(const std::string &path, std::span<const std::uint8_t> file) {
  Envelope envelope;
  if (file.size() <= kHeader) {
    envelope.damage = std::to_string(file.size()) + " bytes are too few for a checksum and content";
    return envelope;
  }
  for (std::size_t i = 0; i < kHeader; ++i) {
    envelope.stored |= std::uint32_t{file[i]} << (8 * i);
  }
  envelope.content = file.subspan(kHeader);
  envelope.computed = checksum(path, envelope.content);
  if (envelope.stored != envelope.computed) {
    envelope.damage = "the checksum is " + format("0x%08x", envelope.stored) + ", the content's is " +
                      format("0x%08x", envelope.computed);
  }
  return envelope;
}

void wrap(const std::string &from, const std::string &to) {
  const LargeFile file(from);
  if (file.bytes().empty()) {
    throw Failure(kFinding, printable(from) + ": empty, and every reader refuses an empty content");
  }
  const std::uint32_t crc = checksum(from, file.bytes());
  std::array<std::uint8_t, kHeader> header{};
  for (std::size_t i = 0; i < kHeader; ++i) {
    header[i] = static_cast<std::uint8_t>(crc >> (8 * i));
  }
  writeFile(to, file.bytes(), header);
}

void unwrap(const std::string &from, const std::string &to) {
  const LargeFile file(from);
  const Envelope envelope = look(from, file.bytes());
  if (!envelope.damage.empty()) {
    throw Failure(kFinding, printable(from) + ": " + envelope.damage);
  }
  writeFile(to, envelope.content);
}

void verify(Session &session, const std::string &path) {
  const LargeFile file(path);
  const Envelope envelope = look(path, file.bytes());
  const auto zero = std::find(envelope.content.begin(), envelope.content.end(), 0);
  const bool cut = zero != envelope.content.end();
  const auto end = zero - envelope.content.begin();
  session.found(envelope.damage.empty() ? kFine : kFinding);
  if (session.json) {
    Json document = object({{"file", path}, {"whole", envelope.damage.empty()}});
    if (file.bytes().size() > kHeader) {
      document.add("contentLength", envelope.content.size());
      document.add("storedChecksum", format("0x%08x", envelope.stored))
          .add("checksum", format("0x%08x", envelope.computed));
      document.add("firstZeroByte", cut ? Json(end) : Json());
    }
    session.answer(document.add("damage", envelope.damage.empty() ? Json() : Json(envelope.damage)));
    return;
  }
  std::cout << printable(path) << ": "
            << (envelope.damage.empty() ? coloured("whole", 32) + ", " + std::to_string(envelope.content.size()) +
                                              " bytes of content, checksum " + format("0x%08x", envelope.stored)
                                        : coloured("damaged", 31) + ": " + envelope.damage)
            << "\n";
  if (cut) {
    std::cout << "note: the content has a zero byte at " << end << ", where the library's readers see its end\n";
  }
}

void addPair(Command file, const char *name, const char *description, const char *example,
             void (*work)(const std::string &, const std::string &)) {
  Command command = file.add(name, description, example);
  auto paths = std::make_shared<std::pair<std::string, std::string>>();
  command.option("FROM", paths->first, "File to read, - for standard input").required().typeName("");
  command.option("TO", paths->second, "File to write, - for standard output").required().typeName("");
  command.run([paths, work] { work(paths->first, paths->second); });
}

}  // namespace

void addFile(Command app, Session &session) {
  Command file = app.add("file",
                         "Puts files into the CRC32 envelope, takes them out and verifies them.\nThe checksum is "
                         "that of the platform's library: boards whose makers chose another one write files that "
                         "a workstation calls damaged.",
                         "printf '{}' | vexora file wrap - - | vexora file verify -");
  file.needsCommand();
  addPair(file, "wrap", "Writes a file with the checksum of another one, and its content.",
          "printf 'text' | vexora file wrap - /tmp/guarded", wrap);
  addPair(file, "unwrap", "Writes the content of a guarded file, unless that is damaged.",
          "printf 'text' | vexora file wrap - - | vexora file unwrap - -", unwrap);
  Command command = file.add("verify", "Compares a guarded file's checksum with its content.",
                             "printf 'text' | vexora file wrap - - | vexora file verify -");
  auto path = std::make_shared<std::string>();
  command.option("FILE", *path, "File to read, - for standard input").required().typeName("");
  command.run([&session, path] { verify(session, *path); });
}

}  // namespace vexora::tool
