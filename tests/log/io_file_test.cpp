#include "log_test.h"

namespace zevra {
namespace {

class IoFile : public test::LogTest {
 protected:
  int OpenIn(std::int32_t mode) { return io.open(Path("z.log").c_str(), nullptr, mode, 0); }
  std::string Text() const { return test::Text(dir / "z.log"); }
  Log_IO_FILE io;
};

TEST_F(IoFile, ModesAndTheLastLine) {
  struct {
    std::int32_t mode;
    const char *before, *after;
  } const rows[] = {{0, "half", "half\nx"}, {0, "whole\n", "whole\nx"}, {0, "", "x"},
                    {1, "half", "halfx"},   {2, "gone", "x"},           {3, "gone\n", "x"},
                    {9, "half", "halfx"}};
  for (const auto& row : rows) {
    test::WriteText(dir / "z.log", row.before);
    ASSERT_EQ(OpenIn(row.mode), 0);
    EXPECT_GE(io.puts("x"), 0);
    io.close();
    EXPECT_EQ(Text(), row.after) << row.mode << " over " << row.before;
  }
}

TEST_F(IoFile, EachWriteAndSizeSeesWhatOthersAppended) {
  for (const std::int32_t mode : {1, 3}) {  // binary, so that a line end is one byte
    ASSERT_EQ(OpenIn(mode), 0);
    io.puts("mine\n");
    io.flush();
    std::ofstream(dir / "z.log", std::ios::app | std::ios::binary) << "other\n";
    EXPECT_EQ(io.size(), 11);
    io.puts("again\n");
    EXPECT_EQ(io.size(), 17) << "text that still waits counts";
    io.close();
    EXPECT_EQ(test::Read(dir / "z.log"), "mine\nother\nagain\n");
    test::fs::remove(dir / "z.log");
  }
  ASSERT_EQ(OpenIn(0), 0);
  io.puts("0123456789");
  std::fseek(io.handle(), 3, SEEK_SET);
  EXPECT_EQ(io.size(), 10);
  EXPECT_EQ(std::fgetc(io.handle()), '3') << "a reader's position stays";
}

TEST_F(IoFile, BackupSavesAndEmptiesTheOpenFile) {
  ASSERT_EQ(OpenIn(0), 0);
  test::Write(dir / "saved.log", "an older backup that is longer");
  io.puts("still waiting\n");
  EXPECT_EQ(io.backup(Path("saved.log").c_str()), 0);
  EXPECT_EQ(test::Text(dir / "saved.log"), "still waiting\n");
  EXPECT_EQ(io.size(), 0);
  io.puts("next\n");
  EXPECT_NE(io.backup(Path("missing/x.log").c_str()), 0);
  io.flush();
  EXPECT_EQ(Text(), "next\n") << "a failed copy leaves the text in place";
  EXPECT_EQ(io.backup(Path("Z.LOG").c_str()), 0);
  EXPECT_EQ(std::distance(test::fs::directory_iterator(dir), {}), 2) << "no copy under that name";
  EXPECT_EQ(Text(), "");
}

}  // namespace
}  // namespace zevra
