// Types 5 and 15 in network namespaces of their own, beside what ss says.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <regex>
#include <set>
#include <sstream>

#include "common/support/Handles.h"
#include "support/DocumentView.h"
#include "support/Namespaces.h"
#include "support/ProgramRun.h"

namespace LedgoraTest {
namespace {

using LedgoraCollect::FileDescriptor;

const std::vector<const char*> kPortKeys = {"protocol", "address", "port", "process_id", "open"};
const std::vector<const char*> kConnectionKeys = {"protocol",    "local_addr",  "local_port",
                                                  "remote_addr", "remote_port", "process_id"};

/// Runs that ask a quick shell.
class QuickProgram : public ProgramRun {
 public:
  QuickProgram() {
    tree().file("home/.profile", "# pulseaudio\n");
    environment("HOME", tree().path("home"));
  }
};

struct Address {
  sockaddr_storage storage{};
  socklen_t length = sizeof(sockaddr_in6);
  sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
};

Address addressOf(const char* text, int port) {
  Address address;
  auto* six = reinterpret_cast<sockaddr_in6*>(&address.storage);
  if (inet_pton(AF_INET6, text, &six->sin6_addr) == 1) {
    six->sin6_family = AF_INET6;
    six->sin6_port = htons(static_cast<in_port_t>(port));
    return address;
  }
  auto* four = reinterpret_cast<sockaddr_in*>(&address.storage);
  four->sin_family = AF_INET;
  four->sin_port = htons(static_cast<in_port_t>(port));
  EXPECT_EQ(inet_pton(AF_INET, text, &four->sin_addr), 1) << text;
  address.length = sizeof(sockaddr_in);
  return address;
}

FileDescriptor bound(int kind, const char* text, int port) {
  Address address = addressOf(text, port);
  FileDescriptor end(socket(address.storage.ss_family, kind | SOCK_CLOEXEC, 0));
  const int on = 1, off = 0;
  setsockopt(end.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  setsockopt(end.get(), IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
  EXPECT_EQ(bind(end.get(), address.get(), address.length), 0) << text << " " << port;
  if (kind == SOCK_STREAM) {
    EXPECT_EQ(listen(end.get(), 4096), 0);
  }
  return end;
}

FileDescriptor connected(int kind, const char* text, int port) {
  Address address = addressOf(text, port);
  FileDescriptor end(socket(address.storage.ss_family, kind | SOCK_CLOEXEC, 0));
  EXPECT_EQ(connect(end.get(), address.get(), address.length), 0) << text << " " << port;
  return end;
}

FileDescriptor accepted(const FileDescriptor& listener) {
  return FileDescriptor(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
}

/// A process of the test's own, ended with it.
class Child {
 public:
  template <class Body>
  explicit Child(Body body) : mPid(fork()) {
    if (mPid != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    body();
    for (;;) pause();
  }
  ~Child() {
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
  }
  pid_t pid() const { return mPid; }

 private:
  pid_t mPid;
};

/// A socket that no process holds: it lies, unread, in another socket's queue.
class SocketInFlight {
 public:
  explicit SocketInFlight(FileDescriptor passed) {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends), 0);
    mEnds[0].reset(ends[0]);
    mEnds[1].reset(ends[1]);
    char byte = 0;
    iovec data{&byte, 1};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    const int descriptor = passed.get();
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    EXPECT_EQ(sendmsg(mEnds[0].get(), &message, 0), 1);
  }

 private:
  FileDescriptor mEnds[2];
};

/// An address as ss writes it, in the form that the documents use.
std::string documentForm(std::string text) {
  if (text == "*") return "::";
  if (text.front() == '[') text = text.substr(1, text.size() - 2);
  return text == "::1" ? "::100:0" : text;
}

void splitEndpoint(const std::string& endpoint, std::string& address, std::string& port) {
  const std::size_t colon = endpoint.rfind(':');
  address = documentForm(endpoint.substr(0, colon));
  port = endpoint.substr(colon + 1);
}

/// What ss says, a line per socket in the form of documentRows. Of several
/// owners the lowest pid, which a walk of /proc meets first; sockets without
/// one are left out.
std::set<std::string> askSs(const std::string& command, bool listening) {
  const std::map<std::string, std::string> environment = {
      {"LC_ALL", "C"}, {"PATH", "/usr/sbin:/usr/bin:/sbin:/bin"}};
  std::istringstream lines(runProgram({"/bin/sh", "-c", command}, environment).out);
  std::set<std::string> rows;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string protocol, state, queue, local, peer, address, port, users;
    fields >> protocol >> state >> queue >> queue >> local >> peer;
    std::getline(fields, users);
    std::set<int> pids;
    const std::regex pid("pid=([0-9]+)");
    for (std::sregex_iterator at(users.begin(), users.end(), pid), end; at != end; ++at) {
      pids.insert(std::stoi((*at)[1]));
    }
    if (pids.empty() || (!listening && state != "ESTAB")) continue;
    splitEndpoint(local, address, port);
    std::string row = protocol + "|" + address + "|" + port;
    if (!listening) {
      splitEndpoint(peer, address, port);
      row += "|" + address + "|" + port;
    }
    rows.insert(row + "|" + std::to_string(*pids.begin()));
  }
  return rows;
}

std::set<std::string> linesOf(const std::string& text) {
  std::set<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.insert(line);
  return lines;
}

TEST(Sockets, AgreeWithSs) {
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNET, [] {
    std::vector<FileDescriptor> open;
    const auto keep = [&open](FileDescriptor end) { open.push_back(std::move(end)); };
    const FileDescriptor four = bound(SOCK_STREAM, "127.0.0.1", 631);
    const FileDescriptor six = bound(SOCK_STREAM, "::1", 82);
    const FileDescriptor both = bound(SOCK_STREAM, "::", 83);
    const FileDescriptor datagram = bound(SOCK_DGRAM, "127.0.0.1", 53);
    keep(bound(SOCK_STREAM, "0.0.0.0", 80));
    keep(bound(SOCK_STREAM, "127.10.0.1", 81));
    keep(bound(SOCK_STREAM, "::ffff:127.0.0.1", 84));
    keep(bound(SOCK_DGRAM, "::1", 54));
    keep(connected(SOCK_STREAM, "127.0.0.1", 631));
    keep(accepted(four));
    keep(connected(SOCK_STREAM, "::1", 82));
    keep(accepted(six));
    keep(connected(SOCK_STREAM, "127.0.0.1", 83));
    keep(accepted(both));
    keep(connected(SOCK_DGRAM, "127.0.0.1", 53));
    const Child sharing([] {});  // holds all of them too
    const Child own([] { bound(SOCK_STREAM, "127.0.0.1", 85).release(); });
    const SocketInFlight unowned(bound(SOCK_STREAM, "127.0.0.1", 86));
    const SocketInFlight unownedToo(connected(SOCK_STREAM, "127.0.0.1", 80));
    usleep(50000);

    QuickProgram program;
    const ProgramResult ports = program.type(5);
    EXPECT_EQ(linesOf(documentRows(ports.document, {"protocol", "address", "port", "process_id"})),
              askSs("ss -H -lntup", true));
    // What several processes hold is the lowest one's, also when pids wrap.
    const std::string pid = std::to_string(std::min({getpid(), sharing.pid(), own.pid()}));
    const std::set<std::string> rows = linesOf(documentRows(ports.document, kPortKeys));
    for (const std::string row :
         {"tcp|127.0.0.1|631|" + pid + "|1", "tcp|0.0.0.0|80|" + pid + "|0",
          "tcp|127.10.0.1|81|" + pid + "|0", "tcp|::100:0|82|" + pid + "|1",
          "tcp|::|83|" + pid + "|0", "tcp|::ffff:127.0.0.1|84|" + pid + "|1",
          "udp|::100:0|54|" + pid + "|1", "tcp|127.0.0.1|85|" + std::to_string(own.pid()) + "|1"}) {
      EXPECT_EQ(rows.count(row), 1u) << row;
    }
    EXPECT_EQ(rows.size(), 9u);  // and the datagrams on port 53
    EXPECT_EQ(ports.count("execute cmd:unset LD_LIBRARY_PATH; sh -c set"), 1);

    // A datagram socket that is connected counts as established.
    const std::set<std::string> connections = askSs("ss -H -tunp", false);
    EXPECT_EQ(connections.size(), 7u);
    EXPECT_EQ(linesOf(documentRows(program.type(15).document, kConnectionKeys)), connections);
  }));
}

TEST(Sockets, FiveThousandConnections) {
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNET, [] {
    const rlimit files{20000, 20000};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
    const FileDescriptor listener = bound(SOCK_STREAM, "127.0.0.1", 631);
    std::vector<FileDescriptor> ends;
    for (int i = 0; i < 5000; ++i) {
      ends.push_back(connected(SOCK_STREAM, "127.0.0.1", 631));
      ends.push_back(accepted(listener));
    }
    const struct {
      const char* limits;
      int written, messages;
    } cases[] = {
        // As many are gathered as connections may be, and written as ports.
        {"", 256, 1},
        {"E_HOST_PORT_LISTENING=20000\n", 1025, 1},
        {"E_HOST_PORT_LISTENING=20000\nE_HOST_CONNECTION=20000\n", 10000, 0},
        {"E_HOST_CONNECTION=0\n", 0, 1},
    };
    for (const auto& c : cases) {
      SCOPED_TRACE(c.limits);
      QuickProgram program;
      program.tree().file("config/hostlimit.ini", std::string("[host_limit]\n") + c.limits);
      const ProgramResult result = program.type(15);
      EXPECT_EQ(documentCount(result.document), c.written);
      EXPECT_EQ(result.count("[CollectNetworkConnectInfo]vecNetworkConnect size is lager limit"),
                c.messages);
    }
  }));
}

