// Access lists: what files let in, what they report, and changes in memory and on disk.
#include <arpa/inet.h>

#include "tests/support/test.h"

namespace {

LogRecord invalid(const char* code, const std::string& what) {
  return {0, 2, code, "0209 internal error : ACL parsing error - invalid " + what};
}

class AccessList : public testing::Test {
 protected:
  ~AccessList() override { _acl_destroy(list_); }

  void read(const std::string& contents) {
    _acl_destroy(list_);
    list_ = _acl_create(dir_.file("acl", contents).c_str(), 0);
    ASSERT_NE(list_, nullptr);
  }
  bool allows(const char* address) const { return _acl_search(list_, inet_addr(address)) == 1; }

  TempDir dir_;
  vesk_acl* list_ = nullptr;
};

TEST_F(AccessList, LetsInWhatItsLinesName) {
  const std::tuple<std::string, int, std::vector<const char*>, std::vector<const char*>> cases[] = {
      {"# offices\n\n10.1.0.0/16\n192.168.7.9", 2, {"10.1.0.0", "10.1.200.3", "192.168.7.9"}, {"10.2.0.1"}},
      {"172.16.5.4/12 trailing words\n10.9.9.9/\n", 2, {"172.31.255.255", "10.9.9.9"}, {"172.32.0.0", "10.9.9.8"}},
      {"1.2.3.4\nALLow me\n", 2, {"200.1.2.3"}, {"255.255.255.255"}},
      {"0.0.0.0/0", 1, {"200.1.2.3"}, {"255.255.255.255"}},
      {"1.0.0.0/8\n1.2.3.4/8\n", 1, {"1.9.9.9"}, {"2.0.0.0"}},
      {"#" + std::string(1022, 'c') + "0.0.0.0/0\n1.2.3.4" + std::string(3000, ' ') + "\n5.6.7.8\n",
       2,
       {"1.2.3.4", "5.6.7.8"},
       {"9.9.9.9"}},
  };
  for (const auto& [file, count, in, out] : cases) {
    read(file);
    EXPECT_EQ(list_->count, count) << file;
    for (const char* address : in) EXPECT_TRUE(allows(address)) << address;
    for (const char* address : out) EXPECT_FALSE(allows(address)) << address;
  }
  EXPECT_EQ(_acl_search(nullptr, 0), 0);
  EXPECT_TRUE(logged({}));
}

TEST_F(AccessList, ReportsAndSkipsWhatIsNotValid) {
  read("300.1.1.1\n10.0.0.0/40\n10.0.0.0/-1\n10.0.0.0/x\n10.0.0.0/4294967296\n255.255.255.255\n/\n1.2.3.4\n");
  EXPECT_EQ(list_->count, 1);
  EXPECT_TRUE(
      logged({invalid("COM0053", "ip(300.1.1.1)"), invalid("COM0054", "mask(40)"), invalid("COM0054", "mask(-1)"),
              invalid("COM0054", "mask(0)"), invalid("COM0054", "mask(2147483647)"),
              invalid("COM0053", "ip(255.255.255.255)"), invalid("COM0053", "ip()")}));
}

TEST_F(AccessList, ChangesByNetwork) {
  read("1.0.0.0/8\n2.2.2.2");
  EXPECT_EQ(_acl_add(list_, inet_addr("3.3.3.3"), 16), 1);
  EXPECT_EQ(_acl_add(list_, inet_addr("3.3.9.9"), 16), 0) << "the same network";
  EXPECT_EQ(list_->first->next->next, list_->last);
  EXPECT_EQ(list_->last->address, inet_addr("3.3.0.0"));
  EXPECT_EQ(_acl_del(list_, inet_addr("3.3.3.3"), 17), 0);
  EXPECT_EQ(_acl_del(list_, inet_addr("3.3.1.1"), 16), 1);
  EXPECT_EQ(_acl_del(list_, inet_addr("1.9.9.9"), 8), 1);
  EXPECT_EQ(list_->first, list_->last);
  EXPECT_EQ(list_->count, 1);
  for (auto* change : {&_acl_add, &_acl_del}) {
    EXPECT_EQ(change(nullptr, 0, 0), -1);
    EXPECT_EQ(change(list_, 0xffffffff, 32), -1);
    for (const int prefix : {-1, 33}) EXPECT_EQ(change(list_, 0, prefix), -1);
  }
}

TEST_F(AccessList, AFileThatIsMissingIsMadeOnRequest) {
  const std::string path = dir_.path("missing");
  EXPECT_EQ(_acl_create(path.c_str(), 0), nullptr);
  list_ = _acl_create(path.c_str(), 1);
  ASSERT_NE(list_, nullptr);
  EXPECT_TRUE(std::filesystem::exists(path));
  for (const std::string& impossible : {dir_.path(), path + "/below"})
    EXPECT_EQ(_acl_create(impossible.c_str(), 1), nullptr) << impossible;
}

TEST_F(AccessList, FilesGrowByEntriesWithTheirTime) {
  const std::string path = dir_.file("acl", "1.2.3.4");
  EXPECT_EQ(_acl_add_to_file(path.c_str(), "10.1.0.0", 16), 1);
  EXPECT_EQ(_acl_add_to_file(path.c_str(), "10.2.0.0", 0), 1);
  EXPECT_THAT(
      TempDir::contents(path),
      testing::MatchesRegex("1.2.3.4\n#added by system, .{24}\n10.1.0.0/16\n#added by system, .{24}\n10.2.0.0"));
  EXPECT_EQ(_acl_add_to_file(path.c_str(), "10.1.0.0", 33), -1);
  EXPECT_EQ(_acl_add_to_file(path.c_str(), nullptr, 8), -1);
  for (const char* impossible : {static_cast<const char*>(nullptr), "/", "/dev/full"})
    EXPECT_EQ(_acl_add_to_file(impossible, "10.1.0.0", 8), -1);
  EXPECT_EQ(_acl_del_from_file(), -1);
}

}  // namespace
