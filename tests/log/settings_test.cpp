#include "log/settings.h"

#include <gmock/gmock.h>

#include "log/paths.h"
#include "log_test.h"

namespace zevra::test {
namespace {

class CfgReader : public LogTest {
 protected:
  Log_Settings Read(const std::string& keys, const Log_Settings& start = Log_Settings()) {
    Write(dir / "zevra.cfu", "[logger]\n" + keys + "\n");
    Log_Settings read(start);
    EXPECT_EQ(read.read_log_config("logger", Path("zevra.cfu").c_str()), 0);
    return read;
  }
};

TEST_F(CfgReader, NumbersWordsAndFlags) {
  struct {
    const char* keys;
    std::uint32_t level, console_level, style;
  } const masks[] = {{"", 7, 7, 255},
                     {"level=DEBUG\nstyle=Simple\nconsole_level=none", 63, 0, 0x3D},
                     {"level=foo\nstyle=foo", 0, 0, 0},
                     {"level=7abc\nstyle=12abc", 7, 7, 12},
                     {"level=all\nstyle=none", 0xFFFFFFFF, 0xFFFFFFFF, 256},
                     {"LEVEL = 0x90 \nconsole_level=info", 0x90, 15, 255}};
  for (const auto& row : masks) {
    const Log_Settings read = Read(row.keys);
    EXPECT_EQ(read.level(), row.level) << row.keys;
    EXPECT_EQ(read.console_level(), row.console_level) << row.keys;
    EXPECT_EQ(read.style(), row.style) << row.keys;
  }
  EXPECT_EQ(Read("maxsize=0x20000").maxsize(), 131072u);
  const Log_Settings read = Read("subjects=0xFFFFFFFF\nmaxcount=020\ncharset=-1\nflush=2\nhead=0");
  EXPECT_EQ(read.subjects(), 0x7FFFFFFFu);
  EXPECT_EQ(read.maxcount(), 16);
  EXPECT_EQ(read.charset(), 0u);
  EXPECT_TRUE(read.flush());
  EXPECT_FALSE(read.head());
}

TEST_F(CfgReader, ListsTextsAndWhatAMissingKeyLeaves) {
  Log_Settings start("a.log", "A title");
  start.values.flush = true;
  start.values.overwrite = true;
  start.values.head = false;
  start.values.include = {"before"};
  const Log_Settings read = Read("include=a, b;c\nexclude='a;b',c\ntitle=\ncharset=7\n", start);
  EXPECT_EQ(read.values.include, (std::vector<std::string>{"before", "a", "b", "c"}));
  EXPECT_EQ(read.values.exclude, (std::vector<std::string>{"'a;b'", "c"}));
  EXPECT_STREQ(read.title(), "A title");
  EXPECT_FALSE(read.flush());
  EXPECT_FALSE(read.overwrite());
  EXPECT_FALSE(read.head());
  EXPECT_EQ(Read("title=" + std::string(2000, 't')).values.title, std::string(1023, 't'));
}

using Reload = LogTest;

TEST_F(Reload, FollowsTheFiveSettingsOfItsFile) {
  const fs::path file = dir / "zevra.cfu";
  int stamp = 1000;
  const auto edit = [&](const std::string& keys) {
    Write(file, "[logger]\n" + keys);
    SetModifiedTime(file, ++stamp);
  };
  edit("level=error\nflush=1");
  settings.read_log_config("logger", file.string().c_str());
  settings.values.console_level = 2;
  settings.values.output = kOutputConsole;
  Process_Logger logger(kClock);
  ASSERT_EQ(logger.open(&settings, nullptr, 0), 0);
  const Log_Settings& cfg = logger.cfg();
  logger.log_error("the first message looks, and finds nothing new");
  edit("output=3\nlevel=18\nstyle=256\nconsole_level=4\ntitle=new\nmaxsize=99999\nexclude=m");
  now += 10;
  logger.log_error("too early");
  EXPECT_EQ(cfg.level(), 0u) << "no word of the table";
  now += 1;
  logger.log_trace("also an unwanted message looks");
  EXPECT_EQ((std::vector{cfg.output(), cfg.level(), cfg.console_level(), cfg.style()}),
            (std::vector{3u, 18u, 18u, 256u}));
  EXPECT_FALSE(cfg.flush());
  EXPECT_STREQ(cfg.title(), settings.title());
  EXPECT_EQ(cfg.maxsize(), settings.maxsize());
  EXPECT_TRUE(cfg.values.exclude.empty());
  fs::remove(file);
  now += 11;
  logger.log_trace("m");
  EXPECT_EQ(cfg.level(), 18u) << "a deleted file leaves what it had set";
}

// For the thread sanitizer: messages read what the re-read stores.
TEST_F(Reload, ReloadsWhileOthersLog) {
  settings.values.config_file = Path("zevra.cfu");
  Process_Logger logger(kClock);
  ASSERT_EQ(logger.open(&settings, nullptr, 0), 0);
  InThreads(3, [&](int thread) {
    for (int i = 0; i < 5000 && thread < 2; ++i, now += 11) logger.log_warn("m");
    for (int i = 0; i < 50 && thread == 2; ++i) {
      Write(dir / "zevra.cfu", "[logger]\nlevel=" + std::to_string(6 + i) + "\nflush=1\n");
      SetModifiedTime(dir / "zevra.cfu", 1000 + i);
    }
  });
  now += 11;
  logger.log_warn("m");
  EXPECT_EQ(logger.cfg().level(), 55u);
}

using Strings = std::vector<std::string>;

TEST(Paths, NormalSplitAndJoined) {
  const std::string n(254, 'n');
  struct {
    std::string text, normal;
    bool absolute;
    Strings prefixes;
  } const paths[] = {{"D:/a//b\\", "D:/a/b/", true, {"D:/a", "D:/a/", "D:/a//b"}},
                     {"/a/b", "/a/b", true, {"/a", "/a/b"}},
                     {"\\\\srv\\a", "\\\\srv/a", true, {"\\\\srv", "\\\\srv\\a"}},
                     {"a\\\\b", "a/b", false, {"a", "a\\", "a\\\\b"}},
                     {"\\/\\a", "/a", false, {"\\", "\\/", "\\/\\a"}}};
  for (const auto& row : paths) {
    Strings prefixes;
    EXPECT_EQ(path_prefixes(row.text.c_str(), prefixes), 0);
    EXPECT_EQ(is_absolute_path(row.text.c_str()), row.absolute) << row.text;
    std::string normal = row.text;
    normalize_path(normal.data());
    EXPECT_STREQ(normal.c_str(), row.normal.c_str());
    EXPECT_THAT(prefixes, testing::IsSupersetOf({row.prefixes.front(), row.prefixes.back()}));
  }
  const std::pair<std::string, Strings> lists[] = {
      {" a b ,, c ", {"a b", "c"}},
      {"\"a,b", {"\"a,b"}},
      {"'a\",b';\xC3\xA4 ", {"'a\",b'", "\xC3\xA4"}},
      {"a," + std::string(401, 'x') + ",b", {"a", std::string(399, 'x'), "b"}}};
  for (const auto& [text, tokens] : lists) {
    Strings found;
    split_list(text.c_str(), found, ";,");
    EXPECT_EQ(found, tokens) << text;
  }
  char buffer[kPathBytes] = "D:/x/";
  EXPECT_STREQ(join_path(buffer, "/y"), "D:/x/y");
  EXPECT_STREQ(join_path(buffer, n.c_str()), ("D:/x/y" + n).c_str());
  EXPECT_EQ(join_path(buffer, std::string(261 - 6 - n.size(), 'n').c_str()), nullptr);
  char own[kPathBytes];
  const std::string beside = module_directory(own, kThisLibrary);
  EXPECT_EQ(AnchorAtModule("logs\\a.log", kThisLibrary), beside + "logs/a.log");
}

using ListFiles = LogTest;

TEST_F(ListFiles, MatchingFilesAndMatchingDirectoriesOnly) {
  for (const char* name : {"z_d.log", "other"}) fs::create_directories(dir / name);
  for (const char* name : {"z_1.log", "z_2.txt", "z_[a].log", "z_d.log/z_3.log", "other/z_4.log"})
    Write(dir / name, "");
  std::vector<std::string> expected = {Path("z_1.log"), Path("z_[a].log"), Path("z_d.log/z_3.log")};
  std::error_code no_links;
  fs::create_directory_symlink(dir, dir / "z_loop.log", no_links);
  if (!no_links) expected.push_back(Path("z_loop.log"));
  std::list<std::string> found;
  EXPECT_EQ(list_files(Path("").c_str(), "z_*.log", found), 0);
  EXPECT_THAT(found, testing::UnorderedElementsAreArray(expected));
}

}  // namespace
}  // namespace zevra::test
