#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "command/command_runner.h"

namespace zevra::test {
namespace {

using testing::HasSubstr;

class CommandsTest : public testing::Test {
 protected:
  Outcome Zevra(const std::string& arguments, const std::string& before = "") const {
    return RunCommand(folder_.path(), arguments, before);
  }
  ScratchFolder folder_;
};

TEST_F(CommandsTest, ListsTheEndpointsForPeopleAndForPrograms) {
  EXPECT_EQ(Zevra("list --builtin").out,
            "NAME                 FLOW     DEFAULT  VOLUME  MIX FORMAT\n"
            "Built-in Speakers    render   yes      75 %    f32, 48000 Hz, 2 channels\n"
            "Built-in Headphones  render            100 %   f32, 48000 Hz, 2 channels\n"
            "Built-in Microphone  capture  yes      50 %    f32, 44100 Hz, 1 channel\n");
  const auto list = nlohmann::json::parse(Zevra("list --builtin --json").out);
  ASSERT_EQ(list.size(), 3U);
  EXPECT_EQ(list[2], nlohmann::json::parse(R"({"name": "Built-in Microphone", "flow": "capture",
      "default": true, "volume": 0.5, "mixFormat": {"sampleKind": "float", "bits": 32,
      "rate": 44100, "channels": 1}})"));
}

TEST_F(CommandsTest, PrintsTheVolume) {
  EXPECT_EQ(Zevra("volume --builtin").out, "Built-in Speakers: 75 %\n");
  EXPECT_EQ(Zevra("volume --builtin --flow capture").out, "Built-in Microphone: 50 %\n");
  EXPECT_EQ(Zevra("volume --builtin -d 'built-in headphones'").out, "Built-in Headphones: 100 %\n");
}

TEST_F(CommandsTest, ShowsLevelsAndKeepsSilentUntilTheTimeIsOver) {
  const Outcome meter = Zevra("meter --builtin -s 1.2 -c 1");
  EXPECT_EQ(meter.exit_code, 0);
  EXPECT_THAT(meter.out, testing::MatchesRegex("Listening to \"Built-in Speakers\": f32[^\n]*\n"
                                               "00:0[01]\\.[0-9]  peak  M -[0-9.]+ dBFS\n"));
  const Outcome silence = Zevra("silence --builtin -s 0.4");
  EXPECT_EQ(silence.exit_code, 0);
  EXPECT_THAT(silence.out, HasSubstr("Played silence for 00:00.4"));
  EXPECT_THAT(Zevra("silence --builtin -d 'Built-in Microphone'").err,
              HasSubstr("no render endpoint is named \"Built-in Microphone\""));
}

TEST_F(CommandsTest, StandsInForASoundServerThatIsNotThereAndSaysSo) {
  const Outcome outcome = Zevra("record -q -s 0.3 x.wav",
                                "export PULSE_SERVER=unix:" + folder_.path().string() + "/none;");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.err,
            "zevra: no sound server runs, so the built-in endpoints stand in for it\n");
  EXPECT_GT(std::filesystem::file_size(folder_.path() / "x.wav"), 0.3 * 48000 * 4);
}

TEST_F(CommandsTest, TellsWhereALibrarysLogIsAndWhatItsSettingsAre) {
  std::ofstream(folder_.path() / "lib.so") << "";
  std::ofstream(folder_.path() / "zevra.cfu") << "[logger]\nmaxsize=10M\n";
  const Outcome outcome = Zevra("log --library lib.so");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_THAT(outcome.out, HasSubstr("Log file       " + (folder_.path() / "zevra.log").string()));
  EXPECT_THAT(outcome.out, testing::ContainsRegex("\nmaxsize +file +65536\n"));
  EXPECT_THAT(outcome.err, HasSubstr("zevra: warning: maxsize=10M reads as 10"));
  EXPECT_EQ(Zevra("log --library nowhere.so").exit_code, 1);
  EXPECT_THAT(Zevra("log").out, HasSubstr("zevra.cfu"));
}

TEST_F(CommandsTest, EveryCommandHasItsHelpAndItsPlaceInTheManual) {
  const Outcome whole = Zevra("--help");
  EXPECT_EQ(whole.exit_code, 0);
  const std::string manual = ReadFile(ZEVRA_MANUAL);
  for (const std::string command : {"record", "meter", "list", "volume", "silence", "log"}) {
    SCOPED_TRACE(command);
    EXPECT_THAT(whole.out, HasSubstr("\n  " + command + " "));
    EXPECT_THAT(manual, HasSubstr(command));
    const Outcome help = Zevra(command + " --help");
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_THAT(help.out, HasSubstr("Usage: zevra " + command + " [OPTIONS]"));
  }
  EXPECT_THAT(Zevra("--version").out, testing::MatchesRegex("zevra [0-9.]+\n"));
  EXPECT_EQ(Zevra("").exit_code, 2);
  EXPECT_EQ(Zevra("frobnicate").exit_code, 2);
}

}  // namespace
}  // namespace zevra::test
