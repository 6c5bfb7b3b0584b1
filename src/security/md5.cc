// SPDX-License-Identifier: Apache-2.0
//
// MD5 digests of streams. libcrypto is loaded by path for each digest and closed after it, so that a daemon does not
// keep it in memory for an occasional digest. Handle and functions are exported objects of the process.

#include <dlfcn.h>
#include <openssl/md5.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

#include "vexora/security.h"

static_assert(sizeof(vexora_md5_symbol) == 258 && offsetof(vexora_md5_symbol, name) == 2);
static_assert(VEXORA_MD5_SIZE == MD5_DIGEST_LENGTH);

vexora_md5_symbol g_Md5Initialize[3] = {{0, "MD5_Init"}, {1, "MD5_Update"}, {2, "MD5_Final"}};
vexora_md5_function g_Md5Handle[3] = {};
void *dl_md5 = nullptr;

namespace {

constexpr const char *kLibrary = "/usr/lib/arm-linux-gnueabi/libcrypto.so";
constexpr std::size_t kChunk = 64;

int initialize(MD5_CTX &context) { return std::bit_cast<int (*)(MD5_CTX *)>(g_Md5Handle[0])(&context); }

int update(MD5_CTX &context, const void *data, std::size_t size) {
  return std::bit_cast<int (*)(MD5_CTX *, const void *, std::size_t)>(g_Md5Handle[1])(&context, data, size);
}

int finalize(MD5_CTX &context, std::uint8_t *digest) {
  return std::bit_cast<int (*)(std::uint8_t *, MD5_CTX *)>(g_Md5Handle[2])(digest, &context);
}

/// Resolves a function into its slot. The process may write to the table, so its values are checked here.
bool resolve(const vexora_md5_symbol &symbol) {
  if (symbol.slot >= std::size(g_Md5Handle) || std::memchr(symbol.name, '\0', sizeof symbol.name) == nullptr) {
    return false;
  }
  const auto function = std::bit_cast<vexora_md5_function>(dlsym(dl_md5, symbol.name));
  g_Md5Handle[symbol.slot] = function;
  return function != nullptr;
}

/// Reads once and repeats after EINTR; returns 0 at the end of the stream and after a failure.
std::size_t readChunk(std::FILE *stream, void *chunk, std::size_t size) {
  for (;;) {
    errno = 0;
    const std::size_t got = std::fread(chunk, 1, size, stream);
    if (got > 0 || std::ferror(stream) == 0 || errno != EINTR) {
      return got;
    }
    std::clearerr(stream);
  }
}

bool updateFromStream(MD5_CTX &context, std::FILE *stream, std::uint32_t length) {
  std::array<std::uint8_t, kChunk> chunk;
  while (length > 0) {
    const std::size_t got = readChunk(stream, chunk.data(), std::min<std::size_t>(chunk.size(), length));
    if (got == 0) {
      break;
    }
    if (update(context, chunk.data(), got) == 0) {
      return false;
    }
    length -= static_cast<std::uint32_t>(got);
  }
  return true;
}

/// Computes the digest with the loaded library; returns the message of the failed step, or null.
const char *computeDigest(std::FILE *stream, std::uint32_t length, std::uint8_t *digest) {
  MD5_CTX context;
  if (initialize(context) == 0) {
    return "md5 init error!";
  }
  if (!updateFromStream(context, stream, length)) {
    return "md5 update error!";
  }
  return finalize(context, digest) == 0 ? "md5 final error!" : nullptr;
}

}  // namespace

int vexora_initialize_md5library() {
  if (dl_md5 == nullptr) {
    dl_md5 = dlopen(kLibrary, RTLD_NOW);
  }
  if (dl_md5 == nullptr) {
    return -1;
  }
  if (!std::all_of(std::begin(g_Md5Initialize), std::end(g_Md5Initialize), resolve)) {
    static_cast<void>(vexora_close_md5library());
    return -1;
  }
  return 0;
}

int vexora_close_md5library() {
  void *const library = std::exchange(dl_md5, nullptr);
  return library == nullptr ? 0 : dlclose(library);
}

int vexora_calcmd5_checksum(std::FILE *stream, std::uint32_t length, std::uint8_t digest[VEXORA_MD5_SIZE]) {
  if (stream == nullptr || digest == nullptr) {
    return -1;
  }
  if (vexora_initialize_md5library() != 0) {
    std::printf("error in initializing openssl library");
    return -1;
  }
  std::array<std::uint8_t, VEXORA_MD5_SIZE> computed;
  const char *const failure = computeDigest(stream, length, computed.data());
  if (failure != nullptr) {
    std::puts(failure);
    static_cast<void>(vexora_close_md5library());
    return -1;
  }
  std::copy(computed.begin(), computed.end(), digest);
  return vexora_close_md5library();
}
