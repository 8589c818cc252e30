// Calls whose nth allocation fails, for every n that they reach: the documented error, and everything as it was.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "base/file.h"
#include "base/heap.h"
#include "fb/fdlfile.h"
#include "tests/support/failing_heap.h"
#include "tests/support/field_table.h"
#include "tests/support/host.h"
#include "tests/support/temp_dir.h"
#include "vxa/fbuf.h"
#include "vxa/vxa_host.h"
#include "vxa/xatmi.h"

namespace {

class FailingAllocation : public testing::Test {
 protected:
  void SetUp() override {
    const host::FailingHeap heap(1);
    fbfree(fballoc(1, 1));
    if (!host::FailingHeap::failed()) GTEST_SKIP() << "the heap is that of the tool which runs this test";
  }
};

// Runs the call with its first, second, ... allocation failing, until it makes no more. The number that failed.
template <class Call, class Check>
int fail_each_allocation(Call call, Check check) {
  for (int nth = 1;; ++nth) {
    bool failed = false;
    {
      const host::FailingHeap heap(nth);
      call();
      failed = host::FailingHeap::failed();
    }
    if (!failed) return nth - 1;
    check(nth);
  }
}

TEST_F(FailingAllocation, OfTheFieldTableIsLoggedByItsPlace) {
  const host::TempDir folder;
  const std::string first = folder.file("first", host::TableFile{1}.name(0, "A", 5).key(0, 5, 0).bytes());
  const std::string second = folder.file("second", host::TableFile{2}.bytes());
  const host::Environment fdlfile("FDLFILE", (first + ',' + second).c_str());
  const std::string text = "0004 memory allocation error : size = ";
  const std::vector<host::LogRecord> logged = {
      {0, 2, "FDL0506", text + "52"}, {0, 2, "FDL0508", text + "52"},  {0, 2, "FDL0510", text + "8"},
      {0, 2, "FDL0512", text + "8"},  {0, 2, "FDL0507", text + "156"}, {0, 2, "FDL0508", text + "104"},
      {0, 2, "FDL0511", text + "24"}, {0, 2, "FDL0512", text + "16"},
  };
  fbkeynm_unload();
  host::take_log();
  int key = 0;
  const auto look_up = [&key] { key = fbget_fldkey("A"); };
  const int allocations = fail_each_allocation(look_up, [&](int nth) {
    EXPECT_EQ(key, 0);
    EXPECT_EQ(fberror, 0);
    EXPECT_EQ(_fldname, nullptr);
    EXPECT_EQ(_fldkey, nullptr);
    EXPECT_EQ(_fname_fldkey_tab_loaded, 0);
    EXPECT_EQ(host::take_log().front(), logged.at(static_cast<std::size_t>(nth) - 1));
  });
  EXPECT_EQ(allocations, 8);
  EXPECT_EQ(key, 5);
  fbkeynm_unload();
}

TEST_F(FailingAllocation, OfAFieldBufferCall) {
  void* buf = nullptr;
  EXPECT_EQ(fail_each_allocation([&] { buf = fballoc(1, 1); },
                                 [&](int) {
                                   EXPECT_EQ(buf, nullptr);
                                   EXPECT_EQ(fberror, FBEMALLOC);
                                   EXPECT_EQ(tperrno, TPEOS);
                                 }),
            1);
  fbput(buf, fbmake_fldkey(FB_STRING, 1), "stays", 0);
  const std::string before(static_cast<char*>(buf), static_cast<std::size_t>(fbget_fbsize(buf)));
  const auto unchanged = [&] {
    return before == std::string(static_cast<char*>(buf), static_cast<std::size_t>(fbget_fbsize(buf)));
  };

  const vxa::FilePtr stream{std::tmpfile()};
  fbwrite(buf, stream.get());
  int loaded = 0;
  const auto load = [&] {
    std::rewind(stream.get());
    loaded = fbread(buf, stream.get());
  };
  EXPECT_EQ(fail_each_allocation(load,
                                 [&](int) {
                                   EXPECT_EQ(loaded, -1);
                                   EXPECT_EQ(fberror, FBEMALLOC);
                                   EXPECT_TRUE(unchanged());
                                 }),
            1);
  EXPECT_EQ(loaded, 1);

  void* grown = nullptr;
  EXPECT_EQ(fail_each_allocation([&] { grown = fbrealloc(buf, 1000, 0); },
                                 [&](int) {
                                   EXPECT_EQ(grown, nullptr);
                                   EXPECT_EQ(fberror, FBEOS);
                                   EXPECT_TRUE(unchanged());
                                 }),
            1);
  fbfree(grown);
}

// Rows of zeros will do: nothing of them is looked at while they are loaded.
std::string struct_file(int structs, int members) {
  const int header[] = {7777, structs, members};
  std::string bytes(reinterpret_cast<const char*>(header), sizeof header);
  return bytes + std::string(static_cast<std::size_t>(64 * structs + 92 * members), '\0');
}

TEST_F(FailingAllocation, OfTheStructTablesIsLoggedByItsPlaceAndEmptiesThem) {
  const host::TempDir folder;
  const std::string list = folder.file("first", struct_file(1, 2)) + ',' + folder.file("second", struct_file(3, 4));
  const host::Environment sdlfile("SDLFILE64", list.c_str());
  const std::string fresh = "0005 memory allocation error : size = ",
                    grown = "0006 memory reallocation error : size = ";
  const std::vector<host::LogRecord> logged = {
      {0, 1, "CLI0119", fresh + "64"},  {0, 1, "CLI0121", fresh + "64"},  {0, 1, "CLI0123", fresh + "184"},
      {0, 1, "CLI0125", fresh + "184"}, {0, 1, "CLI0120", grown + "256"}, {0, 1, "CLI0121", fresh + "192"},
      {0, 1, "CLI0124", grown + "552"}, {0, 1, "CLI0125", fresh + "368"},
  };
  host::take_log();
  int loaded = 0;
  const int allocations =
      fail_each_allocation([&] { loaded = _sdlfile_load(); },
                           [&](int nth) {
                             EXPECT_EQ(loaded, -1);
                             EXPECT_EQ(_sdl_table, nullptr);
                             EXPECT_EQ(_sdl_field_table_size, 0);
                             EXPECT_EQ(host::take_log().front(), logged.at(static_cast<std::size_t>(nth) - 1));
                           });
  EXPECT_EQ(allocations, 8);
  EXPECT_EQ(loaded, 1);
}

TEST_F(FailingAllocation, OfTheSearchCacheChangesNoResult) {
  void* buf = fballoc(10, 0);
  const int key = fbmake_fldkey(FB_STRING, 1);
  fbput(buf, key, "a", 0);
  fbput(buf, key, "b", 0);
  int present = 0;
  fail_each_allocation([&] { present = fbispres(buf, key, 1); }, [&](int) { EXPECT_EQ(present, 1); });
  EXPECT_EQ(present, 1);
  fbfree(buf);
}

// Each of these needs memory beside the buffers.
TEST_F(FailingAllocation, OfAReadConversionOrJoinLeavesTheBuffers) {
  void* dest = fballoc(100, 0);
  void* source = fballoc(100, 0);
  const int text = fbmake_fldkey(FB_STRING, 1), number = fbmake_fldkey(FB_INT, 2);
  const int value = 7;
  std::vector<int> keys(2000, number);
  keys.back() = 0;
  for (void* buf : {dest, source}) {
    fbput(buf, text, "text", 0);
    fbput(buf, number, &value, 0);
  }
  fbgetvals(dest, number, 0);  // from here on the search cache and the scratch area are there
  const std::string large(2000000, 'x');
  const std::string before(static_cast<char*>(dest), static_cast<std::size_t>(fbget_fbsize(dest)));

  struct Case {
    const char* what;
    int code;
    std::function<bool()> call;
  };
  const Case cases[] = {
      {"fbgetalloc_tu", FBEMALLOC,
       [&] { return vxa::HeapPtr<void>{fbgetalloc_tu(dest, text, 0, nullptr)} != nullptr; }},
      {"fbgetalloc_tut", FBEMALLOC,
       [&] { return vxa::HeapPtr<void>{fbgetalloc_tut(dest, number, 0, FB_STRING, nullptr)} != nullptr; }},
      {"fbtypecvt", FBENOSPACE,
       [&] { return fbtypecvt(nullptr, FB_INT, large.data(), FB_CARRAY, 2000000) != nullptr; }},
      {"join", FBEMALLOC, [&] { return fbbufop(dest, source, FB_OP_JOIN) == 1; }},
      {"outer join", FBEMALLOC, [&] { return fbbufop(dest, source, FB_OP_OUTER_JOIN) == 1; }},
      {"update", FBEMALLOC, [&] { return fbbufop(dest, source, FB_OP_UPDATE) == 1; }},
      {"projection", FBEMALLOC, [&] { return fbbufop_proj(dest, source, keys.data()) == 1; }},
  };
  for (const Case& c : cases) {
    bool succeeded = false;
    const int allocations = fail_each_allocation([&] { succeeded = c.call(); },
                                                 [&](int) {
                                                   EXPECT_FALSE(succeeded) << c.what;
                                                   EXPECT_EQ(fberror, c.code) << c.what;
                                                   EXPECT_EQ(std::memcmp(dest, before.data(), before.size()), 0)
                                                       << c.what;
                                                 });
    EXPECT_GE(allocations, 1) << c.what;
    EXPECT_TRUE(succeeded) << c.what;
  }
  fbfree(source);
  fbfree(dest);
}

}  // namespace
