// Access lists: what files let in, what they report, and changes in memory and on disk.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/support/host.h"
#include "tests/support/temp_dir.h"
#include "vxa/vxa_host.h"

namespace {

using host::LogRecord;
using testing::ElementsAre;
using testing::IsEmpty;

LogRecord invalid_ip(const std::string& text) {
  return {0, 2, "COM0053", std::string("0209 internal error : ACL parsing error - invalid ip(") + text + ")"};
}

LogRecord invalid_mask(int mask) {
  return {0, 2, "COM0054",
          std::string("0209 internal error : ACL parsing error - invalid mask(") + std::to_string(mask) + ")"};
}

class AccessList : public testing::Test {
 protected:
  ~AccessList() override { _acl_destroy(list_); }

  void read(std::string_view contents) {
    _acl_destroy(list_);
    list_ = _acl_create(dir_.file("acl", contents).c_str(), 0);
    ASSERT_NE(list_, nullptr);
  }
  bool allows(const char* address) const { return _acl_search(list_, inet_addr(address)) == 1; }

  host::TempDir dir_;
  vesk_acl* list_ = nullptr;
};

TEST_F(AccessList, LetsInWhatItsLinesName) {
  read("# offices\n\n10.1.0.0/16\n192.168.7.9\n172.16.5.4/12 trailing words\n10.9.9.9/\n");
  EXPECT_EQ(list_->count, 4);
  for (const char* in : {"10.1.0.0", "10.1.200.3", "192.168.7.9", "172.31.255.255", "10.9.9.9"})
    EXPECT_TRUE(allows(in));
  for (const char* out : {"10.2.0.1", "192.168.7.8", "172.32.0.0", "10.9.9.8", "255.255.255.255"})
    EXPECT_FALSE(allows(out)) << out;
  read("1.2.3.4\nALLow me\n");
  EXPECT_TRUE(allows("200.1.2.3"));
  EXPECT_FALSE(allows("255.255.255.255"));
  read("0.0.0.0/0");
  EXPECT_TRUE(allows("200.1.2.3"));
  EXPECT_EQ(_acl_search(nullptr, 0), 0);
  EXPECT_THAT(host::take_log(), IsEmpty());
}

TEST_F(AccessList, ReportsAndSkipsWhatIsNotValid) {
  read("300.1.1.1\n10.0.0.0/40\n10.0.0.0/-1\n10.0.0.0/x\n10.0.0.0/4294967296\n255.255.255.255\n/\n \n1.2.3.4\n");
  EXPECT_EQ(list_->count, 1);
  EXPECT_THAT(host::take_log(),
              ElementsAre(invalid_ip("300.1.1.1"), invalid_mask(40), invalid_mask(-1), invalid_mask(0),
                          invalid_mask(2147483647), invalid_ip("255.255.255.255"), invalid_ip(""), invalid_ip(" ")));
}

TEST_F(AccessList, NothingBehindTheEndOfALongLineCounts) {
  read(std::string("#") + std::string(1022, 'c') + "0.0.0.0/0\n1.2.3.4" + std::string(3000, ' ') + "\n5.6.7.8\n");
  EXPECT_EQ(list_->count, 2);
  EXPECT_TRUE(allows("1.2.3.4") && allows("5.6.7.8"));
  EXPECT_FALSE(allows("9.9.9.9"));
}

TEST_F(AccessList, KeepsItsOrderAndItsEnds) {
  read("1.0.0.0/8\n1.0.0.0/8\n");
  EXPECT_EQ(list_->count, 1) << "a network that is named twice is kept once";
  EXPECT_EQ(_acl_add(list_, inet_addr("2.2.2.2"), 32), 1);
  EXPECT_EQ(_acl_add(list_, inet_addr("3.3.3.3"), 16), 1);
  EXPECT_EQ(_acl_add(list_, inet_addr("3.3.9.9"), 16), 0) << "the same network";
  EXPECT_EQ(list_->first->next->next, list_->last);
  EXPECT_EQ(list_->last->address, inet_addr("3.3.0.0"));

  EXPECT_EQ(_acl_del(list_, inet_addr("3.3.3.3"), 17), 0);
  EXPECT_EQ(_acl_del(list_, inet_addr("3.3.1.1"), 16), 1);
  EXPECT_EQ(list_->last->address, inet_addr("2.2.2.2"));
  EXPECT_EQ(_acl_del(list_, inet_addr("1.9.9.9"), 8), 1);
  EXPECT_EQ(list_->first, list_->last);
  EXPECT_EQ(_acl_del(list_, inet_addr("2.2.2.2"), 32), 1);
  EXPECT_EQ(list_->first, nullptr);
  EXPECT_EQ(list_->last, nullptr);
  EXPECT_EQ(list_->count, 0);
  EXPECT_EQ(_acl_add(list_, 0, 0), 1);
  EXPECT_TRUE(allows("8.8.8.8"));
}

TEST_F(AccessList, RefusesBadArguments) {
  read("");
  for (auto* change : {&_acl_add, &_acl_del}) {
    EXPECT_EQ(change(nullptr, 0, 0), -1);
    EXPECT_EQ(change(list_, 0xffffffff, 32), -1);
    EXPECT_EQ(change(list_, 0, 33), -1);
    EXPECT_EQ(change(list_, 0, -1), -1);
  }
  EXPECT_EQ(_acl_destroy(nullptr), 1);
  EXPECT_EQ(_acl_del_from_file(), -1);
}

TEST_F(AccessList, FilesThatAreMissingOrUnreadable) {
  const std::string path = dir_.path("missing");
  EXPECT_EQ(_acl_create(path.c_str(), 0), nullptr);
  list_ = _acl_create(path.c_str(), 1);
  ASSERT_NE(list_, nullptr);
  EXPECT_EQ(list_->count, 0);
  EXPECT_TRUE(std::filesystem::exists(path));
  EXPECT_EQ(_acl_create(dir_.path().c_str(), 1), nullptr) << "a directory";
  EXPECT_EQ(_acl_create((path + "/below").c_str(), 1), nullptr);
  EXPECT_EQ(_acl_create(nullptr, 1), nullptr);
}

TEST_F(AccessList, FilesGrowByEntriesWithTheirTime) {
  const std::string path = dir_.file("acl", "1.2.3.4");
  EXPECT_EQ(_acl_add_to_file(path.c_str(), "10.1.0.0", 16), 1);
  EXPECT_EQ(_acl_add_to_file(path.c_str(), "10.2.0.0", 0), 1);
  EXPECT_THAT(
      host::TempDir::contents(path),
      testing::MatchesRegex("1.2.3.4\n#added by system, .{24}\n10.1.0.0/16\n#added by system, .{24}\n10.2.0.0"));
  list_ = _acl_create(path.c_str(), 0);
  ASSERT_NE(list_, nullptr);
  EXPECT_EQ(list_->count, 3);
  EXPECT_TRUE(allows("10.1.9.9") && allows("10.2.0.0"));
  EXPECT_FALSE(allows("10.2.0.1")) << "prefix 0 is written as none, and read back as a single address";

  EXPECT_EQ(_acl_add_to_file(path.c_str(), "10.1.0.0", 33), -1);
  EXPECT_EQ(_acl_add_to_file(path.c_str(), nullptr, 8), -1);
  EXPECT_EQ(_acl_add_to_file(nullptr, "10.1.0.0", 8), -1);
  EXPECT_EQ(_acl_add_to_file(dir_.path().c_str(), "10.1.0.0", 8), -1);
  EXPECT_EQ(_acl_add_to_file("/dev/full", "10.1.0.0", 8), -1);
}

}  // namespace
