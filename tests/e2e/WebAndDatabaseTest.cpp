// Types 8 to 12 beside real servers of Debian's packages, each started with a
// configuration of the test's own, and a container's nginx.
#include <gtest/gtest.h>
#include <pwd.h>
#include <sched.h>
#include <unistd.h>

#include "support/Daemons.h"
#include "support/DocumentView.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"
#include "support/ZipBuilder.h"

namespace LedgoraTest {
namespace {

constexpr int kOwnMachine = CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET;
const char kPath[] = "/usr/sbin:/usr/bin:/sbin:/bin";
// Room for the titles that servers write over their command lines.
const std::map<std::string, std::string> kEnvironment = {
    {"PATH", kPath}, {"LANG", "C"}, {"ROOM", std::string(500, '-')}};

constexpr char kTomcatHome[] = "/usr/share/tomcat10";

std::string answerOf(const std::string& line) {
  const ProgramResult result = runProgram({"/bin/sh", "-c", line}, {{"PATH", kPath}});
  EXPECT_EQ(result.exitStatus, 0) << line << "\n" << result.out << result.err;
  return result.out.substr(0, result.out.find('\n'));
}

uid_t uidOf(const char* user) {
  const passwd* account = getpwnam(user);
  EXPECT_NE(account, nullptr) << user;
  return account == nullptr ? 0 : account->pw_uid;
}

/// `text` with each "@" replaced by the directory of the test's files.
std::string placed(std::string text, const std::string& directory) {
  for (std::size_t at = 0; (at = text.find('@', at)) != std::string::npos;) {
    text.replace(at, 1, directory);
    at += directory.size();
  }
  return text;
}

class Servers {
 public:
  explicit Servers(TempRoot& files) : mFiles(files) { files.dir("tmp", 01777); }

  void startWebServers() {
    makeCertificate();
    nginx();
    apache();
    tomcat();
  }
  // A service by itself: a script with a project file and a folder of packages.
  void startService() {
    mFiles.file("orders/pyproject.toml", "[project]\nname = \"orders\"\nversion = \"0.9\"\n");
    mFiles.file("orders/run.py", "import time\ntime.sleep(100000)\n");
    mFiles.dir("orders/venv/lib/python3.11/site-packages/Flask-3.0.0.dist-info");
    mDaemons.start("/usr/bin/python3", {"run.py"}, {33, mFiles.path("orders"), kEnvironment});
  }
  void startDatabases() {
    redis();
    postgres();
    mariadb();
  }

 private:
  std::string placedHere(const std::string& text) const { return placed(text, mFiles.path()); }
  void write(const char* name, const std::string& text) { mFiles.file(name, placedHere(text)); }

