// The library when memory runs out: every call that allocates is made again and again, the first, the second, the third
// allocation inside it failing, until it comes through. It must report the documented error, leave its inputs as they
// were, and keep no block. A call joins by a line in the table at the end.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "fb/fdlfile.h"
#include "fb/scratch.h"
#include "tests/support/failing_heap.h"
#include "tests/support/field_buffer.h"
#include "tests/support/field_table.h"
#include "tests/support/host.h"
#include "tests/support/link_test.h"
#include "tests/support/structs.h"
#include "tests/support/temp_dir.h"
#include "vxa/fbuf.h"
#include "xa/etc.h"

namespace {

// One attempt at a call, of which the n-th allocation fails if it comes so far.
class Trial {
 public:
  explicit Trial(int n) : n_(n) {}

  template <class Call>
  auto make(Call call) {
    const host::FailingHeap heap(n_);
    const auto result = call();
    starved_ = host::FailingHeap::failed();
    return result;
  }

  int number() const { return n_; }

  // Whether the call had to do without.
  bool starved() const { return starved_; }

  // A call fails when it was starved, with that code, and only then.
  void expect_failure(bool failed, int code, int documented) const {
    EXPECT_EQ(failed, starved());
    if (starved()) {
      EXPECT_EQ(code, documented);
    }
  }

 private:
  int n_;
  bool starved_ = false;
};

constexpr int kUntroubled = INT_MAX;

struct Case {
  const char* name;
  void (*attempt)(Trial&);
  bool first = false;  // what it allocates stays for the process; others run when all that is there
};
void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

class AllocationFailure : public testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    const host::FailingHeap heap(1);
    fbfree(fballoc(1, 1));
    if (!host::FailingHeap::failed()) GTEST_SKIP() << "the heap is that of the tool which runs this test";
  }
};

TEST_P(AllocationFailure, IsReportedAndLeavesNothing) {
  const peer::Console console;
  const auto attempt = [](int n) {
    SCOPED_TRACE(testing::Message() << "allocation " << n);
    Trial trial{n};
    const long before = host::FailingHeap::live_blocks();
    GetParam().attempt(trial);
    host::take_log();
    const bool balanced = host::FailingHeap::live_blocks() == before;
    EXPECT_TRUE(balanced || n == kUntroubled || (GetParam().first && !trial.starved())) << "blocks left over";
    return trial.starved();
  };
  if (!GetParam().first) attempt(kUntroubled);
  int n = 1;
  while (attempt(n)) ++n;
  EXPECT_GT(n, 1) << "nothing was allocated";
}

// ---- Buffers ----

void typed_buffer(Trial& trial) {
  char* data = trial.make([] { return tpalloc("FIELD", nullptr, 100); });
  trial.expect_failure(!data, tperrno, TPEOS);
  tpfree(data);
}

void growing_typed_buffer(Trial& trial) {
  char* data = tpalloc("STRING", nullptr, 0);
  std::strcpy(data, "kept");
  char* moved = trial.make([&] { return tprealloc(data, 100000); });
  trial.expect_failure(!moved, tperrno, TPEOS);
  if (moved) data = moved;
  EXPECT_STREQ(data, "kept");
  EXPECT_EQ(tptypes(data, nullptr, nullptr), moved ? 100000 : 1024);
  tpfree(data);
}

void field_buffer(Trial& trial) {
  void* buf = trial.make([] { return fballoc(10, 10); });
  trial.expect_failure(!buf, fberror, FBEMALLOC);
  if (buf) fbfree(buf);
}

const int kText = fields::key(FB_STRING, 1);
const int kDouble = fields::key(FB_DOUBLE, 2);

void growing_field_buffer(Trial& trial) {
  void* buf = fballoc(10, 10);
  fbput(buf, kText, "kept", 0);
  void* moved = trial.make([&] { return fbrealloc(buf, 1000, 1000); });
  trial.expect_failure(!moved, fberror, FBEOS);
  if (moved) buf = moved;
  EXPECT_STREQ(fbgetvals(buf, kText, 0), "kept");
  fbfree(buf);
}

// Without its cache a search only takes longer.
void first_search(Trial& trial) {
  fields::Buffer buf;
  buf.put(kText, "found");
  const char* found = trial.make([&] { return static_cast<const char*>(fbgetval(buf, kText, 0, nullptr)); });
  EXPECT_STREQ(found, "found");
}

void drop_conversion_area() {
  std::free(std::exchange(st, nullptr));
  st_len = 0;
}

