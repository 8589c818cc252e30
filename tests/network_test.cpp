// Sockets on loopback: transfers against peers that are slow or stop anywhere, connections, listening, flags.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <chrono>
#include <thread>

#include "base/descriptor.h"
#include "tests/support/peer.h"
#include "tests/support/test.h"
#include "xa/vxaio.h"

namespace {

using peer::Interruptions;
using peer::Stream;
using vxa::Descriptor;
using namespace std::chrono_literals;

const std::uint32_t loopback = htonl(INADDR_LOOPBACK);

std::string text_of(std::size_t n) {
  std::string text(n, '\0');
  for (std::size_t i = 0; i < n; ++i) text[i] = static_cast<char>(i * 7 + 1);
  return text;
}

TEST(Transfers, ReadsSurviveSinglePiecesAndSignalsAndGiveWhatCameBeforeTheEnd) {
  for (const auto read_whole : {_vesk_readn, pipe_readn}) {
    Stream s;
    const std::string message = text_of(200);
    std::jthread peer([&] {
      for (const char c : message) {
        std::this_thread::sleep_for(200us);
        s.far.send(std::string(1, c));
      }
      s.far.finish();
    });
    const Interruptions interruptions;
    char got[201];
    EXPECT_EQ(read_whole(s.near.fd(), got, 100), 100);
    EXPECT_EQ(read_whole(s.near.fd(), got + 100, 101), 100);
    EXPECT_EQ(std::string(got, 200), message);
  }
}

TEST(Transfers, WritesMoveMoreThanTheSocketHoldsOrFail) {
  const std::string message = text_of(4 << 20);
  for (const auto write_whole : {_vesk_writen, _vesk_writen_urg, pipe_writen}) {
    Stream s;
    std::string got;
    std::thread reader([&] { got = s.far.received(4 << 20); });
    EXPECT_EQ(write_whole(s.near.fd(), message.data(), 4 << 20), 4 << 20);
    reader.join();
    EXPECT_EQ(got, message);
  }
  Stream s;
  std::jthread leaver([&] {
    s.far.received(1000);
    s.far.hang_up();
  });
  EXPECT_EQ(_vesk_writen(s.near.fd(), message.data(), 4 << 20), -1) << "what went before does not count";
  for (const int n : {0, INT_MIN}) {
    for (const auto read_whole : {_vesk_readn, pipe_readn}) EXPECT_EQ(read_whole(-1, nullptr, n), 0);
    for (const auto write_whole : {_vesk_writen, pipe_writen}) EXPECT_EQ(write_whole(-1, nullptr, n), 0);
  }
}

TEST(Waits, EndByDataTimeOrSignal) {
  Stream s;
  const int fd = s.near.fd();
  char got[8] = {};
  EXPECT_EQ(_vesk_read_check(fd, 0), 0);
  EXPECT_EQ(_vesk_read_timeout(fd, got, 4, 0, 1), -1);
  EXPECT_EQ(errno, EINTR);
  {
    const Interruptions interruptions;
    EXPECT_EQ(_vesk_read_check(fd, 5), -1);
    EXPECT_EQ(errno, EINTR);
    std::jthread peer([&] {
      std::this_thread::sleep_for(20ms);
      s.far.send("abcdef");
    });
    EXPECT_EQ(_vesk_read_timeout(fd, got, 4, 5, 1), 4) << "a signal starts the wait anew";
  }
  EXPECT_EQ(_vesk_read_check(fd, 0), 1);
  EXPECT_EQ(_vesk_read_timeout(fd, got + 4, 4, 0, 0), 2) << "one read gives what is there";
  EXPECT_EQ(std::string(got, 6), "abcdef");
}

TEST(Waits, ReachDescriptorsBeyondTheSystemsSet) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  Stream s;
  for (const int number : {1023, 1024, 16383}) {
    if (dup2(s.near.fd(), number) < 0) GTEST_SKIP() << "the system allows no descriptor " << number;
    const Descriptor high{number};
    EXPECT_EQ(_vesk_read_check(number, 0), 0) << number;
    EXPECT_EQ(_io_timer(number, 0), 0);
    s.far.send("x");
    EXPECT_EQ(_io_timer(number, 0), 1);
    char got;
    EXPECT_EQ(_vesk_read_timeout(number, &got, 1, 0, 1), 1) << number;
  }
  const Descriptor beyond{dup2(s.near.fd(), 16384)};
  for (const int number : {16384, -1}) {
    EXPECT_EQ(_vesk_read_check(number, 0), -1);
    EXPECT_EQ(errno, EBADF);
  }
}

// A listening socket on loopback and its port.
struct Listener {
  Listener() : socket(_network_listen_ipaddr2(loopback, &port)) {}
  int port = 0;
  Descriptor socket;
};

int local_port(int fd) {
  sockaddr_in local{};
  socklen_t length = sizeof local;
  getsockname(fd, reinterpret_cast<sockaddr*>(&local), &length);
  return ntohs(local.sin_port);
}

