// What a service call and a whole branch cost over a raw exchange of the same bytes with the same kind of peer: a child
// process that answers from a blocking loop. The two take turns, call by call, so that whatever else the machine does
// meets both; shown are the medians and their ratio.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "vxa/vxa_host.h"
#include "vxa/xa.h"
#include "vxa/xatmi.h"

namespace {

using Header = vesk_msg_header;
using Clock = std::chrono::steady_clock;

constexpr int kServiceCall = 3;
constexpr int kQueuedCall = 4;
constexpr int kCallsAtOnce = 8;
constexpr int kSuccess = 1000;

void require(bool holds, const char* what) {
  if (holds) return;
  std::perror(what);
  std::exit(1);
}

void send_all(int fd, const void* bytes, std::size_t n) {
  require(::send(fd, bytes, n, 0) == static_cast<ssize_t>(n), "send");
}

bool receive_all(int fd, void* bytes, std::size_t n) {
  return ::recv(fd, bytes, n, MSG_WAITALL) == static_cast<ssize_t>(n);
}

// Answers a connection until it ends: calls with their own payload, everything else with a header. Queued calls are
// answered when the last of kCallsAtOnce has come, as services that take their time would.
[[noreturn]] void answer(int fd) {
  std::vector<char> message(sizeof(Header) + (1 << 20));
  std::vector<char> queued;
  auto* header = reinterpret_cast<Header*>(message.data());
  for (int calls = 0; receive_all(fd, header, sizeof *header);) {
    const std::size_t n = ntohl(static_cast<std::uint32_t>(header->datalen));
    if (n > 0 && !receive_all(fd, header + 1, n)) break;
    const int code = static_cast<int>(ntohl(static_cast<std::uint32_t>(header->msgtype)));
    const std::size_t back = code == kServiceCall || code == kQueuedCall ? n : 0;
    header->msgtype = static_cast<int>(htonl(static_cast<std::uint32_t>(code + kSuccess)));
    header->datalen = static_cast<int>(htonl(static_cast<std::uint32_t>(back)));
    header->flags = 0;
    queued.insert(queued.end(), message.data(), message.data() + sizeof *header + back);
    if (code == kQueuedCall && ++calls % kCallsAtOnce != 0) continue;
    send_all(fd, queued.data(), queued.size());
    queued.clear();
  }
  _exit(0);
}

// The client keeps to one processor and the peers to another, so that both exchanges are between processors.
void keep_to_processor(int number) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(number, &set);
  sched_setaffinity(0, sizeof set, &set);  // best effort: with a single processor there is no choice
}

// Small messages that follow each other leave without waiting for an acknowledgement.
int at_once(int fd) {
  const int on = 1;
  require(::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0, "setsockopt");
  return fd;
}

// A listening socket whose first connection a child answers.
int start_peer() {
  const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  require(
      bind(listener, generic, length) == 0 && listen(listener, 1) == 0 && getsockname(listener, generic, &length) == 0,
      "listen");
  if (fork() == 0) {
    keep_to_processor(1);
    answer(at_once(::accept(listener, nullptr, nullptr)));
  }
  ::close(listener);
  return ntohs(address.sin_port);
}

int connect_to(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  require(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "connect");
  return at_once(fd);
}

// One raw exchange: a request out, a reply in, its header first and then the payload that it announces.
class RawLink {
 public:
  explicit RawLink(int fd) : fd_(fd) {}

  void round_trip(int code, std::size_t payload) {
    ask(code, payload);
    take();
  }

  void ask(int code, std::size_t payload) {
    bytes_.resize(std::max(bytes_.size(), sizeof(Header) + payload));
    auto* header = reinterpret_cast<Header*>(bytes_.data());
    header->msgtype = static_cast<int>(htonl(static_cast<std::uint32_t>(code)));
    header->datalen = static_cast<int>(htonl(static_cast<std::uint32_t>(payload)));
    send_all(fd_, header, sizeof *header + payload);
  }

  void take() {
    auto* header = reinterpret_cast<Header*>(bytes_.data());
    require(receive_all(fd_, header, sizeof *header), "recv");
    const std::size_t back = ntohl(static_cast<std::uint32_t>(header->datalen));
    require(back == 0 || receive_all(fd_, header + 1, back), "recv");
  }

