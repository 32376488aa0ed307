// Type 7 beside real servers of Debian's packages, each started with a
// configuration of the test's own and told by the packages or by itself.
#include <gtest/gtest.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <set>

#include "common/support/Handles.h"
#include "common/support/JsonLayer.h"
#include "support/Daemons.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"

namespace LedgoraTest {
namespace {

using LedgoraCollect::JsonHandle;

constexpr int kOwnMachine = CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET;
const char kPath[] = "/usr/sbin:/usr/bin:/sbin:/bin";

// Servers that write a title into their command line have no more room for it
// than arguments and environment took; on a real machine that is enough.
const std::map<std::string, std::string> kEnvironment = {
    {"PATH", kPath}, {"LANG", "C"}, {"ROOM", std::string(500, '-')}};

/// What the first line that a command prints holds, without the line end.
std::string answerOf(const std::string& line) {
  const ProgramResult result = runProgram({"/bin/sh", "-c", line}, {{"PATH", kPath}});
  return result.out.substr(0, result.out.find('\n'));
}

/// What is started, and what the document has to say of it.
struct Server {
  std::string name;
  std::string package;  // empty: owned by none
  std::string version;  // of a server without package: a line that tells it
  std::string confPath;
  std::string user;
  int processes;
};

uid_t uidOf(const char* user) {
  const passwd* account = getpwnam(user);
  EXPECT_NE(account, nullptr) << user;
  return account == nullptr ? 0 : account->pw_uid;
}

void run(const std::string& line) {
  const ProgramResult result = runProgram({"/bin/sh", "-c", line}, {{"PATH", kPath}});
  EXPECT_EQ(result.exitStatus, 0) << line << "\n" << result.out << result.err;
}

class Servers {
 public:
  explicit Servers(const TempRoot& files) : mFiles(const_cast<TempRoot&>(files)) {
    chmod(mFiles.path().c_str(), 0755);
    mFiles.dir("tmp", 01777);
  }

  void startAll() {
    nginx();
    apache();
    haproxy();
    phpFpm();
    redis();
    memcached();
    postgres();
    mariadb();
    sshd();
    gunicorn();
    python();
    java();
    perl();
    bash();
  }
  const std::vector<Server>& list() const { return mList; }

