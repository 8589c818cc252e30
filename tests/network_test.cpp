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
  for (const int n : {0, -1, INT_MIN}) {
    EXPECT_EQ(_vesk_readn(-1, nullptr, n), 0);
    EXPECT_EQ(_vesk_writen(-1, nullptr, n), 0);
    EXPECT_EQ(pipe_readn(-1, nullptr, n), 0);
    EXPECT_EQ(pipe_writen(-1, nullptr, n), 0);
  }
  char byte = 0;
  EXPECT_EQ(_vesk_readn(-1, &byte, 1), -1);
  EXPECT_EQ(errno, EBADF);
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

TEST(Connections, EveryVariantReachesAListener) {
  const Listener listener;
  ASSERT_GT(listener.socket.get(), 0);
  ASSERT_GT(listener.port, 0);
  int nb = -1;
  int nb2 = -1;
  const int from[] = {free_port(), free_port(), free_port()};
  const Descriptor sockets[] = {Descriptor{_network_connect("127.0.0.1", 0, listener.port)},
                                Descriptor{_network_connect("localhost", 0xFFFFFFFF, listener.port)},
                                Descriptor{_network_connect("ignored", loopback, listener.port)},
                                Descriptor{_network_connect_with_timeout("127.0.0.1", 0, listener.port, 0)},
                                Descriptor{_network_connect_with_timeout3(nullptr, loopback, listener.port, 0, 500000)},
                                Descriptor{_network_connect2("127.0.0.1", 0, listener.port, from[0])},
                                Descriptor{_network_connect_with_timeout2("127.0.0.1", 0, listener.port, 5, from[1])}};
  for (const Descriptor& socket : sockets) {
    EXPECT_TRUE(socket);
    EXPECT_TRUE(blocking(socket.get()));
    std::uint32_t peer = 0;
    const Descriptor accepted{_network_accept2(listener.socket.get(), &peer)};
    EXPECT_EQ(peer, loopback);
    int keepalive = 0;
    socklen_t length = sizeof keepalive;
    getsockopt(accepted.get(), SOL_SOCKET, SO_KEEPALIVE, &keepalive, &length);
    EXPECT_EQ(keepalive, 1);
  }
  EXPECT_EQ(local_port(sockets[5].get()), from[0]);
  EXPECT_EQ(local_port(sockets[6].get()), from[1]);

  const int started = _network_connect_nb("127.0.0.1", 0, listener.port, &nb);
  ASSERT_GE(started, 0);
  EXPECT_EQ(blocking(nb), started == 1);
  const int started2 = _network_connect_nb2("127.0.0.1", 0, listener.port, &nb2, from[2]);
  ASSERT_GE(started2, 0);
  EXPECT_EQ(local_port(nb2), from[2]);
  for (const int fd : {nb, nb2}) {
    const Descriptor accepted{_network_accept(listener.socket.get())};
    EXPECT_TRUE(accepted);
    close(fd);
  }
}

TEST(Connections, RefusedOnesCloseTheirSocket) {
  const Listener busy;
  const int port = free_port();
  const int before = lowest_free_descriptor();
  int fd = -7;
  EXPECT_EQ(_network_connect("127.0.0.1", 0, port), -1);
  EXPECT_EQ(_network_connect_with_timeout("127.0.0.1", 0, port, 5), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
  EXPECT_EQ(_network_connect_with_timeout2("127.0.0.1", 0, port, 5, free_port()), -1);
  EXPECT_EQ(_network_connect2("127.0.0.1", 0, port, busy.port), -2);
  EXPECT_EQ(_network_connect_with_timeout2(unknown_host.c_str(), 0, port, 1, busy.port), -2);
  EXPECT_EQ(_network_connect_nb2("127.0.0.1", 0, port, &fd, busy.port), -2);
  EXPECT_EQ(fd, -7);
  EXPECT_EQ(lowest_free_descriptor(), before);
  EXPECT_THAT(host::take_log(), testing::IsEmpty());
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

TEST(Connections, UnknownHostsAreLoggedPerCall) {
  const char* name = unknown_host.c_str();
  int fd = -7;
  EXPECT_EQ(_vesk_getipbyname(name), -1);
  EXPECT_EQ(_vesk_getipbyname(nullptr), -1);
  EXPECT_EQ(static_cast<std::uint32_t>(_vesk_getipbyname("127.0.0.1")), loopback);
  EXPECT_EQ(_network_connect(name, 0, 1), -1);
  EXPECT_EQ(_network_connect_with_timeout(name, 0, 1, 1), -1);
  EXPECT_EQ(_network_connect2(name, 0, 1, free_port()), -1);
  EXPECT_EQ(_network_connect_with_timeout2(name, 0, 1, 1, free_port()), -1);
  EXPECT_EQ(_network_connect_nb(name, 0, 1, &fd), -1);
  EXPECT_EQ(_network_connect_nb2(name, 0, 1, &fd, free_port()), -1);
  EXPECT_EQ(fd, -7);
  const std::string text = "0063 gethostbyname error : " + unknown_host;
  EXPECT_THAT(host::take_log(),
              testing::ElementsAre(LogRecord{1, 2, "COM0104", text}, LogRecord{1, 2, "COM0106", text},
                                   LogRecord{1, 2, "COM0111", text}, LogRecord{1, 2, "COM0114", text}));
}

TEST(Connections, ExhaustedDescriptorsAreLoggedPerCall) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit none{0, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  int fd = -7;
  EXPECT_EQ(_network_connect("", loopback, 1), -1);
  EXPECT_EQ(_network_connect_with_timeout3("", loopback, 1, 1, 0), -1);
  EXPECT_EQ(_network_connect_nb("", loopback, 1, &fd), -1);
  EXPECT_EQ(_network_connect2("", loopback, 1, 1), -1);
  EXPECT_EQ(_network_connect_with_timeout2("", loopback, 1, 1, 1), -1);
  EXPECT_EQ(_network_connect_nb2("", loopback, 1, &fd, 1), -1);
  EXPECT_EQ(_network_listen(0), -1);
  setrlimit(RLIMIT_NOFILE, &limit);
  std::vector<std::string> codes;
  for (const LogRecord& record : host::take_log()) {
    EXPECT_EQ(record.text, "0040 socket init error");
    codes.push_back(record.code);
  }
  EXPECT_THAT(codes, testing::ElementsAre("COM0105", "COM0107", "COM0108", "COM0109", "COM0112", "COM0115"));
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