void conversion(Trial& trial) {
  drop_conversion_area();
  fields::Buffer buf;
  const std::string before = buf.image();
  const double number = 1.5;
  const int put = trial.make([&] { return fbputt(buf, kText, &number, 0, FB_DOUBLE); });
  trial.expect_failure(put == -1, fberror, FBENOSPACE);
  if (put == -1) {
    EXPECT_EQ(buf.image(), before);
  }
  drop_conversion_area();
}

void allocating_read(Trial& trial) {
  fields::Buffer buf;
  buf.put(kText, "text");
  void* text = trial.make([&] { return fbgetalloc_tu(buf, kText, 0, nullptr); });
  trial.expect_failure(!text, fberror, FBEMALLOC);
  std::free(text);
}

void join(Trial& trial) {
  fields::Buffer left;
  fields::Buffer right;
  left.put(kText, "left").put(kDouble, 1.0);
  right.put(kText, "right");
  const std::string before = left.image();
  const int joined = trial.make([&] { return fbbufop(left, right, FB_OP_JOIN); });
  trial.expect_failure(joined == -1, fberror, FBEMALLOC);
  if (joined == -1) {
    EXPECT_EQ(left.image(), before);
  }
}

void reading_an_image(Trial& trial) {
  fields::Buffer buf;
  buf.put(kText, "written");
  std::FILE* file = std::tmpfile();
  fbwrite(buf, file);
  std::rewind(file);
  std::fgetc(file);  // the stream's own buffer
  std::rewind(file);
  fields::Buffer into;
  into.put(kText, "mine");
  const int read = trial.make([&] { return fbread(into, file); });
  trial.expect_failure(read == -1, fberror, FBEMALLOC);
  EXPECT_STREQ(fbgetvals(into, kText, 0), read == -1 ? "mine" : "written");
  std::fclose(file);
}

// Which of its allocations failed shows in the log.
void field_table(Trial& trial) {
  static const host::TempDir folder;
  static const std::string first =
      folder.file("first", host::TableFile{1}.name(0, "A", kDouble).key(0, kDouble, 0).bytes());
  static const std::string second = folder.file("second", host::TableFile{2}.bytes());
  const host::Environment fdlfile("FDLFILE", (first + ',' + second).c_str());
  const std::string text = "0004 memory allocation error : size = ";
  const std::vector<host::LogRecord> logged = {
      {0, 2, "FDL0506", text + "52"}, {0, 2, "FDL0508", text + "52"},  {0, 2, "FDL0510", text + "8"},
      {0, 2, "FDL0512", text + "8"},  {0, 2, "FDL0507", text + "156"}, {0, 2, "FDL0508", text + "104"},
      {0, 2, "FDL0511", text + "24"}, {0, 2, "FDL0512", text + "16"},
  };
  fbkeynm_unload();
  const int key = trial.make([] { return fbget_fldkey("A"); });
  trial.expect_failure(key == 0, fberror, 0);
  if (trial.starved()) {
    EXPECT_EQ(host::take_log().front(), logged.at(static_cast<std::size_t>(trial.number()) - 1));
  }
  EXPECT_EQ(_fldname == nullptr && _fldkey == nullptr && _fname_fldkey_tab_loaded == 0, trial.starved());
  fbkeynm_unload();
}

void struct_descriptions(Trial& trial) {
  const auto image = [](const auto& row) { return std::string(reinterpret_cast<const char*>(&row), sizeof row); };
  static const host::TempDir folder;
  static const std::string path = folder.file("structs", host::bytes("61 1e 00 00  01 00 00 00  01 00 00 00") +
                                                             image(host::struct_row("s", 8, 4, 0, 0)) +
                                                             image(host::member_row("m", FB_LONG, 1, 0, 0)));
  static const std::string cut = folder.file("cut", host::bytes("61 1e 00 00  01 00 00 00  01 00 00 00"));
  const host::Environment list("SDLFILE64", path.c_str());
  const int loaded = trial.make([] { return _sdlfile_load(); });
  EXPECT_EQ(loaded == -1, trial.starved());
  EXPECT_EQ(_get_host_stsize("s"), loaded == 1 ? 8 : -1);
  EXPECT_EQ(_sdl_table_size, loaded == 1 ? 1 : 0);
  const host::Environment broken("SDLFILE64", cut.c_str());  // leaves nothing loaded
  EXPECT_EQ(_sdlfile_load(), -1);
}