 private:
  void nginx() {
    mFiles.file("nginx.conf", "daemon off; worker_processes 2; user www-data; pid " +
                                  at("nginx.pid") +
                                  "; error_log /dev/null; events {} http { access_log off;"
                                  " server { listen 127.0.0.1:8001; } }");
    mDaemons.start("/usr/sbin/nginx", {"-c", at("nginx.conf")}, {0, "/", kEnvironment});
    EXPECT_TRUE(hasProcesses("nginx", 3));
    mList.push_back({"nginx", "nginx", "", at("nginx.conf"), "root", 3});
  }
  void apache() {
    mFiles.file("apache.conf",
                "ServerRoot /etc/apache2\nServerName localhost\nListen 127.0.0.1:8002\n"
                "PidFile " +
                    at("apache.pid") +
                    "\nErrorLog /dev/null\nUser www-data\n"
                    "Group www-data\nDefaultRuntimeDir " +
                    at("tmp") +
                    "\nStartServers 2\nMinSpareServers 1\nMaxSpareServers 2\n"
                    "LoadModule mpm_prefork_module /usr/lib/apache2/modules/mod_mpm_prefork.so\n"
                    "LoadModule authz_core_module /usr/lib/apache2/modules/mod_authz_core.so\n");
    mDaemons.start("/usr/sbin/apache2", {"-f", at("apache.conf"), "-DFOREGROUND"},
                   {0, "/", kEnvironment});
    EXPECT_TRUE(hasProcesses("apache2", 3));
    mList.push_back({"Apache HTTP Server", "apache2-bin", "", at("apache.conf"), "root", 3});
  }
  void haproxy() {
    mFiles.file("haproxy.cfg",
                "global\n  maxconn 10\ndefaults\n  mode tcp\n  timeout connect 1s\n"
                "  timeout client 1s\n  timeout server 1s\nlisten web\n  bind 127.0.0.1:8003\n");
    mDaemons.start("/usr/sbin/haproxy", {"-W", "-f", at("haproxy.cfg")}, {0, "/", kEnvironment});
    EXPECT_TRUE(hasProcesses("haproxy", 2));
    mList.push_back({"HAProxy", "haproxy", "", at("haproxy.cfg"), "root", 2});
  }
  void phpFpm() {
    const std::string program = answerOf("ls /usr/sbin/php-fpm*");
    mFiles.file("fpm.conf",
                "[global]\nerror_log = /dev/null\n[www]\nuser = www-data\n"
                "listen = 127.0.0.1:8004\npm = static\npm.max_children = 2\n");
    mDaemons.start(program, {"-F", "-y", at("fpm.conf")}, {0, "/", kEnvironment});
    EXPECT_TRUE(hasProcesses(program.substr(10), 3));
    mList.push_back({"PHP-FPM", answerOf("dpkg-query -S " + program + " | sed 's/:.*//'"), "",
                     answerOf("ls /etc/php/*/fpm/php-fpm.conf"), "root", 3});
  }
  void redis() {
    mDaemons.start("/usr/bin/redis-server", {"--bind", "127.0.0.1", "--port", "8005", "--save", ""},
                   {uidOf("redis"), "/", kEnvironment});
    mList.push_back({"Redis", "redis-server", "", "/etc/redis/redis.conf", "redis", 1});
  }
  void memcached() {
    mDaemons.start("/usr/bin/memcached", {"-l", "127.0.0.1", "-p", "8006", "-u", "memcache"},
                   {0, "/", kEnvironment});
    EXPECT_TRUE(isListening(8006));
    mList.push_back({"Memcached", "memcached", "", "/etc/memcached.conf", "memcache", 1});
  }
  void postgres() {
    const std::string directory = answerOf("ls -d /usr/lib/postgresql/*/bin");
    const uid_t uid = uidOf("postgres");
    mFiles.dir("pg");
    EXPECT_EQ(chown(at("pg").c_str(), uid, uid), 0);
    run("setpriv --reuid postgres --regid postgres --clear-groups " + directory +
        "/initdb --no-sync --locale=C -D " + at("pg"));
    mDaemons.start(directory + "/postgres",
                   {"-D", at("pg"), "-p", "8007", "-h", "127.0.0.1", "-k", "", "-c", "autovacuum=off"},
                   {uid, "/", kEnvironment});
    EXPECT_TRUE(isListening(8007));
    EXPECT_TRUE(hasProcesses("postgres", 5));
    mList.push_back({"PostgreSQL",
                     answerOf("dpkg-query -S " + directory + "/postgres | sed 's/:.*//'"), "",
                     at("pg/postgresql.conf"), "postgres", 5});
  }
  void mariadb() {
    const uid_t uid = uidOf("mysql");
    mFiles.dir("my");
    EXPECT_EQ(chown(at("my").c_str(), uid, uid), 0);
    mFiles.file("my.cnf", "[mariadbd]\ndatadir=" + at("my") +
                              "\nbind-address=127.0.0.1\n"
                              "port=8008\nsocket=" +
                              at("my/socket") + "\npid-file=" + at("my/pid") +
                              "\nskip-grant-tables\ninnodb_log_file_size=4M\n");
    mDaemons.start("/usr/sbin/mariadbd", {"--defaults-file=" + at("my.cnf")},
                   {uid, "/", kEnvironment});
    EXPECT_TRUE(hasProcesses("mariadbd", 1));
    mList.push_back({"MariaDB", "mariadb-server-core", "", at("my.cnf"), "mysql", 1});
  }
  void sshd() {
    // Its directory of its own, in a /run of the test's own.
    ASSERT_EQ(mount("tmpfs", "/run", "tmpfs", 0, "mode=0755"), 0);
    ASSERT_EQ(mkdir("/run/sshd", 0755), 0);
    run("ssh-keygen -q -t ed25519 -N '' -f " + at("hostkey"));
    mFiles.file("sshd_config",
                "ListenAddress 127.0.0.1:8009\nPidFile none\nHostKey " + at("hostkey") + "\n");
    mDaemons.start("/usr/sbin/sshd", {"-D", "-f", at("sshd_config")}, {0, "/", kEnvironment});
    EXPECT_TRUE(isListening(8009));
    mList.push_back({"OpenSSH", "openssh-server", "", at("sshd_config"), "root", 1});
  }
  void gunicorn() {
    mFiles.file("web/app.py",
                "def application(environ, start):\n  start('200 OK', [])\n"
                "  return [b'']\n");
    mFiles.file("web/settings.py", "workers = 2\nbind = '127.0.0.1:8010'\n");
    auto environment = kEnvironment;
    environment["PWD"] = at("web");
    mDaemons.start("/usr/bin/gunicorn", {"-c", at("web/settings.py"), "app:application"},
                   {33, at("web"), environment});
    EXPECT_TRUE(hasProcesses("gunicorn", 3));
    mList.push_back({"Gunicorn", "gunicorn", "", at("web/settings.py"), "www-data", 3});
  }
  void python() {
    mFiles.file("serve.py",
                "from wsgiref.simple_server import make_server\n"
                "make_server('127.0.0.1', 8011, lambda e, s: []).serve_forever()\n");
    mDaemons.start("/usr/bin/python3", {at("serve.py")}, {33, "/", kEnvironment});
    EXPECT_TRUE(isListening(8011));
    mList.push_back({"Python", "", "python3 --version | sed 's/Python //'", "", "www-data", 1});
  }
  void java() {
    mFiles.file("src/org/example/Main.java",
                "package org.example; public class Main { public static void main(String[] a)"
                " throws Exception { Thread.sleep(1000000); } }");
    run("cd " + at("src") +
        " && /usr/bin/javac -J-XX:TieredStopAtLevel=1 org/example/Main.java && "
        "/usr/bin/jar cfe " +
        at("service.jar") + " org.example.Main org/example/Main.class");
    mDaemons.start("/usr/bin/java",
                   {"-Xmx32m", "-XX:TieredStopAtLevel=1", "-jar", at("service.jar")},
                   {33, "/", kEnvironment});
    EXPECT_TRUE(hasProcesses("java", 1));
    mList.push_back({"Java", "", "java -version 2>&1 | sed -n 's/.*version \"\\(.*\\)\".*/\\1/p'",
                     "", "www-data", 1});
  }
  void perl() {
    mFiles.file("job.pl", "sleep 100000;\n");
    mDaemons.start("/usr/bin/perl", {at("job.pl")}, {0, "/", kEnvironment});
    mList.push_back({"Perl", "", "perl -e 'printf \"%vd\", $^V'", "", "root", 1});
  }
  void bash() {
    mFiles.file("job.sh", "while :; do read -t 100000 < <(:); sleep 100000; done\n");
    mDaemons.start("/bin/bash", {at("job.sh")}, {0, "/", kEnvironment});
    mList.push_back({"Bash", "", "bash -c 'echo ${BASH_VERSION%%(*}'", "", "root", 1});
  }
  std::string at(const char* name) const { return mFiles.path(name); }

