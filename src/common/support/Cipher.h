#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace LedgoraCollect {

/// Bytes before the cipher text in an enciphered file.
constexpr std::size_t kCipherHeaderBytes = 16;

/// How a text is enciphered.
struct storage_crypto_param_s {
  const char* name;   ///< scheme; only "default_crypto" is known
  const char* key;    ///< 32 printable characters
  int keyForm;        ///< 0: the key's characters are the key
  int authenticated;  ///< 1: AES-256-GCM with its tag
};

/// The parameters of this system's protected files.
storage_crypto_param_s defaultCipherParameters();

/// Non-zero if `path` is a regular file of at least 16 bytes that begins with
/// the header of an enciphered file of a known version. 0 for a missing file.
int file_is_enc(const char* path);

/// Deciphers what stands behind the header: nonce, cipher text, tag. Returns
/// a malloc'ed, zero-terminated text that the caller frees, or null if the
/// parameters are unknown or anything in the data was changed.
char* storage_aes_decrypt(const void* data, std::size_t length,
                          const storage_crypto_param_s* parameters);

/// Makes a whole enciphered file, header included, from `plain`. False if the
/// library refuses or there is no randomness for the nonce.
bool encipherFileContent(std::string_view plain, const storage_crypto_param_s& parameters,
                         std::string& out);

}  // namespace LedgoraCollect
