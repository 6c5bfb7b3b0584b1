// SPDX-License-Identifier: Apache-2.0
//
// The tool's own files are read and replaced as a whole: an interrupted run leaves the old file or the new one.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "core/root.h"
#include "core/tool.h"

namespace vexora::tool {
namespace {

constexpr const char *kStandard = "-";

bool standardOutputIsTaken = false;

[[noreturn]] void fail(const std::string &path, const char *doing) {
  throw Failure(kInaccessible, std::string("cannot ") + doing + " " + printable(path) + ": " + std::strerror(errno));
}

class Open {
 public:
  explicit Open(int descriptor) : descriptor_(descriptor) {}
  Open(const Open &) = delete;
  Open &operator=(const Open &) = delete;
  ~Open() { shut(); }
  [[nodiscard]] int get() const { return descriptor_; }
  int shut() { return descriptor_ > STDERR_FILENO ? close(std::exchange(descriptor_, -1)) : 0; }

 private:
  int descriptor_;
};

bool writeAll(int descriptor, std::span<const std::uint8_t> content) {
  while (!content.empty()) {
    const ssize_t written = write(descriptor, content.data(), content.size());
    if (written < 0 && errno != EINTR) {
      return false;
    }
    content = content.subspan(written < 0 ? 0 : static_cast<std::size_t>(written));
  }
  return true;
}

mode_t modeFor(const std::string &path) {
  struct stat old {};
  if (stat(path.c_str(), &old) == 0) {
    return old.st_mode & 07777U;
  }
  const mode_t mask = umask(0);
  umask(mask);
  return 0666U & ~mask;
}

/// Resolves links: the target of a link is replaced, not the link.
std::string withoutLinks(const std::string &path) {
  char *real = realpath(path.c_str(), nullptr);
  std::string resolved = real != nullptr ? real : path;
  std::free(real);
  return resolved;
}

/// Returns whether a path is a pipe or a device, which is written in place: rename() would replace it by a file.
bool isSpecial(const std::string &path) {
  struct stat there {};
  return stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode);
}

void writeInPlace(const std::string &path, std::span<const std::uint8_t> before,
                  std::span<const std::uint8_t> content) {
  Open file(path == kStandard ? STDOUT_FILENO : open(path.c_str(), O_WRONLY | O_CLOEXEC));
  if (file.get() < 0 || std::fflush(stdout) != 0 || !writeAll(file.get(), before) || !writeAll(file.get(), content) ||
      file.shut() != 0) {
    fail(path == kStandard ? "standard output" : path, "write");
  }
}

void replace(const std::string &path, std::span<const std::uint8_t> before, std::span<const std::uint8_t> content) {
  std::string fresh = path + ".XXXXXX";
  Open file(mkostemp(fresh.data(), O_CLOEXEC));
  if (file.get() < 0) {
    fail(path, "write");
  }
  if (!writeAll(file.get(), before) || !writeAll(file.get(), content) || fchmod(file.get(), modeFor(path)) != 0 ||
      fsync(file.get()) != 0 || file.shut() != 0 || std::rename(fresh.c_str(), path.c_str()) != 0) {
    const int error = errno;
    unlink(fresh.c_str());
    errno = error;
    fail(path, "write");
  }
}

std::string nameOf(const std::string &path) { return path == kStandard ? "standard input" : path; }

Open openToRead(const std::string &path) {
  const std::string resolved = path == kStandard ? path : ownPath(path);
  const OwnFiles own;
  const int file = path == kStandard ? STDIN_FILENO : open(resolved.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    fail(path, "read");
  }
  return Open(file);
}

std::vector<std::uint8_t> readAll(const Open &file, const std::string &name, std::size_t most) {
  std::vector<std::uint8_t> content;
  std::array<std::uint8_t, 1 << 16> piece;
  for (;;) {
    const ssize_t got = read(file.get(), piece.data(), piece.size());
    if (got == 0) {
      return content;
    }
    if (got < 0 && errno != EINTR) {
      fail(name, "read");
    }
    content.insert(content.end(), piece.begin(), piece.begin() + std::max<ssize_t>(got, 0));
    if (content.size() > most) {
      throw Failure(kFinding, printable(name) + ": more than " + std::to_string(most) + " bytes");
    }
  }
}

}  // namespace

std::vector<std::uint8_t> readFile(const std::string &path, std::size_t most) {
  return readAll(openToRead(path), nameOf(path), most);
}

LargeFile::LargeFile(const std::string &path) {
  constexpr std::size_t kMaxRead = 1U << 26;
  const Open file = openToRead(path);
  struct stat about {};
  if (fstat(file.get(), &about) == 0 && S_ISREG(about.st_mode) && about.st_size > 0) {
    const auto size = static_cast<std::size_t>(about.st_size);
    void *map = std::in_range<std::size_t>(about.st_size) ? mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0)
                                                          : MAP_FAILED;
    if (map == MAP_FAILED) {
      fail(nameOf(path), "read");
    }
    bytes_ = {static_cast<const std::uint8_t *>(map), size};
  } else {
    read_ = readAll(file, nameOf(path), kMaxRead);
    bytes_ = read_;
  }
}

LargeFile::~LargeFile() {
  if (read_.empty() && !bytes_.empty()) {
    munmap(const_cast<std::uint8_t *>(bytes_.data()), bytes_.size());
  }
}

void writeFile(const std::string &path, std::span<const std::uint8_t> content, std::span<const std::uint8_t> before) {
  const OwnFiles own;
  const std::string resolved = path == kStandard ? path : withoutLinks(ownPath(path));
  if (path == kStandard && standardOutputIsTaken) {
    throw Failure(kUsage, "with --json standard output has the answer: name a file to write");
  }
  if (path == kStandard || isSpecial(resolved)) {
    writeInPlace(resolved, before, content);
  } else {
    replace(resolved, before, content);
  }
}

std::string readText(const std::string &path, std::size_t most) {
  const std::vector<std::uint8_t> content = readFile(path, most);
  return {content.begin(), content.end()};
}

void reserveStandardOutput() { standardOutputIsTaken = true; }

void writeFile(const std::string &path, std::string_view content) {
  writeFile(path, std::span(reinterpret_cast<const std::uint8_t *>(content.data()), content.size()));
}

}  // namespace vexora::tool
