// SPDX-License-Identifier: Apache-2.0
//
// Text files, read and written whole, plain or guarded. A guarded file is the CRC32 of the text, four bytes in the
// processor's order, and the text. It has no magic number, version or length: only the checksum proves that a file is
// one, and the text's size follows from the file's.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "base/file_size.h"
#include "base/owners.h"
#include "base/report.h"
#include "firmware/checksum.h"
#include "vexora/storage.h"

namespace {

using vexora::HeapBlock;
using vexora::Stream;

using Crc = std::uint32_t;

enum class Envelope { kNone, kCrc32 };

constexpr std::size_t headerSize(Envelope envelope) { return envelope == Envelope::kCrc32 ? sizeof(Crc) : 0; }

Crc crcOf(const char *text, std::size_t length) {
  return CalculateCRC32(reinterpret_cast<const unsigned char *>(text), static_cast<unsigned>(length));
}

/// Opens a file without a stream buffer: content is copied directly between the kernel and the caller's memory.
Stream openUnbuffered(const char *path, const char *mode) {
  Stream file(std::fopen(path, mode));
  if (file) {
    static_cast<void>(std::setvbuf(file.get(), nullptr, _IONBF, 0));
  }
  return file;
}

/// Finds the length of a file's text; returns false when there is no text, or more than memory or a checksum can hold.
/// A file without a size is never opened: opening a pipe would wait for a writer.
bool textLength(const char *path, Envelope envelope, std::size_t &length) {
  const std::uint64_t size = vexora::fileSize(path).value_or(0);
  if (size <= headerSize(envelope)) {
    return false;
  }
  const std::uint64_t text = size - headerSize(envelope);
  length = static_cast<std::size_t>(text);
  return text < std::numeric_limits<std::size_t>::max() &&
         (envelope == Envelope::kNone || text <= std::numeric_limits<unsigned>::max());
}

char *readText(const char *path, Envelope envelope) {
  std::size_t length = 0;
  if (path == nullptr || !textLength(path, envelope, length)) {
    return nullptr;
  }
  const Stream file = openUnbuffered(path, "rbe");
  if (!file) {
    return nullptr;
  }
  Crc stored = 0;
  if (envelope == Envelope::kCrc32 && std::fread(&stored, sizeof stored, 1, file.get()) != 1) {
    return nullptr;
  }
  HeapBlock<char> text(static_cast<char *>(std::malloc(length + 1)));
  if (!text || std::fread(text.get(), length, 1, file.get()) != 1) {
    return nullptr;
  }
  text.get()[length] = '\0';
  return envelope == Envelope::kCrc32 && crcOf(text.get(), length) != stored ? nullptr : text.release();
}

/// Failures are ignored: the reader refuses a short file.
int writeText(const char *path, const char *text, Envelope envelope) {
  if (path == nullptr || text == nullptr) {
    return -1;
  }
  const std::size_t length = std::strlen(text);
  Crc crc = 0;
  if (envelope == Envelope::kCrc32) {
    if (length > std::numeric_limits<unsigned>::max()) {
      return -1;
    }
    crc = crcOf(text, length);
  }
  const Stream file = openUnbuffered(path, "we");
  if (!file) {
    return -1;
  }
  static_cast<void>(std::fwrite(&crc, headerSize(envelope), 1, file.get()));
  static_cast<void>(std::fwrite(text, length, 1, file.get()));
  return 0;
}

}  // namespace

char *vexora_string_read_file(const char *path) { return readText(path, Envelope::kNone); }

char *vexora_string_read_file_with_crc32_check(const char *path) { return readText(path, Envelope::kCrc32); }

int vexora_string_write_2_file(const char *path, const char *text) { return writeText(path, text, Envelope::kNone); }

int vexora_string_write_2_file_with_crc32_check(const char *path, const char *text) {
  return writeText(path, text, Envelope::kCrc32);
}

char *fileread(const char *path) {
  const Stream file = path != nullptr ? openUnbuffered(path, "rbe") : Stream();
  if (!file) {
    return nullptr;
  }
  // Some file systems can't seek to a directory's end; the position is then still at the beginning.
  static_cast<void>(fseeko(file.get(), 0, SEEK_END));
  const off_t size = ftello(file.get());
  if (size < 0) {
    return nullptr;
  }
  const off_t begin = size > VEXORA_FILE_TAIL_MAX ? size - VEXORA_FILE_TAIL_MAX : 0;
  const auto length = static_cast<std::size_t>(size - begin);
  HeapBlock<char> text(static_cast<char *>(std::malloc(length + 1)));
  if (!text) {
    REPORT_FAILURE(vexora::kBaseFunction, "Unable to allocate space for char buffer field\n");
    return nullptr;
  }
  // The file may have become shorter, or unreadable.
  const std::size_t got = fseeko(file.get(), begin, SEEK_SET) == 0 ? std::fread(text.get(), 1, length, file.get()) : 0;
  std::memset(text.get() + got, 0, length + 1 - got);
  return text.release();
}
