// Paths: taking apart, normalising, creating, and the names of the manager's files.
#include <sys/stat.h>

#include "tests/support/test.h"

namespace {

std::string text_of(const char* text) { return text ? text : "(null)"; }

TEST(Paths, TakenApart) {
  const std::string longest(254, 'd');
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"/usr/lib/x.so", "/usr/lib/", "x.so"}, {"x.so", "(null)", "x.so"}, {"a\\b/c\\d", "a\\b/c\\", "d"},
      {longest + "/", longest + "/", ""},     {"", "(null)", "(null)"},   {longest + "/f", "(null)", "f"}};
  for (const auto& [path, prefix, basename] : cases) {
    EXPECT_EQ(text_of(_vesk_path_prefix(path.c_str())), prefix);
    EXPECT_EQ(text_of(_vesk_path_basename(path.c_str())), basename);
  }
  EXPECT_EQ(_vesk_path_prefix(nullptr), nullptr);
  EXPECT_EQ(_vesk_path_basename(nullptr), nullptr);
}

TEST(Paths, NormalisedAndEndedWithASlash) {
  const std::pair<std::string, const char*> cases[] = {
      {"a//b/./c/../d", "a/b/d"}, {"a\\b\\\\c", "a/b/c"},           {"/a/../b", "/b"}, {"/a/b/../../c/", "/c/"},
      {"a/../b", "a/../b"},  // no '/' in front of the component that would go
      {"/../a", "/../a"},    // three characters alone are not enough
      {"./a/.", "./a/."},    // a leading dot stays; so does a last component
      {"/a/b/..", "/a/b/.."},     {"a.b/.c/..d/x", "a.b/.c/..d/x"}, {"", ""},
  };
  for (auto [path, normal] : cases) {
    EXPECT_EQ(_vesk_proc_path(path.data()), 1);
    EXPECT_STREQ(path.c_str(), normal);
  }
  char mixed[] = "a\\b/c\\";
  _vesk_conv_slash(mixed);
  EXPECT_STREQ(mixed, "a/b/c/");
  for (const auto& [text, with_slash] : {std::pair{"", "/"}, {"a", "a/"}}) {
    char path[8];
    EXPECT_EQ(_slash_check(std::strcpy(path, text)), 0);
    EXPECT_EQ(_slash_check(path), 1);
    EXPECT_STREQ(path, with_slash);
  }
}

TEST(Paths, DirectoriesCreatedWithTheirParents) {
  const TempDir dir;
  const mode_t mask = umask(027);
  EXPECT_EQ(_vesk_create_dir(dir.path("b//c/\\").c_str()), 0);
  umask(mask);
  for (const char* made : {"b", "b/c"}) {
    struct stat status;
    ASSERT_EQ(stat(dir.path(made).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0750u);
  }
  dir.file("file", "");
  for (const std::string& impossible :
       {std::string(), std::string("//"), dir.path("b"), dir.path("file/x/y"), dir.path() + std::string(256, '/')})
    EXPECT_EQ(_vesk_create_dir(impossible.c_str()), -1) << impossible;
}

TEST(Paths, FilesOfTheManager) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"/opt/v/", "/run/x", "/run/x/"}, {"/opt/v/", nullptr, "/opt/v/path/"}, {nullptr, nullptr, nullptr}};
  for (const auto& [home, files, directory] : cases) {
    const Environment installation("VESKDIR", home), paths("VESK_PATHDIR", files);
    char path[64] = "", lock[64] = "";
    EXPECT_EQ(_get_vmm_path(path), directory ? 1 : -1);
    EXPECT_EQ(_vesk_vmm_lockfile(lock), directory ? 1 : -1);
    EXPECT_EQ(path, directory ? std::string(directory) + "vmmd" : "");
    EXPECT_EQ(lock, directory ? std::string(directory) + "vmmld" : "");
  }
  EXPECT_EQ(_get_vmm_path(nullptr), -1);
}

}  // namespace
