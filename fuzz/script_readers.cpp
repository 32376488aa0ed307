// The readers of server configurations, which are Lua. The first byte chooses
// the reader, the line behind it is the server's command line, the rest the
// configuration. A reader gives a model of whatever it meets; it never fails.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "script/ScriptInterpreter.h"

namespace {

constexpr struct {
  const char* module;
  const char* path;
} kReaders[] = {
    {"nginx", "/etc/a"},      {"apache", "/etc/a"},
    {"haproxy", "/etc/a"},    {"lighttpd", "/etc/a"},
    {"caddy", "/etc/a"},      {"tomcat", "/conf/server.xml"},
    {"jetty", "/etc/a"},      {"mysql", "/etc/a"},
    {"postgresql", "/etc/a"}, {"redis", "/etc/redis/redis.conf"},
    {"mongodb", "/etc/a"},    {"elasticsearch", "/etc/elasticsearch/elasticsearch.yml"},
    {"etcd", "/etc/a.yml"},   {"memcached", "/etc/a"},
};

/// A directory that goes with the fuzzer.
class Root {
 public:
  Root() {
    char name[] = "/tmp/ledgora-fuzz-XXXXXX";
    if (::mkdtemp(name) == nullptr) std::abort();
    mPath = name;
    for (const auto& reader : kReaders) {
      std::filesystem::create_directories(
          std::filesystem::path(mPath + reader.path).parent_path());
    }
  }
  ~Root() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
  }
  const std::string& path() const { return mPath; }

 private:
  std::string mPath;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Root root;
  static LedgoraCollect::ScriptInterpreter interpreter;
  if (size == 0) return 0;
  const auto& reader = kReaders[data[0] % std::size(kReaders)];
  std::istringstream text(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
  std::string line;
  std::getline(text, line);
  std::vector<std::string> arguments = {root.path(), reader.module, reader.path};
  std::istringstream words(line);
  for (std::string word; words >> word;) arguments.push_back(word);
  const std::string file = root.path() + reader.path;
  std::ofstream(file) << text.rdbuf();
  std::string error;
  const bool done =
      interpreter.run(LEDGORA_SOURCE_DIR "/fuzz/script_readers.lua", arguments, error);
  std::filesystem::remove(file);
  if (!done) {
    std::fprintf(stderr, "%s: %s\n", reader.module, error.c_str());
    __builtin_trap();
  }
  return 0;
}