/// Opens and closes listeners and connections to port 631 for ever.
void churn() {
  for (;;) {
    const FileDescriptor end = connected(SOCK_STREAM, "127.0.0.1", 631);
    const FileDescriptor listener = bound(SOCK_STREAM, "127.0.0.1", 0);
    usleep(200);
  }
}

TEST(Sockets, ComingAndGoingDuringTheRun) {
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNET, [] {
    const FileDescriptor listener = bound(SOCK_STREAM, "127.0.0.1", 631);
    const FileDescriptor steady = connected(SOCK_STREAM, "127.0.0.1", 631);
    const FileDescriptor peer = accepted(listener);
    const Child busy(churn);
    const Child drain([&listener] {
      for (;;) accepted(listener);
    });
    QuickProgram program;
    const std::set<pid_t> numbers = {getpid(), busy.pid(), drain.pid()};
    const std::string lowest = std::to_string(*numbers.begin());
    std::set<std::string> pids;
    for (const pid_t pid : numbers) pids.insert(std::to_string(pid));
    for (int run = 0; run < 2; ++run) {
      const auto connections = linesOf(documentRows(program.type(15).document, {"process_id"}));
      EXPECT_EQ(connections.count(lowest), 1u);
      const auto ports = linesOf(documentRows(program.type(5).document, {"process_id"}));
      EXPECT_EQ(ports.count(lowest), 1u);
      for (const auto& listed : {connections, ports}) {
        for (const std::string& pid : listed) EXPECT_EQ(pids.count(pid), 1u) << pid;
      }
    }
  }));
}

