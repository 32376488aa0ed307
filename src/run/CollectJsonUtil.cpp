#include "run/CollectJsonUtil.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "common/support/Cipher.h"
#include "common/support/Handles.h"
#include "common/support/Log.h"
#include "common/support/PlainFile.h"

namespace LedgoraCollect {
namespace {

// Files of rules and settings are far smaller. JSON files of inspected roots
// come this way too, so a file mustn't be able to ask for any amount of memory.
constexpr long kMostFileBytes = 64L * 1024 * 1024;
// A tree costs some 64 bytes a value, whatever its text takes ("1," takes
// two), so the file's limit alone would allow trees of 2 GiB.
constexpr std::size_t kMostValues = 1'000'000;

bool isOverLimit(long sizeBytes, const char* path) {
  if (sizeBytes <= kMostFileBytes) return false;
  error_output(0, __func__, __LINE__, "json file %s is over %ld bytes, size %ld", path,
               kMostFileBytes, sizeBytes);
  return true;
}

/// An upper bound of the values that a JSON text holds.
std::size_t countValues(std::string_view text) {
  std::size_t values = 1;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char byte = text[i];
    if (byte == '"') inString = !inString;
    if (inString && byte == '\\') ++i;
    if (!inString && (byte == ',' || byte == '[' || byte == '{')) ++values;
  }
  return values;
}

/// cJSON_Parse for text that may be null or hold too many values.
cJSON* parseBounded(const char* text, const char* path) {
  if (text != nullptr && countValues(text) > kMostValues) {
    error_output(0, __func__, __LINE__, "json file %s holds over %zu values", path, kMostValues);
    return nullptr;
  }
  return cJSON_Parse(text);
}

char* decrypt(const char* source, long sizeBytes) {
  const storage_crypto_param_s parameters = defaultCipherParameters();
  char* const plain =
      storage_aes_decrypt(source + kCipherHeaderBytes,
                          static_cast<std::size_t>(sizeBytes) - kCipherHeaderBytes, &parameters);
  // Says only that the call returned: the line comes with and without a text.
  LEDGORA_DEBUG("read_and_decrypt success");
  return plain;
}

/// The plain text of the enciphered file at `path`, which the caller frees, or
/// null with a message.
char* read_and_decrypt(const char* path) {
  LEDGORA_DEBUG("read_and_decrypt begin");
  if (is_file_exist(path) == 0) {
    error_output(0, __func__, __LINE__, "file is not exist, file = %s", path);
    return nullptr;
  }
  const FileHandle file(utf8_fopen(path, "rb"));
  if (!file) {
    error_output(0, __func__, __LINE__, "file open error");
    return nullptr;
  }
  if (std::fseek(file.get(), 0, SEEK_END) != 0) {
    error_output(0, __func__, __LINE__, "file fseek file failed.");
    return nullptr;
  }
  const long sizeBytes = std::ftell(file.get());
  if (sizeBytes <= 0) {
    error_output(0, __func__, __LINE__, "ftell failed.");
    return nullptr;
  }
  if (isOverLimit(sizeBytes, path)) return nullptr;
  std::rewind(file.get());
  const auto length = static_cast<std::size_t>(sizeBytes);
  const MallocText source(static_cast<char*>(std::calloc(length, 1)));
  if (!source) {
    error_output(0, __func__, __LINE__, "alloc mem for source failed.");
    return nullptr;
  }
  const std::size_t count = std::fread(source.get(), 1, length, file.get());
  // A file that shrank below its header since file_is_enc looked at it has
  // nothing behind the header either.
  if (count != length || length < kCipherHeaderBytes) {
    error_output(0, __func__, __LINE__, "read file size:%u is not equal to file_len:%ld.",
                 static_cast<unsigned>(count), sizeBytes);
    return nullptr;
  }
  return decrypt(source.get(), sizeBytes);
}

cJSON* parseEnciphered(const char* path) {
  const MallocText plain(read_and_decrypt(path));
  cJSON* const tree = parseBounded(plain.get(), path);
  if (tree == nullptr) {
    error_output(0, __func__, __LINE__, "parse decrypt json content failure!");
  }
  return tree;
}

/// The file's content, zero-terminated, or null with a message.
MallocText readPlain(const char* path) {
  const FileHandle file(utf8_fopen(path, "rb"));
  if (!file) {
    error_output(0, __func__, __LINE__, "open %s failure!", path);
    return nullptr;
  }
  if (std::fseek(file.get(), 0, SEEK_END) == -1) {
    error_output(0, __func__, __LINE__, "seek %s failure!", path);
    return nullptr;
  }
  const long sizeBytes = std::ftell(file.get());
  if (sizeBytes < 1) {
    error_output(1, __func__, __LINE__, "json file size(%d) %s!", static_cast<int>(sizeBytes),
                 "size zero");
    return nullptr;
  }
  if (isOverLimit(sizeBytes, path)) return nullptr;
  const auto length = static_cast<std::size_t>(sizeBytes);
  MallocText text(static_cast<char*>(std::calloc(length + 1, 1)));
  if (!text) {
    error_output(0, __func__, __LINE__, "malloc memory failure!");
    return nullptr;
  }
  if (std::fseek(file.get(), 0, SEEK_SET) == -1) {
    error_output(0, __func__, __LINE__, "seek to file head failure!");
    return nullptr;
  }
  const std::size_t count = std::fread(text.get(), 1, length, file.get());
  if (count != length) {
    error_output(0, __func__, __LINE__, "read json content failure!,len:%d",
                 static_cast<int>(count));
    return nullptr;
  }
  return text;
}

cJSON* parsePlain(const char* path) {
  const MallocText text = readPlain(path);
  if (!text) return nullptr;
  cJSON* const tree = parseBounded(text.get(), path);
  if (tree == nullptr) error_output(0, __func__, __LINE__, "parse json content failure!");
  return tree;
}

}  // namespace

cJSON* ParseJsonFile(const char* path) {
  return file_is_enc(path) != 0 ? parseEnciphered(path) : parsePlain(path);
}

}  // namespace LedgoraCollect