// ---- The link ----

// An open link whose other end has already said what it will.
struct Link {
  explicit Link(std::initializer_list<peer::Wire> replies) {
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    gateway.take(fds[0]);
    _gwfd = fds[1];
    _xa_opensw = 1;
    _rmid = peer::kRmid;
    _timeout = 1;
    for (const peer::Wire& reply : replies) gateway.send(reply);
  }
  ~Link() {
    vesk_xa_close(nullptr, 0, 0);
    _bc_timeout = 0;
  }
  peer::End gateway;
};

XID branch() {
  XID xid{};
  xid.gtrid_length = xid.bqual_length = 4;
  return xid;
}

void opening(Trial& trial) {
  const peer::Gateway gateway;
  std::string info = gateway.open_string();
  const int result = trial.make([&] { return vesk_xa_open(info.data(), peer::kRmid, 0); });
  EXPECT_EQ(result, trial.starved() ? -1 : XA_OK);
  EXPECT_EQ(_xa_opensw, trial.starved() ? 0 : 1);
  EXPECT_EQ(_acall_size, trial.starved() ? 0 : 16);
  vesk_xa_close(nullptr, 0, 0);
  _init_acall(0, 0, 0);
}

// Either the request or the reply finds no memory.
void starting(Trial& trial) {
  Link link{{.msgtype = 1149}};
  XID xid = branch();
  const int result = trial.make([&] { return vesk_xa_start(&xid, peer::kRmid, 0); });
  const bool sent = !link.gateway.quiet();
  EXPECT_EQ(result, !trial.starved() ? XA_OK : sent ? XAER_RMERR : XAER_RMFAIL);
}

// The reply that is to be queued is lost when there is no memory for its entry.
void queueing(Trial& trial) {
  Link link{{.msgtype = 1150, .cd = 5, .handle = 5}, {.msgtype = 1149, .handle = 6}};
  int handle = 6;
  int result = -1;
  const int completed = trial.make([&] { return vesk_xa_complete(&handle, &result, peer::kRmid, 0); });
  handle = 5;
  const int other = vesk_xa_complete(&handle, &result, peer::kRmid, TMNOWAIT);
  EXPECT_EQ(completed == XA_OK && other == XA_OK, !trial.starved());
}

struct Call {
  explicit Call(const char* type) : input(tpalloc(type, nullptr, 0)), output(tpalloc("STRING", nullptr, 0)) {
    std::strcpy(output, "mine");
  }
  ~Call() {
    tpfree(input);
    tpfree(output);
  }
  int make(char* data) { return tpcall("SVC", data, 4, &output, &length, 0); }
  char* input;
  char* output;
  long length = -1;
};

void calling_without_input(Trial& trial) {
  Link link{{.type = 3, .size = 3000, .msgtype = 1003, .payload = "reply"}};
  Call call{"STRING"};
  const int result = trial.make([&] { return call.make(nullptr); });
  if (!trial.starved()) {
    EXPECT_EQ(result, 1);
  }
  if (trial.starved() && link.gateway.quiet()) {
    EXPECT_EQ(result, -5) << "no request could be made";
    EXPECT_EQ(tperrno, TPESYSTEM);
  } else if (trial.starved()) {
    EXPECT_EQ(result, -3) << "the reply could not be read";
    EXPECT_EQ(tperrno, 0);
  }
  EXPECT_STREQ(call.output, trial.starved() ? "mine" : "reply");
}

void calling_with_fields(Trial& trial) {
  const std::string fields = host::bytes("00 00 22 b8  00 00 00 08");
  Link link{{.type = 2, .size = 1032, .msgtype = 1003, .payload = fields}};
  Call call{"FIELD"};
  fbput(call.input, kText, "sent", 0);
  const fields::Buffer copy;
  fbbufop(copy, call.input, FB_OP_COPY_WHOLE);
  const int result = trial.make([&] { return call.make(call.input); });
  trial.expect_failure(result == -3, tperrno, 0);
  EXPECT_EQ(std::memcmp(call.input, copy, static_cast<std::size_t>(fbget_used(copy))), 0);
  if (result == -3) {
    EXPECT_STREQ(call.output, "mine");
  }
}

