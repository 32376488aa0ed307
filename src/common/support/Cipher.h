#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace LedgoraCollect {

// An enciphered file: a header of 16 bytes ("LEDGORA-ENC", a zero byte, the
// format version 1, three zero bytes), a nonce of 12 bytes, the cipher text
// and a tag of 16 bytes: AES-256-GCM without associated data.

constexpr std::size_t kCipherHeaderBytes = 16;
constexpr std::size_t kCipherNonceBytes = 12;
constexpr std::size_t kCipherTagBytes = 16;
/// What an enciphered file is longer than its plain text.
constexpr std::size_t kCipherOverheadBytes =
    kCipherHeaderBytes + kCipherNonceBytes + kCipherTagBytes;

/// How a text is enciphered.
struct storage_crypto_param_s {
  const char* name;   ///< scheme; only "default_crypto" is known
  const char* key;    ///< 32 printable characters
  int keyForm;        ///< 0: the key's characters are the key as they stand
  int authenticated;  ///< 1: a tag guards the cipher text
};

/// The parameters of this system's protected files.
storage_crypto_param_s defaultCipherParameters();

/// True if `content` begins with the header of an enciphered file of a known
/// version.
bool hasCipherHeader(std::string_view content);

/// Non-zero if `path` is a regular file that begins with such a header. 0 for
/// a plain or a missing file.
int file_is_enc(const char* path);

/// Deciphers what stands behind the header: nonce, cipher text, tag. Returns
/// a malloc'ed, zero-terminated text that the caller frees, or null if the
/// parameters are unknown or anything in the data was changed.
char* storage_aes_decrypt(const void* data, std::size_t length,
                          const storage_crypto_param_s* parameters);

/// Makes the whole content of an enciphered file, header included. False if
/// the parameters are unknown, the library refuses or there is no randomness
/// for the nonce.
bool encipherFileContent(std::string_view plain, const storage_crypto_param_s& parameters,
                         std::string& out);

}  // namespace LedgoraCollect
