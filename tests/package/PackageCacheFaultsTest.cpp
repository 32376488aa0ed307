#include <signal.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <random>

#include "CacheFixture.h"

namespace LedgoraTest {
namespace {

// The answer is right, or it is absent and the log says so.
class PackageCacheFaults : public CacheTest {
 protected:
  static constexpr const char* kNotWorked = "db cache not worked!";

  /// A machine with 100 packages whose versions and files depend on `seed`;
  /// some come and go.
  void machine(unsigned seed) {
    std::mt19937 random(seed);
    for (int i = 0; i < 100; ++i) {
      const std::string name = "pkg" + std::to_string(i);
      const auto version = static_cast<long>(random() % 3);
      if (random() % 10 == 0) {
        mRoot.remove(name);
        continue;
      }
      DpkgRoot::Package package{std::to_string(version), 1700000000 + version, {}};
      for (int file = 0; file < 10; ++file) {
        package.files.push_back("/usr/bin/" + name + "-" + std::to_string(file));
      }
      mRoot.install(name, package);
    }
    mRoot.write();
  }
  Environment here() const { return {mRoot.path(), "", ""}; }
  std::string fileRows() {
    return sql(
        "select count(*), count(distinct pkg_id), sum(pkg_id not in (select id from "
        "software_pkg_info)) from software_pkg_file");
  }
  void expectAbsent(const Outcome& outcome) {
    EXPECT_EQ(outcome.answer, "failed");
    EXPECT_GE(outcome.count(kNotWorked), 1);
  }
  DpkgRoot mRoot;
};

TEST_F(PackageCacheFaults, KilledAtAnyMoment) {
  machine(0);
  const auto before = std::chrono::steady_clock::now();
  ASSERT_EQ(list(here()).answer, mRoot.expected());
  const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now() - before);
  std::mt19937 random(20261122);
  int killed = 0;
  for (unsigned round = 1; round <= 100; ++round) {
    SCOPED_TRACE(round);
    machine(round);
    const pid_t pid = start([this] { return listed(here()); });
    usleep(static_cast<useconds_t>(random() % static_cast<unsigned long>(whole.count() * 5 / 4)));
    kill(pid, SIGKILL);
    killed += WIFSIGNALED(finish(pid).status) ? 1 : 0;
    ASSERT_EQ(list(here()).answer, mRoot.expected());
    ASSERT_EQ(sql("pragma integrity_check"), "ok\n");
    const std::string packages = sql("select count(*) from software_pkg_info");
    const int count = std::stoi(packages);
    ASSERT_EQ(fileRows(), std::to_string(count * 10) + "|" + std::to_string(count) + "|0\n");
  }
  EXPECT_GE(killed, 30);
}

TEST_F(PackageCacheFaults, TwoRunsAtOnce) {
  int answered = 0;
  for (unsigned round = 0; round < 15; ++round) {
    SCOPED_TRACE(round);
    machine(round);
    const auto body = [this] { return listed(here()); };
    const pid_t first = start(body);
    const pid_t second = start(body);
    for (const pid_t pid : {first, second}) {
      const Outcome outcome = finish(pid);
      if (outcome.answer == mRoot.expected()) {
        ++answered;
      } else {
        expectAbsent(outcome);
      }
    }
    ASSERT_EQ(list(here()).answer, mRoot.expected());
    ASSERT_EQ(sql("pragma integrity_check"), "ok\n");
  }
  EXPECT_GE(answered, 15);
}

TEST_F(PackageCacheFaults, LockedByAnotherProcess) {
  machine(1);
  ASSERT_EQ(list(here()).answer, mRoot.expected());
  for (const char* lock : {"begin exclusive", "begin immediate"}) {
    SCOPED_TRACE(lock);
    sqlite3* holder = nullptr;
    ASSERT_EQ(sqlite3_open(database().c_str(), &holder), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(holder, lock, nullptr, nullptr, nullptr), SQLITE_OK);
    const Outcome outcome = run([this] {
      std::string text = listed(here());
      for (int i = 0; i < 300; ++i) owners(here(), {"/usr/bin/pkg1-1"});
      return text;
    });
    expectAbsent(outcome);
    // Hundreds of questions of a run don't list the packages hundreds of times.
    EXPECT_LE(outcome.count("get all dpkg by read"), 40);
    sqlite3_exec(holder, "rollback", nullptr, nullptr, nullptr);
    sqlite3_close(holder);
    EXPECT_EQ(list(here()).answer, mRoot.expected());
  }
}

TEST_F(PackageCacheFaults, ReadOnlyDisk) {
  const auto readOnly = [](const std::string& directory) {
    mount(nullptr, directory.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr);
  };
  machine(1);
  const auto body = [this] { return listed(here()); };
  expectAbsent(run(body, readOnly));
  ASSERT_EQ(list(here()).answer, mRoot.expected());
  machine(2);
  expectAbsent(run(body, readOnly));
  EXPECT_EQ(list(here()).answer, mRoot.expected());
}

TEST_F(PackageCacheFaults, FullDiskAndRoomAgain) {
  machine(1);
  std::string directory;
  const auto small = [&directory](const std::string& path) {
    directory = path;
    mount("none", path.c_str(), "tmpfs", 0, "size=200k");
  };
  const Outcome outcome = run(
      [&] {
        const std::string full = listed(here());
        mount("none", directory.c_str(), "tmpfs", MS_REMOUNT, "size=64m");
        const std::string room = listed(here());
        return full + "," + room + "," + owners(here(), {"/usr/bin/pkg1-1"});
      },
      small);
  const std::string owner = mRoot.expected().find("pkg1 ") == std::string::npos ? "- " : "pkg1 ";
  EXPECT_EQ(outcome.answer, "failed," + mRoot.expected() + "," + owner);
  EXPECT_EQ(outcome.count(kNotWorked), 1);
}

// The disk fills up when removals are written: SQLite may then take the whole
// update back by itself, and nothing of it may count.
TEST_F(PackageCacheFaults, DiskFullAtAnyPointOfAnUpdate) {
  machine(3);
  ASSERT_EQ(list(here()).answer, mRoot.expected());
  const std::string rows = readWhole(database());
  for (int i = 0; i < 50; ++i) mRoot.remove("pkg" + std::to_string(i));
  DpkgRoot::Package added{"1", 1700000000, {}};
  for (int i = 0; i < 900; ++i) added.files.push_back("/usr/bin/new-" + std::to_string(i));
  mRoot.install("new", added);
  mRoot.write();
  int absent = 0;
  int right = 0;
  for (std::size_t spareKib = 16; spareKib <= 2048; spareKib *= 2) {
    SCOPED_TRACE(spareKib);
    const auto small = [&](const std::string& directory) {
      const std::string size = "size=" + std::to_string(rows.size() / 1024 + spareKib) + "k";
      mount("none", directory.c_str(), "tmpfs", 0, size.c_str());
      std::ofstream(directory + "/hoststate.db", std::ios::binary) << rows;
    };
    const Outcome outcome = run([this] { return listed(here()); }, small);
    if (outcome.answer == mRoot.expected()) {
      ++right;
      continue;
    }
    ++absent;
    expectAbsent(outcome);
  }
  EXPECT_GE(absent, 1);
  EXPECT_GE(right, 1);
}

TEST_F(PackageCacheFaults, FileThatIsNoDatabase) {
  machine(1);
  const std::string garbage(100000, '\x5a');
  for (const std::string& content : {garbage, std::string("SQLite format 3\0", 16) + garbage}) {
    data().file("hoststate.db", content);
    expectAbsent(list(here()));
    EXPECT_EQ(readWhole(database()), content) << "not ours to throw away";
  }
  data().remove("hoststate.db");
  TempRoot elsewhere;
  elsewhere.file("target", "");
  data().link("hoststate.db", elsewhere.path("target"));
  expectAbsent(list(here()));
  EXPECT_EQ(elsewhere.read("target"), "");
  data().remove("hoststate.db");
  data().fifo("hoststate.db");
  expectAbsent(list(here()));
}

TEST_F(PackageCacheFaults, TablesOfAnOlderLayout) {
  machine(1);
  const char* const layouts[] = {
      "create table software_pkg_info (id text primary key, pkg_env_id text, pkg_name text)",
      "create table software_pkg_info (id text primary key, pkg_env_id text, pkg_version text, "
      "pkg_name text, pkg_install_time text, pkg_size text, pkg_desp text, pkg_type text, "
      "pkg_cfg_files text, pkg_key text)",
      "create table software_pkg_env (id text primary key, container_id text, pkg_env text, "
      "pkg_collect_time integer)",
      "create table software_pkg_file (id text primary key, pkg_id text, pkg_file_path text)",
  };
  for (const char* layout : layouts) {
    SCOPED_TRACE(layout);
    data().remove("hoststate.db");
    data().file("hoststate.db");
    ASSERT_EQ(sql(layout), "");
    expectAbsent(list(here()));
  }
  // More columns behind ours do no harm.
  data().remove("hoststate.db");
  list(here());
  ASSERT_EQ(sql("alter table software_pkg_info add column pkg_vendor text"), "");
  machine(2);
  EXPECT_EQ(list(here()).answer, mRoot.expected());
}

}  // namespace
}  // namespace LedgoraTest
