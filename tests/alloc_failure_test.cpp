// The library when memory runs out: every call that allocates is made again and again, the first, the second, the third
// allocation inside it failing, until it comes through. It must report the documented error, leave its inputs as they
// were, and keep no block. A call joins by a row in the table.
#include <arpa/inet.h>

#include <climits>
#include <cstdio>

#include "fb/fdlfile.h"
#include "fb/scratch.h"
#include "tests/support/failing_heap.h"
#include "tests/support/field_buffer.h"
#include "tests/support/field_table.h"
#include "tests/support/link_test.h"
#include "tests/support/structs.h"
#include "xa/etc.h"

namespace {

// One attempt at a call, of which the n-th allocation fails if it comes so far.
class Trial {
 public:
  explicit Trial(int n) : n_(n) {}

  // What the call returns.
  template <class Call>
  auto make(Call call) {
    host::fail_allocation(n_);
    const auto result = call();
    starved_ = host::allocation_failed();
    host::fail_allocation(0);
    return result;
  }

  // The same of a call that returns something true for success; it fails when it is starved, with the documented error
  // if there is one, and only then.
  template <class Call>
  auto succeeds(Call call, const int& error = kNoCode, int documented = kNoCode) {
    const auto result = make(call);
    EXPECT_EQ(bool(result), !starved_);
    EXPECT_TRUE(result || error == documented) << error;
    return result;
  }

  int number() const { return n_; }
  bool starved() const { return starved_; }