// A struct that grows when it is decoded.
void grow_struct(const void* src, void* dst) { std::memcpy(dst, src, 4); }
void receiving_a_struct(Trial& trial) {
  vesk_sdl_struct row = host::struct_row("s", 8, 4);
  row.hton = row.ntoh = grow_struct;
  const host::Structs described{{row}, {}};
  Link link{{.type = 1, .msgtype = 1003, .subtype = "s", .payload = "abcd"}};
  Call call{"STRING"};
  const int result = trial.make([&] { return call.make(call.input); });
  trial.expect_failure(result == -3, tperrno, 0);
  EXPECT_STREQ(call.output, trial.starved() ? "mine" : "abcd");
}

void acknowledged_call(Trial& trial) {
  Link link{{.msgtype = 1028}};
  _init_acall(4, 0, 0);
  Call call{"STRING"};
  const int cd = trial.make([&] { return tpacall("SVC", call.input, 0, TPACKWAIT); });
  EXPECT_EQ(cd == -1, trial.starved());
  EXPECT_EQ(_active_tpacall_count, trial.starved() ? 0 : 1);
  _init_acall(0, 0, 0);
}

// A parked reply that has to grow stays parked until there is memory for it.
void collecting_a_parked_reply(Trial& trial) {
  Link link{{.type = 3, .size = 10, .msgtype = 1004, .cd = 1, .payload = "parked"}, {.msgtype = 1004, .cd = 2}};
  _init_acall(4, 0, 0);
  _cur_acall_cd = 0;
  Call call{"STRING"};
  for (int i = 0; i < 2; ++i) tpacall("SVC", nullptr, 0, 0);
  _bc_timeout = 1;
  int cd = 2;
  EXPECT_EQ(tpgetrply(&cd, &call.output, &call.length, 0), 1);
  call.output = tprealloc(call.output, 5000);
  cd = 1;
  const int result = trial.make([&] { return tpgetrply(&cd, &call.output, &call.length, 0); });
  trial.expect_failure(result == -1, tperrno, TPESYSTEM);
  if (result == -1) {
    EXPECT_EQ(tpgetrply(&cd, &call.output, &call.length, 0), 1);
  }
  EXPECT_EQ(std::string(call.output, 6), "parked");
  _init_acall(0, 0, 0);
}

// ---- The host's toolkit ----

void channel_message(Trial& trial) {
  int fds[2];
  EXPECT_EQ(pipe(fds), 0);
  const std::string data(6000, 'd');
  EXPECT_EQ(_send_procmsg_data(fds[1], 1, 2, 3, 4, 6000, data.data()), 1);
  vesk_msg_header* message = trial.make([&] { return _read_procmsg_sync(fds[0]); });
  EXPECT_EQ(message == nullptr, trial.starved());
  std::free(message);
  close(fds[0]);
  close(fds[1]);
}

void argument_vector(Trial& trial) {
  char** vector = trial.make([] { return _vesk_build_argv("program -x", "one two"); });
  EXPECT_EQ(vector == nullptr, trial.starved());
  if (vector) {
    EXPECT_STREQ(vector[3], "two");
  }
  std::free(vector);
}

void access_list(Trial& trial) {
  static const host::TempDir folder;
  static const std::string path = folder.file("acl", "10.0.0.0/8\n192.168.1.0/24\n");
  vesk_acl* list = trial.make([&] { return _acl_create(path.c_str(), 0); });
  if (list) {
    EXPECT_EQ(_acl_search(list, inet_addr("10.1.2.3")), 1) << "what is in a list is whole";
  }
  EXPECT_EQ(list == nullptr, trial.starved());
  _acl_destroy(list);
}

const Case kCases[] = {
    {"first_search", first_search, true},
    {"typed_buffer", typed_buffer},
    {"growing_typed_buffer", growing_typed_buffer},
    {"field_buffer", field_buffer},
    {"growing_field_buffer", growing_field_buffer},
    {"conversion", conversion},
    {"allocating_read", allocating_read},
    {"join", join},
    {"reading_an_image", reading_an_image},
    {"field_table", field_table},
    {"struct_descriptions", struct_descriptions},
    {"opening", opening},
    {"starting", starting},
    {"queueing", queueing},
    {"calling_without_input", calling_without_input},
    {"calling_with_fields", calling_with_fields},
    {"receiving_a_struct", receiving_a_struct},
    {"acknowledged_call", acknowledged_call},
    {"collecting_a_parked_reply", collecting_a_parked_reply},
    {"channel_message", channel_message},
    {"argument_vector", argument_vector},
    {"access_list", access_list},
};

INSTANTIATE_TEST_SUITE_P(Calls, AllocationFailure, testing::ValuesIn(kCases),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