 private:
  int fd_;
  std::vector<char> bytes_ = std::vector<char>(sizeof(Header));
};

template <class Work>
double microseconds(Work work) {
  const auto before = Clock::now();
  work();
  return std::chrono::duration<double, std::micro>(Clock::now() - before).count();
}

double median(std::vector<double>& times) {
  const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  return *middle;
}

template <class Library, class Raw>
void compare(const char* name, int turns, Library library, Raw raw) {
  std::vector<double> library_times;
  std::vector<double> raw_times;
  for (int turn = 0; turn < turns; ++turn) {
    library_times.push_back(microseconds(library));
    raw_times.push_back(microseconds(raw));
  }
  const double ours = median(library_times);
  const double theirs = median(raw_times);
  std::printf("%-28s %10.2f %10.2f %8.3f\n", name, ours, theirs, ours / theirs);
}

XID branch() {
  XID xid{};
  xid.formatID = 1;
  xid.gtrid_length = 8;
  xid.bqual_length = 8;
  std::memcpy(xid.data, "bench001branch01", 16);
  return xid;
}
constexpr std::size_t kXidPayload = 24 + 16;

struct Call {
  explicit Call(std::size_t n)
      : input(tpalloc("STRING", nullptr, static_cast<long>(n))), output(tpalloc("STRING", nullptr, 0)) {
    std::memset(input, 'x', n - 1);
    input[n - 1] = 0;
  }
  void make() { require(tpcall("ECHO", input, 0, &output, &length, 0) == 1, "tpcall"); }
  void queue() { require(tpacall("ECHO", input, 0, 0) > 0, "tpacall"); }
  void collect() {
    int cd = 0;
    require(tpgetrply(&cd, &output, &length, TPGETANY) == 1, "tpgetrply");
  }
  char* input;
  char* output;
  long length = 0;
};

}  // namespace

int main() {
  signal(SIGPIPE, SIG_IGN);
  keep_to_processor(0);
  std::string info = "host=127.0.0.1:" + std::to_string(start_peer()) + "+timeout=5";
  require(vesk_xa_open(info.data(), 1, 0) == XA_OK, "xa_open");
  RawLink raw{connect_to(start_peer())};

  std::printf("%-28s %10s %10s %8s\n", "median of one, in us", "library", "raw", "ratio");
  const struct {
    const char* name;
    std::size_t size;
    int turns;
  } sizes[] = {{"tpcall, STRING of 64 B", 64, 20000},
               {"tpcall, STRING of 1 KiB", 1024, 20000},
               {"tpcall, STRING of 64 KiB", 65536, 5000}};
  for (const auto& [name, size, turns] : sizes) {
    Call call{size};
    compare(
        name, turns, [&] { call.make(); }, [&, n = size] { raw.round_trip(kServiceCall, n); });
  }

  Call call{64};
  compare(
      "8 tpacalls, then 8 replies", 200,
      [&] {
        for (int i = 0; i < kCallsAtOnce; ++i) call.queue();
        for (int i = 0; i < kCallsAtOnce; ++i) call.collect();
      },
      [&] {
        for (int i = 0; i < kCallsAtOnce; ++i) raw.ask(kQueuedCall, 64);
        for (int i = 0; i < kCallsAtOnce; ++i) raw.take();
      });

  XID xid = branch();
  compare(
      "branch with one call", 5000,
      [&] {
        require(vesk_xa_start(&xid, 1, 0) == XA_OK, "xa_start");
        call.make();
        require(vesk_xa_end(&xid, 1, TMSUCCESS) == XA_OK, "xa_end");
        require(vesk_xa_prepare(&xid, 1, 0) == XA_OK, "xa_prepare");
        require(vesk_xa_commit(&xid, 1, 0) == XA_OK, "xa_commit");
      },
      [&] {
        raw.round_trip(149, kXidPayload);
        raw.round_trip(kServiceCall, 64);
        for (const int code : {150, 112, 113}) raw.round_trip(code, kXidPayload);
      });
}
