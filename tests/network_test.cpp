// Sockets on loopback: transfers against peers that are slow or stop anywhere, connections, listening, flags.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "base/descriptor.h"
#include "tests/support/host.h"
#include "vxa/vxa_host.h"

namespace {

using host::LogRecord;
using vxa::Descriptor;
using namespace std::chrono_literals;

const std::uint32_t loopback = htonl(INADDR_LOOPBACK);

struct SocketPair {
  SocketPair() {
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    near = fds[0];
    far = fds[1];
  }
  ~SocketPair() {
    close(near);
    close_far();
  }
  void close_far() {
    if (far >= 0) close(far);
    far = -1;
  }
  int near = -1;
  int far = -1;
};

// Interrupts the calling thread with a signal every few milliseconds while it lives; handlers do not restart calls.
class Interruptions {
 public:
  Interruptions() : target_(pthread_self()) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    thread_ = std::thread([this] {
      while (!stop_) {
        pthread_kill(target_, SIGUSR1);
        std::this_thread::sleep_for(5ms);
      }
    });
  }
  ~Interruptions() {
    stop_ = true;
    thread_.join();
  }

 private:
  pthread_t target_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

std::string text_of(std::size_t n) {
  std::string text;
  for (std::size_t i = 0; i < n; ++i) text.push_back(static_cast<char>(i * 7 + 1));
  return text;
}

TEST(Transfers, ReadsGiveWhatThePeerSentBeforeItStopped) {
  const std::string message = text_of(136);
  for (int stop = 0; stop <= 136; ++stop) {
    SocketPair pair;
    ASSERT_EQ(write(pair.far, message.data(), static_cast<std::size_t>(stop)), stop);
    pair.close_far();
    char got[136] = {};
    EXPECT_EQ((stop % 2 ? _vesk_readn : pipe_readn)(pair.near, got, 136), stop);
    EXPECT_EQ(std::string(got, static_cast<std::size_t>(stop)), message.substr(0, static_cast<std::size_t>(stop)));
  }
}

TEST(Transfers, ReadsSurviveSinglePiecesAndSignals) {
  for (const auto read_whole : {_vesk_readn, pipe_readn}) {
    SocketPair pair;
    const std::string message = text_of(200);
    std::thread peer([&] {
      for (const char c : message) {
        ASSERT_EQ(write(pair.far, &c, 1), 1);
        std::this_thread::sleep_for(1ms);
      }
    });
    {
      const Interruptions interruptions;
      char got[200];
      EXPECT_EQ(read_whole(pair.near, got, 200), 200);
      EXPECT_EQ(std::string(got, 200), message);
    }
    peer.join();
  }
}

TEST(Transfers, WritesMoveMoreThanTheSocketHolds) {
  const std::string message = text_of(4 << 20);
  for (const auto write_whole : {_vesk_writen, _vesk_writen_urg, pipe_writen}) {
    SocketPair pair;
    std::string got(message.size(), '\0');
    std::thread peer([&] { EXPECT_EQ(_vesk_readn(pair.far, got.data(), 4 << 20), 4 << 20); });
    EXPECT_EQ(write_whole(pair.near, message.data(), 4 << 20), 4 << 20);
    peer.join();
    EXPECT_EQ(got, message);
  }
}

TEST(Transfers, AFailedWriteDoesNotCountWhatWentBefore) {
  std::signal(SIGPIPE, SIG_IGN);
  const std::string message = text_of(4 << 20);
  SocketPair pair;
  std::thread peer([&] {
    char some[1000];
    EXPECT_EQ(_vesk_readn(pair.far, some, 1000), 1000);
    pair.close_far();
  });
  EXPECT_EQ(_vesk_writen(pair.near, message.data(), 4 << 20), -1);
  peer.join();
}

TEST(Transfers, NothingToMoveIsZeroWithoutACall) {
  for (const int n : {0, INT_MIN}) {
    for (const auto read_whole : {_vesk_readn, pipe_readn}) EXPECT_EQ(read_whole(-1, nullptr, n), 0);
    for (const auto write_whole : {_vesk_writen, pipe_writen}) EXPECT_EQ(write_whole(-1, nullptr, n), 0);
  }
}

TEST(Waits, EndByDataTimeOrSignal) {
  SocketPair pair;
  char got[8] = {};
  EXPECT_EQ(_vesk_read_check(pair.near, 0), 0);
  EXPECT_EQ(_vesk_read_timeout(pair.near, got, 4, 0, 1), -1);
  EXPECT_EQ(errno, EINTR);
  {
    const Interruptions interruptions;
    EXPECT_EQ(_vesk_read_check(pair.near, 5), -1);
    EXPECT_EQ(errno, EINTR);

    std::thread peer([&] {
      std::this_thread::sleep_for(50ms);
      ASSERT_EQ(write(pair.far, "abcdef", 6), 6);
    });
    EXPECT_EQ(_vesk_read_timeout(pair.near, got, 4, 5, 1), 4) << "a signal starts the wait anew";
    peer.join();
  }
  EXPECT_EQ(_vesk_read_check(pair.near, 0), 1);
  EXPECT_EQ(_vesk_read_timeout(pair.near, got + 4, 4, 0, 0), 2) << "one read gives what is there";
  EXPECT_EQ(std::string(got, 6), "abcdef");
  EXPECT_EQ(_vesk_read_check(-1, 0), -1);
}

TEST(Waits, ReachDescriptorsBeyondTheSystemsSet) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit raised{limit.rlim_max, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &raised);
  SocketPair pair;
  for (const int number : {1023, 1024, 16383}) {
    if (dup2(pair.near, number) < 0) GTEST_SKIP() << "the system allows no descriptor " << number;
    const Descriptor high{number};
    EXPECT_EQ(_vesk_read_check(number, 0), 0) << number;
    ASSERT_EQ(write(pair.far, "x", 1), 1);
    char got;
    EXPECT_EQ(_vesk_read_timeout(number, &got, 1, 0, 1), 1) << number;
  }
  const Descriptor beyond{dup2(pair.near, 16384)};
  EXPECT_EQ(_vesk_read_check(16384, 0), -1);
  EXPECT_EQ(errno, EBADF);
}