  void makeCertificate() {
    answerOf(
        placedHere("openssl req -x509 -newkey rsa:2048 -nodes -keyout @/key.pem -out "
                   "@/cert.pem -subj /CN=shop.example -days 90 2>/dev/null"));
  }
  void nginx() {
    mFiles.dir("www/shop", 0750).file("www/blog/index.php", "<?php");
    mFiles.file("www/blog/wp-includes/version.php", "<?php\n$wp_version = '6.4.2';\n");
    write("nginx.conf",
          "daemon off; worker_processes 1; user www-data; pid @/nginx.pid;\n"
          "error_log /dev/null; events {}\nhttp { access_log off;\n"
          " upstream pool { server 127.0.0.1:9001; server 127.0.0.1:9002 backup; }\n"
          " include sites/*.conf; }\n");
    write("sites/1.conf",
          "server { listen 127.0.0.1:8001; server_name blog.example www.blog.example;\n"
          " root @/www/blog; access_log @/blog.log; }\n");
    write("sites/2.conf",
          "server { listen 127.0.0.1:8002 ssl; server_name shop.example;\n"
          " ssl_certificate cert.pem; ssl_certificate_key key.pem; root @/www/shop; }\n");
    write("sites/3.conf",
          "server { listen 127.0.0.1:8003; server_name api.example;\n"
          " location / { proxy_pass http://pool/v1; } }\n");
    write("sites/ignored.txt", "server { listen 1; }\n");
    mDaemons.start("/usr/sbin/nginx", {"-c", mFiles.path("nginx.conf")}, {0, "/", kEnvironment});
    EXPECT_TRUE(isListening(8003));
  }
  void apache() {
    mFiles.file("htdocs/index.php", "<?php").file("wiki/public/index.php", "<?php");
    mFiles.file("wiki/composer.json", R"({"name":"acme/wiki","version":"2.1"})");
    mFiles.file("wiki/composer.lock", R"({"packages":[{"name":"slim/slim","version":"v4.1.0"},)"
                                      R"({"name":"monolog/monolog","version":"2.9.1"}]})");
    std::string modules;
    for (const char* name : {"mpm_prefork", "authz_core", "macro"}) {
      modules += std::string("LoadModule ") + name + "_module /usr/lib/apache2/modules/mod_" +
                 name + ".so\n";
    }
    write("apache.conf", modules +
                             "Define PORT 8005\nServerRoot @\nServerName localhost\n"
                             "Listen 127.0.0.1:8004\nListen 127.0.0.1:${PORT}\nPidFile @/a.pid\n"
                             "ErrorLog @/error.log\nUser www-data\nDefaultRuntimeDir @/tmp\n"
                             "<IfModule !mod_macro.c>\n<VirtualHost *:1>\n</VirtualHost>\n"
                             "</IfModule>\n<VirtualHost 127.0.0.1:8004>\n  ServerName one.example\n"
                             "  ServerAlias uno.example \\\n    eins.example\n  DocumentRoot "
                             "\"@/htdocs\"\n</VirtualHost>\n"
                             "<Macro Host $name $port>\n<VirtualHost 127.0.0.1:$port>\n"
                             "  ServerName $name.example\n  DocumentRoot wiki/public\n"
                             "</VirtualHost>\n</Macro>\nUse Host two ${PORT}\n");
    mDaemons.start("/usr/sbin/apache2", {"-f", mFiles.path("apache.conf"), "-DFOREGROUND"},
                   {0, "/", kEnvironment});
    EXPECT_TRUE(isListening(8005));
  }
  void tomcat() {
    write("tomcat/conf/server.xml",
          "<Server port=\"-1\"><Service name=\"Catalina\"><!-- <Connector port=\"1\"/> -->\n"
          "<Connector port=\"8080\" address=\"127.0.0.1\" protocol=\"HTTP/1.1\"/>\n"
          "<Engine name=\"Catalina\" defaultHost=\"java.example\">\n"
          "<Host name=\"java.example\" appBase=\"webapps\" unpackWARs=\"false\">\n"
          "<Alias>jee.example</Alias></Host></Engine></Service></Server>\n");
    mFiles.dir("tomcat/webapps").dir("tomcat/work", 01777);
    ZipBuilder(mFiles.path("tomcat/library.jar")).add("marker", "").close();
    const std::string library = mFiles.read("tomcat/library.jar");
    ZipBuilder(mFiles.path("tomcat/webapps/store.war"))
        .add("META-INF/MANIFEST.MF", "Manifest-Version: 1.0\r\nImplementation-Version: 3.2\r\n")
        .add("WEB-INF/lib/spring-core-5.3.9.jar", library)
        .add("WEB-INF/lib/commons-io-2.11.0.jar", library)
        .close();
    const std::string bin = std::string(kTomcatHome) + "/bin/";
    mDaemons.start(
        "/usr/bin/java",
        {"-Xmx64m", "-XX:TieredStopAtLevel=1", "-Dcatalina.base=" + mFiles.path("tomcat"),
         std::string("-Dcatalina.home=") + kTomcatHome, "-Djava.io.tmpdir=" + mFiles.path("tmp"),
         "-cp", bin + "bootstrap.jar:" + bin + "tomcat-juli.jar",
         "org.apache.catalina.startup.Bootstrap", "start"},
        {33, "/", kEnvironment});
    EXPECT_TRUE(isListening(8080));
  }
  void redis() {
    write("redis/redis.conf",
          "bind 127.0.0.1 -::1\nport 8006\nsave \"\"\nrequirepass opensesame\ndir @/redis\n");
    EXPECT_EQ(chown(mFiles.path("redis").c_str(), uidOf("redis"), 0), 0);
    mDaemons.start("/usr/bin/redis-server", {mFiles.path("redis/redis.conf")},
                   {uidOf("redis"), mFiles.path("redis"), kEnvironment});
    EXPECT_TRUE(isListening(8006));
  }
  void postgres() {
    const std::string directory = answerOf("ls -d /usr/lib/postgresql/*/bin");
    const uid_t uid = uidOf("postgres");
    mFiles.dir("pg");
    EXPECT_EQ(chown(mFiles.path("pg").c_str(), uid, uid), 0);
    answerOf("setpriv --reuid postgres --regid postgres --clear-groups " + directory +
             "/initdb --no-sync --locale=C --auth=trust -D " + mFiles.path("pg"));
    mDaemons.start(directory + "/postgres",
                   {"-D", mFiles.path("pg"), "-p", "8007", "-c", "listen_addresses=*", "-k", ""},
                   {uid, "/", kEnvironment});
    EXPECT_TRUE(isListening(8007));
  }
  void mariadb() {
    const uid_t uid = uidOf("mysql");
    mFiles.dir("my");
    EXPECT_EQ(chown(mFiles.path("my").c_str(), uid, uid), 0);
    write("my.cnf", "[client]\nport=1\n[mysqld]\n!includedir @/my.d\n");
    write("my.d/50.cnf",
          "[mariadbd]\ndatadir=@/my\nbind-address=127.0.0.1\nport=8008\nsocket=@/my/socket\n"
          "pid-file=@/my/pid\nskip_grant_tables\nwsrep_sst_auth=root:opensesame\n"
          "innodb_log_file_size=4M\n");
    mDaemons.start("/usr/sbin/mariadbd", {"--defaults-file=" + mFiles.path("my.cnf")},
                   {uid, "/", kEnvironment});
    EXPECT_TRUE(hasProcesses("mariadbd", 1));
  }

