#include "log/paths.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>

#include "log_test.h"

namespace zevra {
namespace {

using Strings = std::vector<std::string>;

TEST(Paths, AbsoluteOnes) {
  for (const char* path : {"/", "/a", "\\\\srv", "D:a", "a/b:c"})
    EXPECT_TRUE(is_absolute_path(path)) << path;
  for (const char* path : {"", "a", "\\a", "./a", "a\\\\b"})
    EXPECT_FALSE(is_absolute_path(path)) << path;
}

TEST(Paths, NormalizeAndJoin) {
  struct {
    const char *path, *normal;
    int count;
  } const normals[] = {{"a\\\\b//c", "a/b/c", 5},
                       {"\\\\srv\\a//b", "\\\\srv/a/b", 7},
                       {"\\/\\a", "/a", 2},
                       {"\\\\", "\\\\", 0},
                       {"", "", 0},
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
      {"D:/x", "y", "D:/xy"},
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

TEST(Paths, PrefixesOutermostFirst) {
  struct {
    const char* path;
    Strings prefixes;
  } const rows[] = {{"D:/a/b/", {"D:/a", "D:/a/b"}},
                    {"/a/b", {"/a", "/a/b"}},
                    {"a/b", {"a", "a/b"}},
                    {"\\\\srv\\a", {"\\\\srv", "\\\\srv\\a"}},
                    {"a", {"a"}},
                    {"/", {}}};
  for (const auto& row : rows) {
    Strings prefixes;
    EXPECT_EQ(path_prefixes(row.path, prefixes), 0);
    EXPECT_EQ(prefixes, row.prefixes) << row.path;
  }
  Strings none;
  EXPECT_EQ(path_prefixes("", none), -1);
  EXPECT_EQ(path_prefixes(nullptr, none), -1);
}

TEST(Lists, Split) {
  const std::string longest(399, 'x');
  struct {
    std::string text;
    Strings tokens;
  } const rows[] = {{" a b , c ", {"a b", "c"}},
                    {"a,,b", {"a", "b"}},
                    {"'a,b',c", {"'a,b'", "c"}},
                    {"\"a,b", {"\"a,b"}},
                    {"ab'c,d", {"ab'c,d"}},
                    {"'a\",b';\xC3\xA4 ", {"'a\",b'", "\xC3\xA4"}},
                    {" ,\t;", {}},
                    {"a," + longest + "yz,b", {"a", longest, "b"}}};
  for (const auto& row : rows) {
    Strings tokens;
    EXPECT_EQ(split_list(row.text.c_str(), tokens, ";,"), 0);
    EXPECT_EQ(tokens, row.tokens) << row.text;
  }
}

class ListFiles : public test::LogTest {};

TEST_F(ListFiles, MatchingFilesAndMatchingDirectoriesOnly) {
  for (const char* name : {"z_1.log", "z_2.txt", "y_1.log", "z_[a].log"})
    test::Write(dir / name, "");
  test::fs::create_directories(dir / "z_d.log");
  test::fs::create_directories(dir / "other");
  test::Write(dir / "z_d.log" / "z_3.log", "");
  test::Write(dir / "other" / "z_4.log", "");
  const bool loops = test::MakeFolderLink(dir, dir / "z_loop.log");
  const std::string base = dir.generic_string() + "/";
  std::list<std::string> found;
  EXPECT_EQ(list_files(base.c_str(), "z_*.log", found), 0);
  std::list<std::string> expected = {base + "z_1.log", base + "z_[a].log",
                                     base + "z_d.log/z_3.log"};
  if (loops) expected.push_back(base + "z_loop.log");
  EXPECT_THAT(found, testing::UnorderedElementsAreArray(expected));
  std::list<std::string> none;
  EXPECT_EQ(list_files(base.c_str(), "q*", none), ENOENT);
  EXPECT_NE(list_files((base + "missing").c_str(), "*", none), 0);
}

}  // namespace
}  // namespace zevra
