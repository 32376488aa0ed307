#pragma once

#include <cstddef>

struct evp_md_ctx_st;

namespace LedgoraCollect {

constexpr std::size_t kMd5DigestBytes = 16;

/// State of an MD5 between its three steps. tess_md5_final releases it; so
/// does the destructor.
struct tess_md5_context {
  tess_md5_context() = default;
  tess_md5_context(const tess_md5_context&) = delete;
  tess_md5_context& operator=(const tess_md5_context&) = delete;
  ~tess_md5_context();
  evp_md_ctx_st* state = nullptr;
};

/// Begins an MD5. On systems whose policy forbids MD5 the digest stays zero
/// and the log tells.
void tess_md5_init(tess_md5_context* context);
void tess_md5_update(tess_md5_context* context, const void* data, std::size_t length);
/// Ends the MD5: `digest` gets 16 bytes, all zero after a failure.
void tess_md5_final(tess_md5_context* context, unsigned char digest[kMd5DigestBytes]);

/// Anybody can make a file of any size, as a sparse one takes no space; a larger
/// one isn't hashed, also if it grows meanwhile.
constexpr long long kMaximumMd5FileBytes = 2LL << 30;

/// Writes the MD5 of the file's content as 32 lower-case hexadecimal digits
/// and a terminator into `out`. On failure (unreadable, not a regular file, too
/// large, `size` below 33) `out` is left as it is.
void get_file_md5(const char* path, char* out, int size);

}  // namespace LedgoraCollect
