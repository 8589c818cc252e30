// Paths: taking apart, normalising, creating, and the names of the manager's files.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <string>

#include "tests/support/host.h"
#include "tests/support/temp_dir.h"
#include "vxa/vxa_host.h"

namespace {

using host::Environment;

std::string text_of(const char* text) { return text ? text : "(null)"; }

TEST(Paths, TakenApart) {
  const struct {
    const char *path, *prefix, *basename;
  } cases[] = {{"/usr/lib/x.so", "/usr/lib/", "x.so"},
               {"x.so", "(null)", "x.so"},
               {"a\\b/c\\d", "a\\b/c\\", "d"},
               {"/usr/lib/", "/usr/lib/", ""},
               {"", "(null)", "(null)"}};
  for (const auto& c : cases) {
    EXPECT_EQ(text_of(_vesk_path_prefix(c.path)), c.prefix);
    EXPECT_EQ(text_of(_vesk_path_basename(c.path)), c.basename);
  }
  EXPECT_EQ(_vesk_path_prefix(nullptr), nullptr);
  EXPECT_EQ(_vesk_path_basename(nullptr), nullptr);
  EXPECT_EQ(std::strlen(_vesk_path_prefix((std::string(254, 'd') + "/").c_str())), 255u);
  EXPECT_EQ(_vesk_path_prefix((std::string(254, 'd') + "/f").c_str()), nullptr);
}

TEST(Paths, Normalised) {
  const struct {
    const char *path, *normal;
  } cases[] = {
      {"a//b/./c/../d", "a/b/d"}, {"a\\b\\\\c", "a/b/c"},           {"/a/../b", "/b"}, {"/a/b/../../c/", "/c/"},
      {"a/../b", "a/../b"},  // no '/' in front of the component that would go
      {"/../a", "/../a"},    // three characters alone are not enough
      {"./a/.", "./a/."},    // a leading dot stays; so does a last component
      {"/a/b/..", "/a/b/.."},     {"a.b/.c/..d/x", "a.b/.c/..d/x"}, {"", ""},
  };
  for (const auto& c : cases) {
    std::string path = c.path;
    EXPECT_EQ(_vesk_proc_path(path.data()), 1);
    EXPECT_STREQ(path.c_str(), c.normal) << c.path;
  }
  char mixed[] = "a\\b/c\\";
  _vesk_conv_slash(mixed);
  EXPECT_STREQ(mixed, "a/b/c/");
}

TEST(Paths, SlashAddedOnce) {
  char path[8] = "a";
  EXPECT_EQ(_slash_check(path), 0);
  EXPECT_EQ(_slash_check(path), 1);
  EXPECT_STREQ(path, "a/");
  char empty[2] = "";
  EXPECT_EQ(_slash_check(empty), 0);
  EXPECT_STREQ(empty, "/");
}

TEST(Paths, DirectoriesCreatedWithTheirParents) {
  const host::TempDir dir;
  const mode_t mask = umask(027);
  const std::string path = dir.path("b//c");
  EXPECT_EQ(_vesk_create_dir((path + "/\\").c_str()), 0);
  umask(mask);
  struct stat parent, child;
  ASSERT_EQ(stat(dir.path("b").c_str(), &parent) | stat(path.c_str(), &child), 0);
  EXPECT_EQ(parent.st_mode & 07777, 0750u);
  EXPECT_EQ(child.st_mode & 07777, 0750u);
  EXPECT_EQ(_vesk_create_dir(path.c_str()), -1) << "it is there already";
  EXPECT_EQ(_vesk_create_dir((dir.file("file", "") + "/x/y").c_str()), -1);
  for (const char* impossible : {"", "/", "//"}) EXPECT_EQ(_vesk_create_dir(impossible), -1);
  EXPECT_EQ(_vesk_create_dir((dir.path() + std::string(256, '/')).c_str()), -1);
}

TEST(Paths, FilesOfTheManager) {
  char name[64];
  const Environment installed("VESKDIR", "/opt/v/");
  {
    const Environment set("VESK_PATHDIR", "/run/x");
    EXPECT_EQ(_get_vmm_path(name), 1);
    EXPECT_STREQ(name, "/run/x/vmmd");
    EXPECT_EQ(_vesk_vmm_lockfile(name), 1);
    EXPECT_STREQ(name, "/run/x/vmmld");
    EXPECT_EQ(_get_vmm_path(nullptr), -1);
  }
  const Environment no_directory("VESK_PATHDIR", nullptr);
  EXPECT_EQ(_get_vmm_path(name), 1);
  EXPECT_STREQ(name, "/opt/v/path/vmmd");
  EXPECT_EQ(_vesk_vmm_lockfile(name), 1);
  EXPECT_STREQ(name, "/opt/v/path/vmmld");
  const Environment not_installed("VESKDIR", nullptr);
  EXPECT_EQ(_get_vmm_path(name), -1);
  EXPECT_EQ(_vesk_vmm_lockfile(name), -1);
}

}  // namespace
