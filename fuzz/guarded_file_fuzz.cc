// SPDX-License-Identifier: Apache-2.0
//
// Files that nobody of ours wrote, through the readers of whole files. An input is the file; when its first byte is
// odd, the four after it, where a guarded file has its checksum, are made right first.
#include <json-c/json.h>

#include <cstring>
#include <string>

#include "firmware/checksum.h"
#include "target.h"
#include "vexora/storage.h"

namespace {

constexpr const char *kFile = "/var/file";

/// Whether a block is there when it has to be, with the text and a zero behind it. Releases it.
void check(char *block, bool expected, std::string_view text) {
  require((block != nullptr) == expected, "a block where there is one to give");
  require(!expected || (std::memcmp(block, text.data(), text.size()) == 0 && block[text.size()] == '\0'), "the text");
  std::free(block);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  std::string content(data + (size > 0 ? 1 : 0), data + size);
  const std::string_view text = content.size() > 4 ? std::string_view(content).substr(4) : std::string_view();
  const std::uint32_t crc =
      CalculateCRC32(reinterpret_cast<const unsigned char *>(text.data()), static_cast<unsigned>(text.size()));
  if (!text.empty() && (data[0] & 1) != 0) {
    std::memcpy(content.data(), &crc, sizeof crc);
  }
  const bool guarded = !text.empty() && std::memcmp(content.data(), &crc, sizeof crc) == 0;
  putFile(kFile, content.data(), content.size());
  check(vexora_string_read_file(kFile), !content.empty(), content);
  check(vexora_string_read_file_with_crc32_check(kFile), guarded, text);
  check(fileread(kFile), true, content);
  json_object *const document = vexora_json_read_file_with_crc32_check(kFile);
  require(document == nullptr || guarded, "no document of a damaged file");
  json_object_put(document);
  return 0;
}