  TempRoot& mFiles;
  Daemons mDaemons;
  std::vector<Server> mList;
};

std::string textOf(const cJSON* record, const char* key) {
  const cJSON* member = cJSON_GetObjectItem(record, key);
  return cJSON_IsString(member) ? member->valuestring : "(none)";
}

/// The records of that name that run, of which there should be one.
const cJSON* recordOf(const cJSON* document, const std::string& name) {
  const cJSON* found = nullptr;
  const cJSON* record = nullptr;
  cJSON_ArrayForEach(record, cJSON_GetObjectItem(document, "list")) {
    if (textOf(record, "name") != name || !cJSON_HasObjectItem(record, "pid")) continue;
    EXPECT_EQ(found, nullptr) << name << " stands twice";
    found = record;
  }
  return found;
}

void expectServer(const cJSON* document, const Server& server) {
  SCOPED_TRACE(server.name);
  const cJSON* record = recordOf(document, server.name);
  ASSERT_NE(record, nullptr);
  const bool packaged = !server.package.empty();
  const std::string version =
      answerOf(packaged ? "dpkg-query -W -f '${Version}\\n' " + server.package : server.version);
  EXPECT_EQ(textOf(record, "version"), version);
  EXPECT_EQ(textOf(record, "conf_path"), server.confPath);
  EXPECT_TRUE(server.confPath.empty() || access(server.confPath.c_str(), F_OK) == 0);
  // Both come from the owning package only.
  EXPECT_EQ(textOf(record, "install_type"), packaged ? "dpkg" : "");
  EXPECT_EQ(textOf(record, "size") == "", !packaged);
  EXPECT_EQ(textOf(record, "user"), server.user);
  EXPECT_EQ(textOf(record, "admin_permission"), server.user == "root" ? "1" : "0");
  const cJSON* related = cJSON_GetObjectItem(record, "related_pid");
  EXPECT_EQ(cJSON_GetArraySize(related), server.processes);
  const cJSON* keys = cJSON_GetObjectItem(cJSON_GetObjectItem(record, "related_keys"), "proc_keys");
  EXPECT_EQ(cJSON_GetArraySize(keys), server.processes);
}

TEST(SoftwareDaemons, RealServersOfDebian) {
  if (access("/usr/bin/dpkg-query", X_OK) != 0) GTEST_SKIP() << "for machines with dpkg";
  EXPECT_TRUE(passesInNamespaces(kOwnMachine, [] {
    TempRoot files;
    Servers servers(files);
    servers.startAll();
    ProgramRun program;
    const ProgramResult result = program.type(7, {"option=4"});
    EXPECT_EQ(result.exitStatus, 0);
    const JsonHandle document(cJSON_Parse(result.document.c_str()));
    for (const Server& server : servers.list()) expectServer(document.get(), server);
    const cJSON* java = recordOf(document.get(), "Java");
    const cJSON* kit = cJSON_GetObjectItem(java, "develop_kit");
    EXPECT_EQ(textOf(kit, "version"), textOf(java, "version"));
    if (testing::Test::HasFailure()) std::printf("%s\n", result.messages().c_str());
  }));
}

}  // namespace
}  // namespace LedgoraTest
