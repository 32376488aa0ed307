// host.zipnames, host.zipmember and host.certificate.
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <vector>

#include "common/ZipUtils.h"
#include "common/support/Handles.h"
#include "script/LuaStack.h"

namespace LedgoraCollect {
namespace {

constexpr lua_Integer kMaximumMemberBytes = lua_Integer{4} << 20;

using Memory = std::unique_ptr<BIO, Releaser<BIO_free_all>>;
using Certificate = std::unique_ptr<X509, Releaser<X509_free>>;

/// host.zipnames(path) -> the names of all entries | nil, why
int zipNames(lua_State* state) {
  const std::string_view path = textArgument(state, 1);
  std::vector<std::string> names;
  if (ZipUtils::getZipFileList(std::string(path), names) != 0) {
    return failure(state, "no readable archive");
  }
  lua_createtable(state, static_cast<int>(std::min<std::size_t>(names.size(), 1U << 20)), 0);
  lua_Integer position = 0;
  for (const std::string& name : names) {
    pushText(state, name);
    lua_rawseti(state, -2, ++position);
  }
  return 1;
}

/// host.zipmember(path, name [, maximum]) -> its text up to a zero byte | nil, why
int zipMember(lua_State* state) {
  const std::string_view path = textArgument(state, 1);
  const std::string_view name = textArgument(state, 2);
  const lua_Integer asked = luaL_optinteger(state, 3, 65536);
  const auto size =
      static_cast<std::size_t>(std::clamp(asked, lua_Integer{0}, kMaximumMemberBytes));
  std::vector<char> content(size + 1, '\0');
  const int code = ZipUtils::unZipToMem(std::string(path).c_str(), std::string(name).c_str(),
                                        content.data(), static_cast<int>(size));
  if (code != 0) return failure(state, "no such member");
  pushText(state, content.data());
  return 1;
}

/// Seconds since the epoch; -1 if the time can't be understood.
lua_Integer secondsOf(const ASN1_TIME* time) {
  std::tm parts{};
  if (!time || ASN1_TIME_to_tm(time, &parts) != 1) return -1;
  return static_cast<lua_Integer>(timegm(&parts));
}

/// host.certificate(text) -> when the first certificate of a PEM text ends, in
/// seconds since the epoch | nil, why
int certificate(lua_State* state) {
  const std::string_view text = textArgument(state, 1);
  const Memory memory(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
  // A text that asks for a passphrase gets an empty one: nothing is prompted for.
  char passphrase[] = "";
  const Certificate first(memory ? PEM_read_bio_X509(memory.get(), nullptr, nullptr, passphrase)
                                 : nullptr);
  if (!first) return failure(state, "no certificate");
  const lua_Integer ends = secondsOf(X509_get0_notAfter(first.get()));
  if (ends < 0) return failure(state, "no readable time");
  lua_pushinteger(state, ends);
  return 1;
}

constexpr luaL_Reg kFunctions[] = {
    {"zipnames", hostFunction<zipNames>},
    {"zipmember", hostFunction<zipMember>},
    {"certificate", hostFunction<certificate>},
    {nullptr, nullptr},
};

}  // namespace

void addArchiveFunctions(lua_State* state) { luaL_setfuncs(state, kFunctions, 0); }

}  // namespace LedgoraCollect
