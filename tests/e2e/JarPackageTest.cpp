// Type 22 with real Java machines, and with processes that only look like one.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>

#include "common/support/Handles.h"
#include "support/DocumentView.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"
#include "support/ZipBuilder.h"

using namespace LedgoraTest;

namespace {

/// A process that runs until this object goes. Waits for its line "ready".
class HeldProcess {
 public:
  HeldProcess(const std::vector<std::string>& words,
              const std::map<std::string, std::string>& environment) {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    mPid = fork();
    if (mPid == 0) run(words, environment, ends[1]);
    close(ends[1]);
    char line[8] = {};
    EXPECT_GT(read(ends[0], line, sizeof line), 0) << words[0];
    EXPECT_EQ(std::string(line, 5), "ready");
    close(ends[0]);
  }
  ~HeldProcess() {
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
  }
  HeldProcess(const HeldProcess&) = delete;
  HeldProcess& operator=(const HeldProcess&) = delete;
  std::string pid() const { return std::to_string(mPid); }

 private:
  [[noreturn]] static void run(const std::vector<std::string>& words,
                               const std::map<std::string, std::string>& environment, int out) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(out, STDOUT_FILENO);
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    for (const char* name : {"JAVA_HOME", "JRE_HOME", "JAVA_TOOL_OPTIONS"}) unsetenv(name);
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  pid_t mPid = -1;
};

// Opens every archive of the class path, and the files that its arguments
// name, and keeps them.
constexpr char kHold[] =
    "import java.io.*; import java.util.*;\n"
    "public class Hold {\n"
    "  static List<Object> kept = new ArrayList<>();\n"
    "  public static void main(String[] files) throws Exception {\n"
    "    kept.add(Collections.list(ClassLoader.getSystemResources(\"marker\")));\n"
    "    for (String file : files) kept.add(new FileInputStream(file));\n"
    "    System.out.println(\"ready\");\n"
    "    Thread.sleep(1000000);\n"
    "  }\n"
    "}\n";
constexpr char kBootstrap[] =
    "package org.apache.catalina.startup;\n"
    "public class Bootstrap {\n"
    "  public static void main(String[] files) throws Exception {\n"
    "    Class.forName(\"Hold\").getMethod(\"main\", String[].class).invoke(null, (Object) "
    "files);\n"
    "  }\n"
    "}\n";

void buildJar(const std::string& path, const std::string& manifest, const TempRoot& classes) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  ZipBuilder jar(path);
  if (!manifest.empty()) jar.add("META-INF/MANIFEST.MF", "Manifest-Version: 1.0\n" + manifest);
  jar.add("Hold.class", classes.read("Hold.class"));
  const std::string bootstrap = "org/apache/catalina/startup/Bootstrap.class";
  jar.add(bootstrap, classes.read(bootstrap));
  jar.close();
}

bool compile(TempRoot& classes) {
  classes.file("Hold.java", kHold).file("Bootstrap.java", kBootstrap);
  return runProgram(
             {"/bin/sh", "-c",
              "cd '" + classes.path() + "' && javac -proc:none -d . Hold.java Bootstrap.java"})
             .exitStatus == 0;
}

std::string md5Of(const std::string& path) {
  return runProgram({"/usr/bin/md5sum", "-b", path}).out.substr(0, 32);
}

