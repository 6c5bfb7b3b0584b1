// SPDX-License-Identifier: Apache-2.0
//
// Foreign files, through the readers of whole files. An input is the file after one byte. When that byte is odd, the
// file's first four bytes, where a guarded file has its checksum, are corrected first.
#include <json-c/json.h>

#include <cstring>
#include <string>

#include "firmware/checksum.h"
#include "target.h"
#include "vexora/storage.h"

namespace {

constexpr const char *kFile = "/var/file";

/// Requires a block if one is `expected`, with the text and a zero after it. Releases the block.
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
