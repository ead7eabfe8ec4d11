#include "log/paths.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "log_test.h"

namespace zevra {
namespace {

using Strings = std::vector<std::string>;

TEST(Paths, AbsoluteOrBesideTheModule) {
  for (const char* path : {"/a", "\\\\srv", "D:a", "a/b:c"})
    EXPECT_TRUE(is_absolute_path(path)) << path;
  for (const char* path : {"", "\\a", "./a", "a\\\\b"})
    EXPECT_FALSE(is_absolute_path(path)) << path;
  char directory[kPathBytes];
  const std::string beside = module_directory(directory, kThisLibrary);
  EXPECT_EQ(AnchorAtModule("logs\\a.log", kThisLibrary), beside + "logs/a.log");
  EXPECT_EQ(AnchorAtModule("/a\\b", kThisLibrary), "/a\\b");
  EXPECT_EQ(AnchorAtModule(std::string(255, 'f').c_str(), kThisLibrary), std::string(255, 'f'));
}

TEST(Paths, NormalizeAndJoin) {
  struct {
    const char *path, *normal;
    int count;
  } const normals[] = {{"a\\\\b//c", "a/b/c", 5},
                       {"\\\\srv\\a//b", "\\\\srv/a/b", 7},
                       {"\\/\\a", "/a", 2},
                       {"\\\\\\a", "\\\\/a", 2}};
  for (const auto& row : normals) {
    std::string path = row.path;
    EXPECT_EQ(normalize_path(path.data()), row.count) << row.path;
    EXPECT_STREQ(path.c_str(), row.normal);
  }
  struct {
    std::string directory, name, joined;
  } const joins[] = {
      {"D:/x/", "/y", "D:/x/y"},
      {"", "y", "y"},
      {"/", "\\y\\\\z", "/y/z"},
      {std::string(200, 'd'), std::string(60, 'n'), std::string(200, 'd') + std::string(60, 'n')}};
  for (const auto& row : joins) {
    char buffer[kPathBytes];
    buffer[row.directory.copy(buffer, sizeof buffer - 1)] = '\0';
    EXPECT_EQ(join_path(buffer, row.name.c_str()), buffer);
    EXPECT_EQ(buffer, row.joined);
  }
  char full[kPathBytes] = "a\\b";
  EXPECT_EQ(join_path(full, std::string(258, 'n').c_str()), nullptr);
  EXPECT_STREQ(full, "a\\b") << "a refused join leaves the directory as it was";
}

TEST(Paths, PrefixesAndLists) {
  struct {
    std::string text;
    Strings parts;
  } const prefixes[] = {{"D:/a/b/", {"D:/a", "D:/a/b"}},
                        {"/a/b", {"/a", "/a/b"}},
                        {"\\\\srv\\a", {"\\\\srv", "\\\\srv\\a"}},
                        {"a", {"a"}},
                        {"/", {}}},
          lists[] = {{" a b , c ", {"a b", "c"}},
                     {"a,,b", {"a", "b"}},
                     {"'a,b',c", {"'a,b'", "c"}},
                     {"\"a,b", {"\"a,b"}},
                     {"'a\",b';\xC3\xA4 ", {"'a\",b'", "\xC3\xA4"}},
                     {" ,\t;", {}},
                     {"a," + std::string(401, 'x') + ",b", {"a", std::string(399, 'x'), "b"}}};
  for (const auto& row : prefixes) {
    Strings found;
    EXPECT_EQ(path_prefixes(row.text.c_str(), found), 0);
    EXPECT_EQ(found, row.parts) << row.text;
  }
  for (const auto& row : lists) {
    Strings found;
    EXPECT_EQ(split_list(row.text.c_str(), found, ";,"), 0);
    EXPECT_EQ(found, row.parts) << row.text;
  }
}

using ListFiles = test::LogTest;

TEST_F(ListFiles, MatchingFilesAndMatchingDirectoriesOnly) {
  test::fs::create_directories(dir / "z_d.log");
  test::fs::create_directories(dir / "other");
  for (const char* name : {"z_1.log", "z_2.txt", "z_[a].log", "z_d.log/z_3.log", "other/z_4.log"})
    test::Write(dir / name, "");
  const bool loops = test::MakeFolderLink(dir, dir / "z_loop.log");
  const std::string base = dir.generic_string() + "/";
  std::list<std::string> found;
  EXPECT_EQ(list_files(base.c_str(), "z_*.log", found), 0);
  std::list<std::string> expected = {base + "z_1.log", base + "z_[a].log",
                                     base + "z_d.log/z_3.log"};
  if (loops) expected.push_back(base + "z_loop.log");
  EXPECT_THAT(found, testing::UnorderedElementsAreArray(expected));
  EXPECT_EQ(list_files(base.c_str(), "q*", found), ENOENT);
}

}  // namespace
}  // namespace zevra