/// "type exec version service md5? processes" of the archives below `tree`, by
/// their paths there; processes as their names in `names`.
std::string archivesBelow(const TempRoot& tree, const ProgramResult& result,
                          const std::map<std::string, std::string>& names) {
  const LedgoraCollect::JsonHandle document(cJSON_Parse(result.document.c_str()));
  const auto text = [](const cJSON* item, const char* key) -> std::string {
    const char* value = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(item, key));
    return value == nullptr ? "(none)" : value;
  };
  std::string shown;
  const cJSON* jar = nullptr;
  cJSON_ArrayForEach(jar, cJSON_GetObjectItem(document.get(), "list")) {
    const std::string path = text(jar, "abs_path");
    if (path.compare(0, tree.path().size(), tree.path()) != 0) continue;
    EXPECT_EQ(text(jar, "md5"), md5Of(path)) << path;
    EXPECT_EQ(path.substr(path.rfind('/') + 1), text(jar, "jar_name"));
    shown += path.substr(tree.path().size()) + ": " + text(jar, "jar_type");
    shown += cJSON_IsTrue(cJSON_GetObjectItem(jar, "is_exec")) ? " exec" : "";
    shown += " [" + text(jar, "version") + "] [" + text(jar, "service_type") + "]";
    const cJSON* process = nullptr;
    cJSON_ArrayForEach(process, cJSON_GetObjectItem(jar, "processes")) {
      const auto name = names.find(text(process, "pid"));
      shown += " " + (name == names.end() ? "?" : name->second);
      EXPECT_EQ(text(process, "name"), "java");
      EXPECT_EQ(text(process, "start_time").size(), 13u);
    }
    shown += "\n";
  }
  return shown;
}

bool javaIsHere() {
  return runProgram({"/bin/sh", "-c", "command -v javac && command -v java"}).exitStatus == 0;
}

}  // namespace

TEST(JarPackages, OfRunningJavaMachines) {
  if (!javaIsHere()) GTEST_SKIP() << "no JDK";
  TempRoot classes;
  ASSERT_TRUE(compile(classes));
  TempRoot tree;
  buildJar(tree.path("app one.jar"),
           "Main-Class: Hold\nImplementation-Version: 1.2.3\nClass-Path: lib.jar gone.jar\n",
           classes);
  buildJar(tree.path("lib.jar"), "Bundle-Version: 4.5\n", classes);
  buildJar(tree.path("gone.jar"), "", classes);
  buildJar(tree.path("web/bootstrap.jar"), "Implementation-Version: 9\n", classes);
  buildJar(tree.path("web/app.jar"), "Main-Class: Hold\n", classes);
  buildJar(tree.path("jre/lib/rt.jar"), "Main-Class: Hold\nImplementation-Version: 1.8.0\n",
           classes);
  buildJar(tree.path("jre/lib/jce.jar"), "", classes);
  tree.file("no zip.jar", "this is no archive");
  {
    ZipBuilder big(tree.path("big.jar"));
    big.add("META-INF/MANIFEST.MF", "Implementation-Version: 200\n");
    big.add("data", std::string(1 << 20, 'x'), 0, 200).close();
  }
  const HeldProcess app({"java", "-Xshare:auto", "-jar", tree.path("app one.jar"),
                         tree.path("no zip.jar"), tree.path("big.jar")},
                        {});
  const HeldProcess second({"java", "-cp", tree.path("lib.jar"), "Hold"}, {});
  const HeldProcess web(
      {"java", "-cp", tree.path("web/bootstrap.jar") + ":" + tree.path("web/app.jar"),
       "org.apache.catalina.startup.Bootstrap"},
      {});
  // An installation of the kind that has an rt.jar, by its own archives.
  const HeldProcess old(
      {"java", "-cp", tree.path("jre/lib/rt.jar") + ":" + tree.path("jre/lib/jce.jar"), "Hold"},
      {});
  tree.remove("gone.jar");
  ProgramRun program;
  const ProgramResult result = program.type(22);
  ASSERT_EQ(result.exitStatus, 0) << result.log;
  EXPECT_EQ(
      archivesBelow(
          tree, result,
          {{app.pid(), "app"}, {second.pid(), "second"}, {web.pid(), "web"}, {old.pid(), "old"}}),
      "/app one.jar: 1 exec [1.2.3] [] app\n"
      "/big.jar: 4 [200] [] app\n"
      "/jre/lib/jce.jar: 2 [] [] old\n"
      "/jre/lib/rt.jar: 2 exec [1.8.0] [] old\n"
      "/lib.jar: 4 [4.5] [] app second\n"
      "/no zip.jar: 4 [] [] app\n"
      "/web/app.jar: 1 exec [] [Tomcat] web\n"
      "/web/bootstrap.jar: 3 [9] [Tomcat] web\n")
      << result.messages();
}