  TempRoot& mFiles;
  Daemons mDaemons;
};

/// The document of that type, with the test's directory as "@".
std::string documentOf(ProgramRun& program, int type, const std::string& directory) {
  const ProgramResult result = program.type(type);
  EXPECT_EQ(result.out, std::to_string(result.document.size())) << result.messages();
  EXPECT_EQ(result.err, "");
  // Nothing secret stands in the document or the log.
  EXPECT_EQ(result.document.find("opensesame"), std::string::npos) << result.document;
  EXPECT_EQ(result.log.find("opensesame"), std::string::npos);
  std::string text = result.document;
  for (std::size_t at = 0; (at = text.find(directory)) != std::string::npos;) {
    text.replace(at, directory.size(), "@");
  }
  return text;
}

std::string packageVersion(const char* package) {
  return answerOf(std::string("dpkg-query -W -f '${Version}' ") + package);
}

std::string tomcatVersion() {
  return answerOf(std::string("java -cp ") + kTomcatHome +
                  "/lib/catalina.jar org.apache.catalina.util.ServerInfo | "
                  "sed -n 's/^Server number: *//p'");
}

void expectWebDocuments(ProgramRun& program, const std::string& directory) {
  EXPECT_EQ(documentRows(documentOf(program, 8, directory),
                         {"name", "version", "user", "conf_path", "listen"}),
            "nginx|" + packageVersion("nginx") +
                R"(|root|@/nginx.conf|[{"address":"127.0.0.1","port":"8001","tls":"0"},)"
                R"({"address":"127.0.0.1","port":"8002","tls":"1"},)"
                R"({"address":"127.0.0.1","port":"8003","tls":"0"}])"
                "\nApache HTTP Server|" +
                packageVersion("apache2-bin") +
                R"(|root|@/apache.conf|[{"address":"127.0.0.1","port":"8004","tls":"0"},)"
                R"({"address":"127.0.0.1","port":"8005","tls":"0"}])"
                "\nTomcat|" +
                tomcatVersion() +
                "|www-data|@/tomcat/conf/server.xml|"
                R"([{"address":"127.0.0.1","port":"8080","tls":"0"}])"
                "\n");
  const std::string expiry = answerOf("date -d \"$(openssl x509 -noout -enddate -in " + directory +
                                      "/cert.pem | sed s/notAfter=//)\" +%s000");
  EXPECT_EQ(
      documentRows(documentOf(program, 9, directory),
                   {"server_name", "aliases", "path", "tls", "certificate_path",
                    "certificate_expiry", "root", "root_mode", "upstream", "access_log"}),
      "blog.example|[\"www.blog.example\"]|/|0|||@/www/blog|0755|[]|@/blog.log\n"
      "shop.example|[]|/|1|@/cert.pem|" +
          expiry +
          "|@/www/shop|0750|[]|\n"
          "api.example|[]|/|0|||||[\"http://127.0.0.1:9001/v1\",\"http://127.0.0.1:9002/v1\"]|\n"
          "one.example|[\"uno.example\",\"eins.example\"]|/|0|||@/htdocs|0755|[]|\n"
          "two.example|[]|/|0|||@/wiki/public|0755|[]|\n"
          "java.example|[\"jee.example\"]|/store|0|||@/tomcat/webapps/store.war|0644|[]|\n");
  EXPECT_EQ(documentRows(documentOf(program, 10, directory),
                         {"name", "version", "kind", "server", "site", "path"}),
            "WordPress|6.4.2|php|nginx|blog.example|@/www/blog\n"
            "htdocs||php|Apache HTTP Server|one.example|@/htdocs\n"
            "acme/wiki|2.1|php|Apache HTTP Server|two.example|@/wiki\n"
            "store|3.2|java|Tomcat|java.example/store|@/tomcat/webapps/store.war\n"
            "orders|0.9|python|Python||@/orders\n");
  EXPECT_EQ(documentRows(documentOf(program, 11, directory),
                         {"name", "version", "kind", "is_framework", "application"}),
            "slim/slim|4.1.0|composer|1|acme/wiki\nmonolog/monolog|2.9.1|composer|0|acme/wiki\n"
            "commons-io|2.11.0|jar|0|store\nspring-core|5.3.9|jar|1|store\n"
            "Flask|3.0.0|python|1|orders\n");
}

void expectDatabases(ProgramRun& program, const std::string& directory) {
  const std::string document = documentOf(program, 12, directory);
  EXPECT_EQ(documentRows(document, {"name", "user", "conf_path", "data_path", "listen_all",
                                    "authentication", "tls"}),
            "Redis|redis|@/redis/redis.conf|@/redis|0|1|0\n"
            "PostgreSQL|postgres|@/pg/postgresql.conf|@/pg|1|0|0\n"
            "MariaDB|mysql|@/my.cnf|@/my|0|0|0\n");
  EXPECT_EQ(documentRows(document, {"version"}), packageVersion("redis-server") + "\n" +
                                                     packageVersion("postgresql-15") + "\n" +
                                                     packageVersion("mariadb-server-core") + "\n");
  EXPECT_NE(document.find(R"({"name":"requirepass","value":"***"})"), std::string::npos);
  EXPECT_NE(document.find(R"({"name":"wsrep-sst-auth","value":"***"})"), std::string::npos);
  EXPECT_NE(document.find(R"("listen":[{"address":"127.0.0.1","port":"8006","tls":"0"},)"
                          R"({"address":"::1","port":"8006","tls":"0"}])"),
            std::string::npos)
      << document;
}

TEST(WebAndDatabase, RealServersOfDebian) {
  if (access("/usr/bin/dpkg-query", X_OK) != 0) GTEST_SKIP() << "for machines with dpkg";
  EXPECT_TRUE(passesInNamespaces(kOwnMachine, [] {
    TempRoot files;
    EXPECT_EQ(chmod(files.path().c_str(), 0755), 0);
    Servers servers(files);
    servers.startWebServers();
    servers.startDatabases();
    servers.startService();
    ProgramRun program;
    expectWebDocuments(program, files.path());
    expectDatabases(program, files.path());
  }));
}

// A container's server is read through the container's root and listed on
// request only; a link there leads nowhere else.
TEST(WebAndDatabase, ContainersOnRequestAndThroughTheirRoot) {
  EXPECT_TRUE(passesInNamespaces(kOwnMachine, [] {
    TempRoot root;
    root.file("etc/nginx/nginx.conf",
              "daemon off; master_process off; user root root; pid /n.pid; error_log /dev/null; "
              "events {}\n"
              "http { access_log off; client_body_temp_path /t1; proxy_temp_path /t2;\n"
              "fastcgi_temp_path /t3; uwsgi_temp_path /t4; scgi_temp_path /t5;\n"
              "include /etc/nginx/sites/*.conf; }\n");
    root.file("etc/nginx/sites/a.conf",
              "server { listen 127.0.0.1:8101; server_name inner.example; root /site; }\n");
    root.link("etc/nginx/sites/b.conf", "/etc/outside.conf");
    root.file("etc/outside.conf", "# what the link means inside\n");
    root.dir("site", 0711)
        .file("etc/group", "root:x:0:\n")
        .file("etc/passwd", "inside:x:0:0::/:/bin/sh\nroot:x:0:0::/:/bin/sh\n");
    ContainerOptions options;
    options.root = root.path();
    options.command = {"/usr/sbin/nginx"};
    options.namespaces = CLONE_NEWNET;
    const TestContainer container(options);
    EXPECT_TRUE(hasProcesses("nginx", 1));
    ProgramRun program;
    const auto rowsOf = [&program](const char* option) {
      const ProgramResult result = program.type(9, {option});
      EXPECT_EQ(result.exitStatus, 0);
      std::string found;
      const std::string rows = documentRows(
          result.document, {"server_name", "environment", "root", "root_owner", "root_mode"});
      const std::size_t at = rows.find("inner.example");
      return at == std::string::npos ? found : rows.substr(at, rows.find('\n', at) - at);
    };
    EXPECT_EQ(rowsOf("option=0"), "");
    EXPECT_EQ(rowsOf("option=24"),
              "inner.example|{\"type\":1,\"id\":\"" + options.id + "\"}|/site|inside|0711");
  }));
}

}  // namespace
}  // namespace LedgoraTest