int free_port() { return Listener{}.port; }

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
  const char* name = gethostbyname("localhost") ? "localhost" : "127.0.0.1";  // a bare system may know no name at all
  const std::pair<const char*, std::uint32_t> peers[] = {
      {"127.0.0.1", 0}, {name, 0xFFFFFFFF}, {"ignored", loopback}, {nullptr, loopback}};
  for (const Variant& variant : variants) {
    SCOPED_TRACE(variant.name);
    const bool waits = !std::string(variant.name).starts_with("nb");
    for (const auto& [host, addr] : peers) {
      const int local = free_port();
      const Descriptor socket{variant.connect(host, addr, listener.port, local)};
      ASSERT_TRUE(socket);
      EXPECT_TRUE(!waits || !(fcntl(socket.get(), F_GETFL) & O_NONBLOCK));
      EXPECT_EQ(local_port(socket.get()) == local, variant.from_local_port);
      std::uint32_t from = 0;
      const Descriptor accepted{_network_accept2(listener.socket.get(), &from)};
      EXPECT_EQ(from, loopback);
      int keepalive = 0;
      socklen_t length = sizeof keepalive;
      getsockopt(accepted.get(), SOL_SOCKET, SO_KEEPALIVE, &keepalive, &length);
      EXPECT_EQ(keepalive, 1);
    }
  }
}

TEST(Connections, FailuresAreLoggedOnceAndLeaveNoSocket) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit no_descriptor{0, limit.rlim_max};
  const Listener busy;
  const int refusing = free_port();
  const auto lowest_free = [] { return Descriptor{dup(0)}.get(); };
  const int before = lowest_free();
  for (const Variant& variant : variants) {
    SCOPED_TRACE(variant.name);
    EXPECT_EQ(variant.connect(unknown_host.c_str(), 0, 1, free_port()), -1);
    std::vector<LogRecord> expected;
    if (variant.host_code) expected.push_back({1, 2, variant.host_code, "0063 gethostbyname error : " + unknown_host});
    EXPECT_TRUE(logged(expected));

    setrlimit(RLIMIT_NOFILE, &no_descriptor);
    EXPECT_EQ(variant.connect("", loopback, 1, 1), -1);
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_TRUE(logged({{1, 2, variant.socket_code, "0040 socket init error"}}));

    Descriptor{variant.connect("127.0.0.1", 0, refusing, free_port())};
    if (variant.from_local_port) {
      EXPECT_EQ(variant.connect(unknown_host.c_str(), 0, refusing, busy.port), -2);
    }
    EXPECT_EQ(lowest_free(), before);
    EXPECT_TRUE(logged({})) << "neither a refusal nor a busy port is logged";
  }
  EXPECT_EQ(_network_connect_with_timeout("", loopback, refusing, 5), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
  EXPECT_EQ(_vesk_getipbyname(unknown_host.c_str()), -1);
  EXPECT_EQ(static_cast<std::uint32_t>(_vesk_getipbyname("127.0.0.1")), loopback);
}

TEST(Connections, ATimedConnectGivesUp) {
  // A full backlog of a listener that nobody accepts from leaves further connections hanging.
  const Listener listener;
  ASSERT_EQ(listen(listener.socket.get(), 0), 0);
  const Descriptor first{_network_connect("", loopback, listener.port)};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(_network_connect_with_timeout3("", loopback, listener.port, 0, 200000), -1);
  EXPECT_EQ(errno, ETIME);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 190ms);
}

TEST(Listeners, ReportABusyPortAndABadSocket) {
  const Descriptor listener{_network_listen(0)};
  ASSERT_TRUE(listener);
  const int port = local_port(listener.get());
  for (const auto listen_on : {_network_listen, _network_listen2}) EXPECT_EQ(listen_on(port), -2);
  EXPECT_EQ(_network_listen_ipaddr(loopback, port), -2);
  int same = port;
  EXPECT_EQ(_network_listen_ipaddr2(loopback, &same), -2);
  EXPECT_EQ(same, port);
  EXPECT_TRUE(Descriptor{_network_listen_ipaddr2(loopback, nullptr)});
  std::uint32_t addr = 7;
  EXPECT_EQ(_network_accept(-1), -1);
  EXPECT_EQ(_network_accept2(0, &addr), -1);
  EXPECT_EQ(addr, 7u);
}

TEST(DescriptorFlags, SetClearAndShow) {
  const Stream pipe(false);
  const int in = pipe.near.fd();
  EXPECT_EQ(_set_fl(in, O_NONBLOCK | O_APPEND), 1);
  const std::string fd = "FD" + std::to_string(in);
  const auto shown = [&] { EXPECT_EQ(_show_fl(in), 1); };
  EXPECT_EQ(printed(shown), fd + ": O_APPEND(1024) O_NONBLOCK(2048) O_SYNC(0)\n");
  EXPECT_EQ(_clr_fl(in, O_APPEND), 1);
  EXPECT_EQ(printed(shown), fd + ": O_APPEND(0) O_NONBLOCK(2048) O_SYNC(0)\n");
  EXPECT_EQ(_set_fd(in, 2), -1);
  EXPECT_EQ(fcntl(in, F_GETFD), 0);
  EXPECT_EQ(_set_fd(in, 1), 1);
  EXPECT_EQ(fcntl(in, F_GETFD), FD_CLOEXEC);
  EXPECT_TRUE(logged({{1, 2, "COM0022", "0015 fcntl error : F_SETFD 2"}}));

  EXPECT_EQ(_set_fl(-1, 4), -1);
  EXPECT_EQ(_clr_fl(-1, 4), -1);
  EXPECT_EQ(_show_fl(-1), -1);
  EXPECT_EQ(_set_fd(-1, 1), -1);
  EXPECT_TRUE(logged({{1, 2, "COM0017", "0015 fcntl error : F_GETFL 4"},
                      {1, 2, "COM0019", "0015 fcntl error : F_GETFL 4"},
                      {1, 2, "COM0021", "0015 fcntl error : F_GETFL 0"},
                      {1, 2, "COM0023", "0015 fcntl error : F_SETFD 1"}}));
}

}  // namespace
