// SPDX-License-Identifier: Apache-2.0
//
// vexora file: the envelope of checksummed files, which is a little-endian CRC32 and the content. The library's calls
// take texts, which end at a zero byte, so the firmware's checksum is called directly, for any content.

#include <firmware/checksum.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <limits>
#include <memory>

#include "core/several.h"
#include "files/commands.h"

namespace vexora::tool {
namespace {

constexpr std::size_t kHeader = 4;

struct Envelope {
  std::span<const std::uint8_t> content;
  std::uint32_t stored = 0;
  std::uint32_t computed = 0;
  std::string damage;  // "" when there is none
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
  envelope.stored = static_cast<std::uint32_t>(littleEndian(file.first(kHeader)));
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
  std::array<std::uint8_t, kHeader> header{};
  putLittleEndian(header, checksum(from, file.bytes()));
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

Json verify(Session &session, const std::string &path) {
  const LargeFile file(path);
  const Envelope envelope = look(path, file.bytes());
  const auto zero = std::find(envelope.content.begin(), envelope.content.end(), 0);
  const bool isWhole = envelope.damage.empty();
  const bool isCut = zero != envelope.content.end();
  const auto end = zero - envelope.content.begin();
  const std::vector<Finding> damage(isWhole ? 0 : 1, {path, "damaged: " + envelope.damage});
  session.report(damage, printable(path) + ": " + coloured("whole", 32) + ", " +
                             std::to_string(envelope.content.size()) + " bytes of content, checksum " +
                             format("0x%08x", envelope.stored));
  if (isCut && !session.json) {
    std::cout << "note: the content has a zero byte at " << end << ", where the library's readers see its end\n";
  }
  return object({{"file", path},
                 {"whole", isWhole},
                 {"contentLength", envelope.content.size()},
                 {"storedChecksum", format("0x%08x", envelope.stored)},
                 {"checksum", format("0x%08x", envelope.computed)},
                 {"firstZeroByte", isCut ? Json(end) : Json()}});
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
                         "that of the firmware's library: boards whose makers chose another one write files that "
                         "a workstation calls damaged.",
                         "printf '{}' | vexora file wrap - - | vexora file verify -");
  file.needsCommand();
  addPair(file, "wrap", "Writes a file with the checksum of another one, and its content.",
          "printf 'text' | vexora file wrap - /tmp/guarded", wrap);
  addPair(file, "unwrap", "Writes the content of a guarded file, unless that is damaged.",
          "printf 'text' | vexora file wrap - - | vexora file unwrap - -", unwrap);
  Command command = file.add("verify", "Compares guarded files' checksums with their contents.",
                             "printf 'text' | vexora file wrap - - | vexora file verify -");
  auto paths = std::make_shared<std::vector<std::string>>();
  command.option("FILE", *paths, "Files to read, - for standard input").required().typeName("");
  command.run([&session, paths] {
    forEachFile(session, *paths, [&](const std::string &path, const std::string &) { return verify(session, path); });
  });
}

}  // namespace vexora::tool