constexpr char kListenAndSleep[] =
    "socket(S,PF_INET,SOCK_STREAM,0);bind(S,sockaddr_in(8080,INADDR_ANY));listen(S,5);sleep 1000";

bool listens(pid_t pid) {
  const std::string table = "/proc/" + std::to_string(pid) + "/net/tcp";
  for (int tries = 0; tries < 500; ++tries) {
    if (readWhole(table).find(":1F90 ") != std::string::npos) return true;
    usleep(10000);
  }
  return false;
}

/// The containers that a run met.
int containersIn(const ProgramResult& result) {
  constexpr char kMet[] = " container id is ";
  std::set<std::string> ids;
  for (std::size_t at = 0; (at = result.log.find(kMet, at)) != std::string::npos;) {
    at += sizeof kMet - 1;
    ids.insert(result.log.substr(at, 64));
  }
  return static_cast<int>(ids.size());
}

TEST(Sockets, OfAContainerWithItsOwnNetwork) {
  TempRoot root;
  ContainerOptions options;
  options.root = root.path();
  options.command = {"/usr/bin/perl", "-MSocket", "-e", kListenAndSleep};
  options.id = std::string(64, 'f');
  options.namespaces = CLONE_NEWNET;
  const TestContainer container(options);
  ASSERT_TRUE(listens(container.pid()));
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNET, [&container, &options] {
    const FileDescriptor host = bound(SOCK_STREAM, "127.0.0.1", 8080);
    QuickProgram program;
    const auto rowsWith = [&program](const char* option) {
      return documentRows(program.type(5, {option}).document,
                          {"address", "port", "process_id", "open", "environment", "process_name"});
    };
    const std::string ours = "127.0.0.1|8080|" + std::to_string(getpid()) +
                             "|1|{\"type\":0,\"id\":\"\"}|ledgora_e2e_tests\n";
    const std::string theirs = "0.0.0.0|8080|" + std::to_string(container.pid()) +
                               "|0|{\"type\":1,\"id\":\"" + options.id + "\"}|perl\n";
    EXPECT_EQ(rowsWith("option=0"), ours);
    EXPECT_EQ(linesOf(rowsWith("option=8")), linesOf(theirs + ours));
    const ProgramResult contained = program.type(5, {"option=24"});
    EXPECT_EQ(contained.count("port :8080 will not output, pid: " + std::to_string(getpid())), 1);
    // One question for each variable: of four tables for the machine and for
    // each container (other tests have theirs), and of the proc root; and one
    // shell that answers them.
    EXPECT_EQ(contained.count("[ENV]the environment variable is not available"),
              4 * (1 + containersIn(contained)) + 1);
    EXPECT_EQ(contained.count("sh -c set"), 1);
    EXPECT_EQ(rowsWith("option=24"), theirs);
  }));
}

TEST(Sockets, VariablesReplaceTheProcRoot) {
  EXPECT_TRUE(passesInNamespaces(CLONE_NEWNET, [] {
    const FileDescriptor listener = bound(SOCK_STREAM, "127.0.0.1", 631);
    TempRoot other;
    std::string table = readWhole("/proc/net/tcp");
    const std::size_t port = table.find(":0277 ");
    ASSERT_NE(port, std::string::npos);
    other.file("net/tcp", table.replace(port, 5, ":1F90"));
    QuickProgram program;
    program.environment("PROC_NET_TCP", other.path());
    EXPECT_EQ(documentRows(program.type(5).document, {"port"}), "8080\n");
    program.environment("PROC_ROOT", other.path());  // nobody owns a socket there
    const ProgramResult result = program.type(5);
    EXPECT_EQ(documentCount(result.document), 0) << result.document;
  }));
}

}  // namespace
}  // namespace LedgoraTest
