#include "common/support/Cipher.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "common/support/Handles.h"
#include "common/support/PlainFile.h"

namespace LedgoraCollect {
namespace {

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, Releaser<EVP_CIPHER_CTX_free>>;

constexpr char kScheme[] = "default_crypto";
// Part of the product, not of a machine: it keeps rule files from casual
// reading and proves that they came whole, no more.
constexpr char kDefaultKey[] = "Kd7vRmXq2LtBw9ZsHn4FcYpJ6gAeU3To";
constexpr std::size_t kKeyBytes = 32;
// All sixteen bytes are compared, the last three included, so that no byte
// of an enciphered file can change unnoticed.
constexpr std::string_view kHeader("LEDGORA-ENC\0\1\0\0\0", kCipherHeaderBytes);
static_assert(sizeof kDefaultKey == kKeyBytes + 1);

bool areKnown(const storage_crypto_param_s& parameters) {
  return parameters.name != nullptr && std::strcmp(parameters.name, kScheme) == 0 &&
         parameters.key != nullptr && std::strlen(parameters.key) == kKeyBytes &&
         parameters.keyForm == 0 && parameters.authenticated == 1;
}

const unsigned char* bytes(const void* data) { return static_cast<const unsigned char*>(data); }

bool decipher(const unsigned char* nonce, std::string_view cipherText, const unsigned char* tag,
              const char* key, unsigned char* plain) {
  const CipherContext context(EVP_CIPHER_CTX_new());
  unsigned char expected[kCipherTagBytes];
  std::memcpy(expected, tag, sizeof expected);
  int length = 0;
  return context &&
         EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, bytes(key), nonce) == 1 &&
         EVP_DecryptUpdate(context.get(), plain, &length, bytes(cipherText.data()),
                           static_cast<int>(cipherText.size())) == 1 &&
         EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, sizeof expected, expected) == 1 &&
         EVP_DecryptFinal_ex(context.get(), plain + length, &length) == 1;
}

bool encipher(std::string_view plain, const char* key, unsigned char* nonce,
              unsigned char* cipherText, unsigned char* tag) {
  const CipherContext context(EVP_CIPHER_CTX_new());
  int length = 0;
  return context && RAND_bytes(nonce, kCipherNonceBytes) == 1 &&
         EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, bytes(key), nonce) == 1 &&
         EVP_EncryptUpdate(context.get(), cipherText, &length, bytes(plain.data()),
                           static_cast<int>(plain.size())) == 1 &&
         EVP_EncryptFinal_ex(context.get(), cipherText + length, &length) == 1 &&
         EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, kCipherTagBytes, tag) == 1;
}

}  // namespace

storage_crypto_param_s defaultCipherParameters() { return {kScheme, kDefaultKey, 0, 1}; }

bool hasCipherHeader(std::string_view content) {
  return content.substr(0, kHeader.size()) == kHeader;
}

int file_is_enc(const char* path) {
  const FileDescriptor file = openRegularFile(path);
  if (!file) return 0;
  char header[kCipherHeaderBytes];
  const ssize_t count = readAt(file.get(), header, sizeof header, 0);
  if (count != static_cast<ssize_t>(sizeof header)) return 0;
  return hasCipherHeader({header, sizeof header}) ? 1 : 0;
}

char* storage_aes_decrypt(const void* data, std::size_t length,
                          const storage_crypto_param_s* parameters) {
  if (data == nullptr || parameters == nullptr || !areKnown(*parameters)) return nullptr;
  if (length < kCipherNonceBytes + kCipherTagBytes || length > INT_MAX) return nullptr;
  const unsigned char* const nonce = bytes(data);
  const std::size_t textBytes = length - kCipherNonceBytes - kCipherTagBytes;
  const std::string_view cipherText(static_cast<const char*>(data) + kCipherNonceBytes, textBytes);
  const unsigned char* const tag = nonce + length - kCipherTagBytes;

  MallocText plain(static_cast<char*>(std::malloc(textBytes + 1)));
  if (!plain) return nullptr;
  auto* const target = reinterpret_cast<unsigned char*>(plain.get());
  if (!decipher(nonce, cipherText, tag, parameters->key, target)) {
    OPENSSL_cleanse(target, textBytes);  // what isn't authentic is given to nobody
    return nullptr;
  }
  plain.get()[textBytes] = '\0';
  return plain.release();
}

bool encipherFileContent(std::string_view plain, const storage_crypto_param_s& parameters,
                         std::string& out) {
  if (!areKnown(parameters) || plain.size() > INT_MAX - kCipherOverheadBytes) return false;
  out.assign(kHeader);
  out.resize(plain.size() + kCipherOverheadBytes);
  auto* const nonce = reinterpret_cast<unsigned char*>(&out[kCipherHeaderBytes]);
  unsigned char* const cipherText = nonce + kCipherNonceBytes;
  return encipher(plain, parameters.key, nonce, cipherText, cipherText + plain.size());
}

}  // namespace LedgoraCollect