// A listening socket on loopback and its port.
struct Listener {
  Listener() : socket(_network_listen_ipaddr2(loopback, &port)) {}
  int port = 0;
  Descriptor socket;
};

bool blocking(int fd) { return !(fcntl(fd, F_GETFL) & O_NONBLOCK); }

int local_port(int fd) {
  sockaddr_in local{};
  socklen_t length = sizeof local;
  getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length);
  return ntohs(local.sin_port);
}

int free_port() { return Listener{}.port; }

int lowest_free_descriptor() { return Descriptor{dup(0)}.get(); }

// A label of 64 characters cannot be asked for, so that no name server is.
const std::string unknown_host(64, 'x');

// The ways to connect, each with the codes under which it logs an unknown host and a missing socket.
struct Variant {
  const char* name;
  int (*connect)(const char* host, std::uint32_t addr, int port, int local_port);
  const char* host_code;
  const char* socket_code;
  bool from_local_port = false;
};

const Variant variants[] = {
    {"plain", [](auto host, auto addr, int port, int) { return _network_connect(host, addr, port); }, "COM0104",
     "COM0105"},
    {"with_timeout",
     [](auto host, auto addr, int port, int) { return _network_connect_with_timeout(host, addr, port, 0); }, "COM0106",
     "COM0107"},
    {"with_timeout3",
     [](auto host, auto addr, int port, int) { return _network_connect_with_timeout3(host, addr, port, 0, 500000); },
     "COM0106", "COM0107"},
    {"nb",
     [](auto host, auto addr, int port, int) {
       int fd = -1;
       return _network_connect_nb(host, addr, port, &fd) < 0 ? -1 : fd;
     },
     nullptr, "COM0108"},
    {"2", [](auto host, auto addr, int port, int local) { return _network_connect2(host, addr, port, local); },
     "COM0111", "COM0109", true},
    {"with_timeout2",
     [](auto host, auto addr, int port, int local) {
       return _network_connect_with_timeout2(host, addr, port, 5, local);
     },
     "COM0114", "COM0112", true},
    {"nb2",
     [](auto host, auto addr, int port, int local) {
       int fd = -7;
       const int result = _network_connect_nb2(host, addr, port, &fd, local);
       return result < 0 && fd == -7 ? result : fd;
     },
     nullptr, "COM0115", true}};

TEST(Connections, EveryVariantReachesAListener) {
  const Listener listener;
  ASSERT_GT(listener.port, 0);
  const struct {
    const char* host;
    std::uint32_t addr;
  } peers[] = {{"127.0.0.1", 0}, {"localhost", 0xFFFFFFFF}, {"ignored", loopback}, {nullptr, loopback}};
  for (const Variant& variant : variants) {
    for (const auto& to : peers) {
      const int local = free_port();
      const Descriptor socket{variant.connect(to.host, to.addr, listener.port, local)};
      ASSERT_TRUE(socket) << variant.name;
      EXPECT_TRUE(blocking(socket.get()) || std::string(variant.name).starts_with("nb")) << variant.name;
      EXPECT_EQ(local_port(socket.get()) == local, variant.from_local_port) << variant.name;
      std::uint32_t addr = 0;
      const Descriptor accepted{_network_accept2(listener.socket.get(), &addr)};
      EXPECT_EQ(addr, loopback);
      int keepalive = 0;
      socklen_t length = sizeof keepalive;
      getsockopt(accepted.get(), SOL_SOCKET, SO_KEEPALIVE, &keepalive, &length);
      EXPECT_EQ(keepalive, 1);
    }
  }
}