 private:
  static constexpr int kNoCode = 0;
  int n_;
  bool starved_ = false;
};

const int kText = fields::key(FB_STRING, 1);
const int kDouble = fields::key(FB_DOUBLE, 2);

void drop_conversion_area() {
  std::free(std::exchange(st, nullptr));
  st_len = 0;
}

// An open link whose other end has already said what it will.
struct Link {
  explicit Link(std::initializer_list<Wire> replies) {
    _gwfd = dup(stream.near.fd());
    _xa_opensw = 1;
    _rmid = peer::kRmid;
    _timeout = 1;
    _cur_acall_cd = 0;
    for (const Wire& reply : replies) stream.far.send(reply);
  }
  ~Link() {
    vesk_xa_close(nullptr, 0, 0);
    _init_acall(0, 0, 0);
    _bc_timeout = 0;
  }
  peer::Stream stream;
};

struct Call {
  explicit Call(const char* type) : input(tpalloc(type, nullptr, 0)), output(tpalloc("STRING", nullptr, 0)) {
    std::strcpy(output, "mine");
  }
  ~Call() {
    tpfree(input);
    tpfree(output);
  }
  int make(char* data) { return tpcall("SVC", data, 4, &output, &length, 0); }
  int collect(int cd) { return tpgetrply(&cd, &output, &length, 0); }
  char* input;
  char* output;
  long length = -1;
};

XID branch() {
  XID xid{};
  xid.gtrid_length = xid.bqual_length = 4;
  return xid;
}

void first_four(const void* src, void* dst) { std::memcpy(dst, src, 4); }

struct Case {
  const char* name;
  void (*attempt)(Trial&);
};
void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

const Case kCases[] = {
    // Without its cache and its index a search only takes longer. Both stay for the process.
    {"first_search",
     [](Trial& trial) {
       fields::Buffer buf;
       buf.put(kText, "found");
       EXPECT_STREQ(trial.make([&] { return fbgetvals(buf, kText, 0); }), "found");
     }},
    {"typed_buffer",
     [](Trial& trial) { tpfree(trial.succeeds([] { return tpalloc("FIELD", nullptr, 100); }, tperrno, TPEOS)); }},
    {"growing_typed_buffer",
     [](Trial& trial) {
       char* data = tpalloc("STRING", nullptr, 0);
       std::strcpy(data, "kept");
       char* moved = trial.succeeds([&] { return tprealloc(data, 100000); }, tperrno, TPEOS);
       if (moved) data = moved;
       EXPECT_STREQ(data, "kept");
       EXPECT_EQ(tptypes(data, nullptr, nullptr), moved ? 100000 : 1024);
       tpfree(data);
     }},
    {"field_buffer", [](Trial& trial) { fbfree(trial.succeeds([] { return fballoc(10, 10); }, fberror, FBEMALLOC)); }},
    {"growing_field_buffer",
     [](Trial& trial) {
       void* buf = fballoc(10, 10);
       fbput(buf, kText, "kept", 0);
       if (void* moved = trial.succeeds([&] { return fbrealloc(buf, 1000, 1000); }, fberror, FBEOS)) buf = moved;
       EXPECT_STREQ(fbgetvals(buf, kText, 0), "kept");
       fbfree(buf);
     }},
    {"conversion",
     [](Trial& trial) {
       drop_conversion_area();
       fields::Buffer buf;
       const std::string before = buf.image();
       const double number = 1.5;
       trial.succeeds([&] { return fbputt(buf, kText, &number, 0, FB_DOUBLE) == 1; }, fberror, FBENOSPACE);
       EXPECT_EQ(buf.image() == before, trial.starved());
       drop_conversion_area();
     }},
    {"allocating_read",
     [](Trial& trial) {
       fields::Buffer buf;
       buf.put(kText, "text");
       std::free(trial.succeeds([&] { return fbgetalloc_tu(buf, kText, 0, nullptr); }, fberror, FBEMALLOC));
     }},
    {"join",
     [](Trial& trial) {
       fields::Buffer left, right;
       left.put(kText, "left").put(kDouble, 1.0);
       right.put(kText, "right");
       const std::string before = left.image();
       trial.succeeds([&] { return fbbufop(left, right, FB_OP_JOIN) == 1; }, fberror, FBEMALLOC);
       EXPECT_EQ(left.image() == before, trial.starved());
     }},
    {"reading_an_image",
     [](Trial& trial) {
       fields::Buffer buf, into;
       std::FILE* file = std::tmpfile();
       fbwrite(buf.put(kText, "written"), file);
       std::rewind(file);
       std::fgetc(file);  // the stream's own buffer
       std::rewind(file);
       into.put(kText, "mine");
       const bool read = trial.succeeds([&] { return fbread(into, file) == 1; }, fberror, FBEMALLOC);
       EXPECT_STREQ(fbgetvals(into, kText, 0), read ? "written" : "mine");
       std::fclose(file);
     }},
    // Which of its allocations failed shows in the log.
    {"field_table",
     [](Trial& trial) {
       static const TempDir folder;
       static const std::string list =
           folder.file("first", host::TableFile{1}.name(0, "A", kDouble).key(0, kDouble, 0).bytes()) + ',' +
           folder.file("second", host::TableFile{2}.bytes());
       const Environment fdlfile("FDLFILE", list.c_str());
       const std::string text = "0004 memory allocation error : size = ";
       const std::vector<LogRecord> logged = {
           {0, 2, "FDL0506", text + "52"}, {0, 2, "FDL0508", text + "52"},  {0, 2, "FDL0510", text + "8"},
           {0, 2, "FDL0512", text + "8"},  {0, 2, "FDL0507", text + "156"}, {0, 2, "FDL0508", text + "104"},
           {0, 2, "FDL0511", text + "24"}, {0, 2, "FDL0512", text + "16"},
       };
       fbkeynm_unload();
       if (!trial.succeeds([] { return fbget_fldkey("A"); }, fberror, 0)) {
         EXPECT_EQ(host::take_log().front(), logged.at(static_cast<std::size_t>(trial.number()) - 1));
       }
       EXPECT_EQ(_fldname == nullptr && _fldkey == nullptr && _fname_fldkey_tab_loaded == 0, trial.starved());
       fbkeynm_unload();
     }},
    {"struct_descriptions",
     [](Trial& trial) {
       const auto image = [](const auto& row) { return std::string(reinterpret_cast<const char*>(&row), sizeof row); };
       static const TempDir folder;
       static const std::string head = bytes("61 1e 00 00  01 00 00 00  01 00 00 00");
       static const std::string path = folder.file(
           "structs", head + image(host::struct_row("s", 8, 4, 0, 0)) + image(host::member_row("m", FB_LONG, 1, 0, 0)));
       static const std::string cut = folder.file("cut", head);
       const Environment list("SDLFILE64", path.c_str());
       const bool loaded = trial.succeeds([] { return _sdlfile_load() == 1; });
       EXPECT_EQ(_get_host_stsize("s"), loaded ? 8 : -1);
       const Environment broken("SDLFILE64", cut.c_str());  // leaves nothing loaded
       EXPECT_EQ(_sdlfile_load(), -1);
     }},
    {"opening",
     [](Trial& trial) {
       const peer::Gateway gateway;
       std::string info = gateway.open_string();
       const bool open = trial.succeeds([&] { return vesk_xa_open(info.data(), peer::kRmid, 0) == XA_OK; });
       EXPECT_EQ(_xa_opensw, open);
       EXPECT_EQ(_acall_size, open ? 16 : 0);
       vesk_xa_close(nullptr, 0, 0);
       _init_acall(0, 0, 0);
     }},
    // Either the request or the reply finds no memory.
    {"starting",
     [](Trial& trial) {
       Link link{{.msgtype = 1149}};
       XID xid = branch();
       const int result = trial.make([&] { return vesk_xa_start(&xid, peer::kRmid, 0); });
       const bool sent = !link.stream.far.quiet();
       EXPECT_EQ(result, !trial.starved() ? XA_OK : sent ? XAER_RMERR : XAER_RMFAIL);
     }},
    // The reply that is to be queued is lost when there is no memory for its entry.
    {"queueing",
     [](Trial& trial) {
       const Link link{{.msgtype = 1150, .cd = 5, .handle = 5}, {.msgtype = 1149, .handle = 6}};
       int handle = 6;
       int result = -1;
       const int completed = trial.make([&] { return vesk_xa_complete(&handle, &result, peer::kRmid, 0); });
       handle = 5;
       const int other = vesk_xa_complete(&handle, &result, peer::kRmid, TMNOWAIT);
       EXPECT_EQ(completed == XA_OK && other == XA_OK, !trial.starved());
     }},
    {"calling_without_input",
     [](Trial& trial) {
       Link link{{.type = 3, .size = 3000, .msgtype = 1003, .payload = "reply"}};
       Call call{"STRING"};
       const int result = trial.make([&] { return call.make(nullptr); });
       const bool sent = !link.stream.far.quiet();
       EXPECT_EQ(result, !trial.starved() ? 1 : sent ? -3 : -5) << "no reply could be read, or no request be made";
       EXPECT_EQ(tperrno, sent ? 0 : TPESYSTEM);
       EXPECT_STREQ(call.output, trial.starved() ? "mine" : "reply");
     }},
    {"calling_with_fields",
     [](Trial& trial) {
       const Link link{{.type = 2, .size = 1032, .msgtype = 1003, .payload = bytes("00 00 22 b8  00 00 00 08")}};
       Call call{"FIELD"};
       fbput(call.input, kText, "sent", 0);
       const std::string before(call.input, static_cast<std::size_t>(fbget_used(call.input)));
       trial.succeeds([&] { return call.make(call.input) == 1; }, tperrno, 0);
       EXPECT_TRUE(!trial.starved() || std::strcmp(call.output, "mine") == 0);
       EXPECT_EQ(std::string(call.input, before.size()), before);
     }},
    // A struct that grows when it is decoded.
    {"receiving_a_struct",
     [](Trial& trial) {
       const host::Structs described{{host::struct_row("s", 8, 4, 0, -1, first_four)}, {}};
       const Link link{{.type = 1, .msgtype = 1003, .subtype = "s", .payload = "abcd"}};
       Call call{"STRING"};
       const bool received = trial.succeeds([&] { return call.make(call.input) == 1; }, tperrno, 0);
       EXPECT_STREQ(call.output, received ? "abcd" : "mine");
     }},
    {"acknowledged_call",
     [](Trial& trial) {
       const Link link{{.msgtype = 1028}};
       _init_acall(4, 0, 0);
       const bool called = trial.succeeds([] { return tpacall("SVC", nullptr, 0, TPACKWAIT) == 1; });
       EXPECT_EQ(_active_tpacall_count, called);
     }},
    // A parked reply that has to grow stays parked until there is memory for it.
    {"collecting_a_parked_reply",
     [](Trial& trial) {
       const Link link{{.type = 3, .size = 10, .msgtype = 1004, .cd = 1, .payload = "parked"},
                       {.msgtype = 1004, .cd = 2}};
       _init_acall(4, 0, 0);
       Call call{"STRING"};
       for (int i = 0; i < 2; ++i) tpacall("SVC", nullptr, 0, 0);
       _bc_timeout = 1;
       EXPECT_EQ(call.collect(2), 1);
       call.output = tprealloc(call.output, 5000);
       EXPECT_TRUE(trial.succeeds([&] { return call.collect(1) == 1; }, tperrno, TPESYSTEM) || call.collect(1) == 1);
       EXPECT_EQ(std::string(call.output, 6), "parked");
     }},
    {"channel_message",
     [](Trial& trial) {
       const peer::Stream pipe(false);
       const std::string data(6000, 'd');
       EXPECT_EQ(_send_procmsg_data(pipe.far.fd(), 1, 2, 3, 4, 6000, data.data()), 1);
       trial.succeeds([&] { return vxa::Message{_read_procmsg_sync(pipe.near.fd())} != nullptr; });
     }},
    {"argument_vector",
     [](Trial& trial) {
       char** vector = trial.succeeds([] { return _vesk_build_argv("program -x", "one two"); });
       EXPECT_STREQ(vector ? vector[3] : "two", "two");
       std::free(vector);
     }},
    {"access_list",
     [](Trial& trial) {
       static const TempDir folder;
       static const std::string path = folder.file("acl", "10.0.0.0/8\n192.168.1.0/24\n");
       vesk_acl* list = trial.succeeds([] { return _acl_create(path.c_str(), 0); });
       EXPECT_EQ(list && _acl_search(list, inet_addr("10.1.2.3")) == 1, !trial.starved()) << "a list is whole";
       _acl_destroy(list);
     }},
};

class AllocationFailure : public testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    host::fail_allocation(1);
    fbfree(fballoc(1, 1));
    if (!host::allocation_failed()) GTEST_SKIP() << "the heap is that of the tool which runs this test";
  }
};

constexpr int kUntroubled = INT_MAX;

TEST_P(AllocationFailure, IsReportedAndLeavesNothing) {
  const peer::Console console;
  const bool first = GetParam().name == kCases[0].name;
  const auto attempt = [&](int n) {
    SCOPED_TRACE(testing::Message() << "allocation " << n);
    Trial trial{n};
    const long before = host::live_blocks();
    GetParam().attempt(trial);
    host::take_log();
    const bool balanced = host::live_blocks() == before;
    EXPECT_TRUE(balanced || n == kUntroubled || first) << "blocks left over";
    return trial.starved();
  };
  if (!first) {  // with all there that stays for the process, an index for each of the latest four buffers included
    fields::Buffer buffers[4];
    for (fields::Buffer& buffer : buffers) fbgetvals(buffer.put(kText, "x"), kText, 0);
    attempt(kUntroubled);
  }
  int n = 1;
  while (attempt(n)) ++n;
  EXPECT_GT(n, 1) << "nothing was allocated";
}

INSTANTIATE_TEST_SUITE_P(Calls, AllocationFailure, testing::ValuesIn(kCases),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
