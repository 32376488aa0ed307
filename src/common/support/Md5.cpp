#include "common/support/Md5.h"

#include <openssl/evp.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "common/support/Log.h"
#include "common/support/PlainFile.h"

namespace LedgoraCollect {
namespace {

constexpr std::size_t kReadBytes = 64 * 1024;
constexpr int kMd5TextBytes = 2 * static_cast<int>(kMd5DigestBytes) + 1;

void dropState(tess_md5_context* context) {
  EVP_MD_CTX_free(context->state);
  context->state = nullptr;
}

/// A state that nothing was added to, or null. Looking the algorithm up costs
/// more than the digest of a short text, so others are copied from it.
const EVP_MD_CTX* emptyState() {
  static EVP_MD_CTX* const state = [] {
    EVP_MD_CTX* const made = EVP_MD_CTX_new();
    if (made != nullptr && EVP_DigestInit_ex(made, EVP_md5(), nullptr) == 1) return made;
    EVP_MD_CTX_free(made);
    return static_cast<EVP_MD_CTX*>(nullptr);
  }();
  return state;
}

/// Reads the whole of `descriptor` into the MD5; false if a read fails or the
/// file is too large.
bool digestFile(int descriptor, tess_md5_context* context) {
  const auto buffer = std::make_unique<char[]>(kReadBytes);
  off_t offset = 0;
  for (;;) {
    const ssize_t count = readAt(descriptor, buffer.get(), kReadBytes, offset);
    if (count < 0) return false;
    if (count == 0) return true;
    tess_md5_update(context, buffer.get(), static_cast<std::size_t>(count));
    offset += count;
    if (offset > kMaximumMd5FileBytes) return false;
  }
}

}  // namespace

tess_md5_context::~tess_md5_context() { EVP_MD_CTX_free(state); }

void tess_md5_init(tess_md5_context* context) {
  dropState(context);
  const EVP_MD_CTX* const empty = emptyState();
  if (empty != nullptr) context->state = EVP_MD_CTX_new();
  if (context->state != nullptr && EVP_MD_CTX_copy_ex(context->state, empty) == 1) return;
  error_output(0, __func__, __LINE__, "MD5 isn't available");
  dropState(context);
}

void tess_md5_update(tess_md5_context* context, const void* data, std::size_t length) {
  if (context->state == nullptr) return;
  if (EVP_DigestUpdate(context->state, data, length) != 1) dropState(context);
}

void tess_md5_final(tess_md5_context* context, unsigned char digest[kMd5DigestBytes]) {
  std::memset(digest, 0, kMd5DigestBytes);
  if (context->state == nullptr) return;
  if (EVP_DigestFinal_ex(context->state, digest, nullptr) != 1) {
    std::memset(digest, 0, kMd5DigestBytes);
  }
  dropState(context);
}

void get_file_md5(const char* path, char* out, int size) {
  if (size < kMd5TextBytes) return;
  const FileDescriptor file = openRegularFile(path);
  if (!file) return;
  tess_md5_context context;
  tess_md5_init(&context);
  if (!digestFile(file.get(), &context) || context.state == nullptr) return;
  unsigned char digest[kMd5DigestBytes];
  tess_md5_final(&context, digest);
  for (std::size_t i = 0; i < kMd5DigestBytes; ++i) {
    std::snprintf(out + 2 * i, 3, "%02x", static_cast<unsigned>(digest[i]));
  }
}

}  // namespace LedgoraCollect