TEST(Connections, EveryVariantLogsUnderItsCodes) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit no_descriptor{0, limit.rlim_max};
  for (const Variant& variant : variants) {
    EXPECT_EQ(variant.connect(unknown_host.c_str(), 0, 1, free_port()), -1);
    const auto unknown = host::take_log();
    if (variant.host_code)
      EXPECT_THAT(unknown, testing::ElementsAre(
                               LogRecord{1, 2, variant.host_code, "0063 gethostbyname error : " + unknown_host}));
    else
      EXPECT_THAT(unknown, testing::IsEmpty());

    setrlimit(RLIMIT_NOFILE, &no_descriptor);
    EXPECT_EQ(variant.connect("", loopback, 1, 1), -1);
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_THAT(host::take_log(), testing::ElementsAre(LogRecord{1, 2, variant.socket_code, "0040 socket init error"}));
  }
  EXPECT_EQ(_vesk_getipbyname(unknown_host.c_str()), -1);
  EXPECT_EQ(static_cast<std::uint32_t>(_vesk_getipbyname("127.0.0.1")), loopback);
}

TEST(Connections, RefusedOnesCloseTheirSocket) {
  const Listener busy;
  const int port = free_port();
  const int before = lowest_free_descriptor();
  for (const Variant& variant : variants) {
    Descriptor{variant.connect("127.0.0.1", 0, port, free_port())};
    EXPECT_EQ(lowest_free_descriptor(), before) << variant.name;
    if (!variant.from_local_port) continue;
    EXPECT_EQ(variant.connect(unknown_host.c_str(), 0, port, busy.port), -2) << variant.name;
  }
  EXPECT_EQ(_network_connect_with_timeout("", loopback, port, 5), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
  EXPECT_THAT(host::take_log(), testing::IsEmpty()) << "neither a refusal nor a busy port is logged";
}

TEST(Connections, ATimedConnectGivesUp) {
  // A full backlog of a listener that nobody accepts from leaves further connections hanging.
  const Descriptor listener{socket(AF_INET, SOCK_STREAM, 0)};
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_addr.s_addr = loopback;
  ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&local), sizeof local), 0);
  ASSERT_EQ(listen(listener.get(), 0), 0);
  const int port = local_port(listener.get());
  const Descriptor first{_network_connect("", loopback, port)};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(_network_connect_with_timeout3("", loopback, port, 0, 200000), -1);
  EXPECT_EQ(errno, ETIME);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 190ms);
}

TEST(Listeners, ReportABusyPortAndABadSocket) {
  const Descriptor listener{_network_listen(0)};
  ASSERT_TRUE(listener);
  const int port = local_port(listener.get());
  EXPECT_EQ(_network_listen(port), -2);
  EXPECT_EQ(_network_listen2(port), -2);
  EXPECT_EQ(_network_listen_ipaddr(loopback, port), -2);
  int same = port;
  EXPECT_EQ(_network_listen_ipaddr2(loopback, &same), -2);
  EXPECT_EQ(same, port);
  const Descriptor any{_network_listen_ipaddr2(loopback, nullptr)};
  EXPECT_TRUE(any);
  std::uint32_t addr = 7;
  EXPECT_EQ(_network_accept(-1), -1);
  EXPECT_EQ(_network_accept2(0, &addr), -1);
  EXPECT_EQ(addr, 7u);
}

TEST(DescriptorFlags, SetClearAndShow) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  const Descriptor in{fds[0]};
  const Descriptor out{fds[1]};
  EXPECT_EQ(_set_fl(in.get(), O_NONBLOCK | O_APPEND), 1);
  const std::string fd = "FD" + std::to_string(in.get());
  testing::internal::CaptureStdout();
  EXPECT_EQ(_show_fl(in.get()), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), fd + ": O_APPEND(1024) O_NONBLOCK(2048) O_SYNC(0)\n");
  EXPECT_EQ(_clr_fl(in.get(), O_APPEND), 1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(_show_fl(in.get()), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), fd + ": O_APPEND(0) O_NONBLOCK(2048) O_SYNC(0)\n");
  EXPECT_EQ(_set_fd(in.get(), 2), -1);
  EXPECT_EQ(fcntl(in.get(), F_GETFD), 0);
  EXPECT_EQ(_set_fd(in.get(), 1), 1);
  EXPECT_EQ(fcntl(in.get(), F_GETFD), FD_CLOEXEC);
  EXPECT_THAT(host::take_log(), testing::ElementsAre(LogRecord{1, 2, "COM0022", "0015 fcntl error : F_SETFD 2"}));

  EXPECT_EQ(_set_fl(-1, 4), -1);
  EXPECT_EQ(_clr_fl(-1, 4), -1);
  EXPECT_EQ(_show_fl(-1), -1);
  EXPECT_EQ(_set_fd(-1, 1), -1);
  EXPECT_THAT(host::take_log(), testing::ElementsAre(LogRecord{1, 2, "COM0017", "0015 fcntl error : F_GETFL 4"},
                                                     LogRecord{1, 2, "COM0019", "0015 fcntl error : F_GETFL 4"},
                                                     LogRecord{1, 2, "COM0021", "0015 fcntl error : F_GETFL 0"},
                                                     LogRecord{1, 2, "COM0023", "0015 fcntl error : F_SETFD 1"}));
}

}  // namespace