// What a process is called by decides that it is one of Java.
TEST(JarPackages, OfProcessesThatAreNamedSo) {
  TempRoot tree;
  tree.copy("java", "/bin/sleep").copy("javaw", "/bin/sleep");
  for (const char* jar : {"home/a.jar", "home/b.jar", "jre/d.jar", "e.jar", "f.jar"}) {
    tree.file(jar, jar);
  }
  const auto start = [&tree](const std::string& name, const std::string& jars) {
    return std::vector<std::string>{
        "/bin/sh", "-c",
        "cd '" + tree.path() + "'; exec " + jars + "; echo ready; exec ./" + name + " 1000"};
  };
  const std::map<std::string, std::string> home{{"JAVA_HOME", tree.path("home")}};
  const HeldProcess first(start("java", "3<home/a.jar 4<home/a.jar 5<e.jar"), home);
  // Without JAVA_HOME: judged by that of the process before.
  const HeldProcess next(start("java", "3<home/b.jar 4<jre/d.jar"),
                         {{"JRE_HOME", tree.path("jre")}});
  const HeldProcess other(start("javaw", "3<f.jar"), home);
  ProgramRun program;
  const std::map<std::string, std::string> names{{first.pid(), "first"}, {next.pid(), "next"}};
  EXPECT_EQ(archivesBelow(tree, program.type(22), names),
            "/e.jar: 4 [] [] first\n"
            "/home/a.jar: 2 [] [] first first\n"
            "/home/b.jar: 2 [] [] next\n"
            "/jre/d.jar: 2 [] [] next\n");
  program.tree().file("config/hostlimit.ini", "[host_limit]\nE_HOST_JAR=1\n");
  EXPECT_EQ(documentCount(program.type(22).document), 1);
  program.tree().file("config/hostlimit.ini", "[host_limit]\nE_HOST_JAR=0\n");
  EXPECT_EQ(program.type(22).document, "{\"list\":[]}");
}

TEST(JarPackages, OfContainers) {
  TempRoot root;
  root.copy("opt/java", "/bin/sleep").file("data/a.jar", "a").file("data/b.jar", "b");
  ContainerOptions options;
  options.root = root.path();
  options.command = {"/bin/sh", "-c",
                     "exec 3</data/a.jar; /opt/java 1000 4</data/b.jar & exec /opt/java 1001"};
  const TestContainer container(options);
  usleep(300000);  // both processes have become what they are
  ProgramRun program;
  const auto ours = [&options](const ProgramResult& result) {
    std::istringstream rows(
        documentRows(result.document, {"abs_path", "environment", "processes", "md5"}));
    std::string found;
    for (std::string row; std::getline(rows, row);) {
      if (row.find(options.id) != std::string::npos) found += row + "\n";
    }
    return found;
  };
  const ProgramResult hostOnly = program.type(22);
  EXPECT_EQ(ours(hostOnly), "");
  EXPECT_EQ(hostOnly.count("Jar :a.jar will not output"), 1) << hostOnly.messages();
  const std::string rows = ours(program.type(22, {"option=24"}));
  // Of the two processes that hold the first archive only the first is told.
  EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), 2) << rows;
  EXPECT_EQ(rows.rfind("/data/a.jar|{\"type\":1,", 0), 0u) << rows;
  std::size_t processes = 0;
  for (std::size_t at = rows.find("\"pid\""); at != std::string::npos;
       at = rows.find("\"pid\"", at + 1)) {
    ++processes;
  }
  EXPECT_EQ(processes, 2u) << rows;
  EXPECT_NE(rows.find(md5Of(root.path("data/a.jar"))), std::string::npos) << rows;
}
