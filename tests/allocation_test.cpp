// Calls whose nth allocation fails, for every n that they reach: the documented error, and everything as it was.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "base/file.h"
#include "fb/fdlfile.h"
#include "tests/support/failing_heap.h"
#include "tests/support/field_table.h"
#include "tests/support/host.h"
#include "tests/support/temp_dir.h"
#include "vxa/fbuf.h"
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

}  // namespace
