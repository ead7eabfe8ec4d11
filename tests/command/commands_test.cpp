#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command/command_runner.h"

namespace zevra::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

// One run each; what it says contains the text given, or is empty.
struct Row {
  const char* arguments = nullptr;
  int exit_code = 0;
  const char *out = nullptr, *err = nullptr, *before = "";
};

constexpr Row kRows[] = {
    {"list --builtin", 0,
     "NAME                 FLOW     DEFAULT  VOLUME  MIX FORMAT                 ID\n"
     "Built-in Speakers    render   yes      75 %    f32, 48000 Hz, 2 channels  builtin-speakers\n"
     "Built-in Headphones  render            100 %   f32, 48000 Hz, 2 channels  "
     "builtin-headphones\n"
     "Built-in Microphone  capture  yes      50 %    f32, 44100 Hz, 1 channel   "
     "builtin-microphone\n",
     ""},
    {"list --builtin --json", 0,
     R"("Built-in Microphone",
    "id": "builtin-microphone",
    "flow": "capture",
    "default": true,
    "volume": 0.5,
    "muted": false,
    "mixFormat": {
      "sampleKind": "float",
      "bits": 32,
      "rate": 44100,
      "channels": 1
    }
  }
])",
     ""},
    {"volume --builtin", 0, "Built-in Speakers: 75 %\n", ""},
    {"volume --builtin -d builtin-microphone", 0, "Built-in Microphone: 50 %\n", ""},
    {"volume --builtin -d 'built-in headphones'", 0, "Built-in Headphones: 100 %\n", ""},
    {"meter --builtin -s 1.2 -c 1", 0, "  peak  M -", ""},
    {"silence --builtin -s 0.4", 0, "Played silence for 00:00.4", ""},
    {"silence --builtin -d 'Built-in Microphone'", 1, "",
     "no render endpoint is named \"Built-in Microphone\""},
    {"record --builtin -s 1.25 told.wav", 0,
     "00:01.2, 60000 frames, 0.2 MB of audio\n  Peak      -8.6 dBFS (L -8.6, R -8.6)\n", ""},
    {"record --builtin -s 0.5 -f s24 -c 3 -r 16000 -q - | wc -c", 0, "72000\n", ""},
    {"record --builtin -s 9 -q - | head -c 1000 | wc -c", 0, "1000\n",
     "zevra: whoever read standard output has gone\n"},
    {"doctor --builtin", 0, "frames in a second at 48000 Hz, the first after ", ""},
    {"doctor --builtin | grep Loader", 0, "/l/libzevra.so.1\nnote  Loader        another copy is ",
     "", "mkdir l; touch l/libzevra.so.1; cp l/* .; export LD_LIBRARY_PATH=l:;"},
    {"doctor --json", 1, "\"subject\": \"Sound server\",\n    \"state\": \"problem\"",
     "something is wrong", "export PULSE_SERVER=unix:/nowhere;"},
    {"log --library lib.so", 0, "\nflush          file     0\n", "warning: flush=yes is no number",
     "touch lib.so; printf '[logger]\nflush=yes\n' >zevra.cfu;"},
    {"log --library nowhere.so", 1, "", "there is no library nowhere.so"},
    {"log", 0, "zevra.cfu", ""},
    {"", 2, "", "A command is required"},
    {"frobnicate", 2, "", "no command 'frobnicate'; see zevra --help"},
    {"rec -s 1 x.wav", 2, "", "no command 'rec'; did you mean 'record'?"},
    {"record --secnds 1 x.wav", 2, "", "no option '--secnds'; did you mean '--seconds'?"},
    {"--help", 0, "\n  doctor ", ""},
    {"meter --builtin --spectrum -s 1.3", 0, "  500 -", ""},
    {"meter --help", 0, "Usage: zevra meter [OPTIONS]", ""},
    {"--version", 0, "zevra 1.", ""},
    {"list --builtin >/dev/full", 1, "", "can't write to standard output: No space left"},
    {"--help >/dev/full", 1, "", "can't write to standard output: No space left"},
    {"record --builtin -s 0.2 -q shut.wav >&-", 0, "", ""},
    {"record", 2, "", "FILE is required"},
    {"record x.wav more", 2, "", "not expected: more"},
    {"record x.tune", 2, "", "end the name in .wav"},
    {"record -f f32 x.flac", 2, "", "FLAC has no f32 samples"},
    {"record -r 96001 x.flac", 2, "", "FLAC has no rate of 96001 Hz"},
    {"record -r 44100 x.opus", 2, "", "Opus takes rates of"},
    {"record --container raw x.flac", 2, "", "x.flac says otherwise than --container"},
    {"record -c 1 --with-microphone x.wav", 2, "", "makes two channels"},
    {"record --with-microphone --separate -", 2, "", "standard output is one"},
    {"record --reconnect --no-keep-alive x.wav", 2, "", "excludes --"},
    {"record -c 3 x.mp3", 2, "", "MP3 takes 1 or 2 channels"},
    {"record --split 1d x.wav", 2, "", "1d is no time of a second to a year"},
    {"record --builtin -s 9 -q p.wav", 1, "RIFF\xff\xff\xff\xffWAVE", "whoever read p.wav has gone",
     "mkfifo p.wav; head -c 12 p.wav &"},
    {"record -f s12 x.wav", 2, "", "s12 is none of f32, s16, s24, s32, u8"},
    {"record -r 3999 x.wav", 2, "", "3999 not in range 4000 to 384000"},
    {"record -s inf x.wav", 2, "", "inf is no number above 0"},
    {"record -q x.wav", 1, "", "no sound server answers; start one, or try",
     "export PULSE_SERVER=unix:/nowhere;"},
    {"record --builtin no/such/x.wav", 1, "", "can't write no/such/x.wav: No such file"},
    {"record --builtin -d built x.wav", 1, "",
     "no endpoint is named \"built\"; did you mean \"Built-in Speakers\", \"Built-in "
     "Headphones\", \"Built-in Microphone\"?"},
    {"record --builtin -d microphone --flow render x.wav", 1, "",
     "no render endpoint is named \"microphone\"; there are \"Built-in Speakers\""},
    {"record --builtin -q full.wav", 1, "", "No space left on device", "ln -s /dev/full full.wav;"},
    {"record --builtin -q big.wav", 1, "", "File too large; big.wav keeps", "ulimit -f 100;"},
    {"record --builtin -q big.flac", 1, "", "File too large; big.flac keeps", "ulimit -f 50;"},
};

TEST(Commands, SayWhatTheyDidOrInOneLineWhyNot) {
  const ScratchFolder folder;
  std::vector<CommandRun> runs;
  for (const Row& row : kRows) runs.push_back(folder.Start(row.arguments, row.before));
  for (std::size_t i = 0; i < runs.size(); ++i) {
    SCOPED_TRACE(kRows[i].arguments);
    const Outcome outcome = runs[i].Wait();
    EXPECT_EQ(outcome.exit_code, kRows[i].exit_code);
    EXPECT_THAT(outcome.out, testing::Not(HasSubstr("\x1b")));  // no terminal
    EXPECT_THAT(outcome.out, *kRows[i].out == '\0' ? testing::Matcher<std::string>(IsEmpty())
                                                   : HasSubstr(kRows[i].out));
    if (*kRows[i].err == '\0') {
      EXPECT_THAT(outcome.err, IsEmpty());
    } else {
      EXPECT_THAT(outcome.err, MatchesRegex("zevra: [^\n]*\n"));
      EXPECT_THAT(outcome.err, HasSubstr(kRows[i].err));
    }
  }
  EXPECT_FALSE(std::filesystem::exists(folder.File("x.wav")));
  for (const char* const name : {"big.wav", "big.flac"}) {
    const Sound sound = folder.SoundOf(name);
    EXPECT_TRUE(sound.readable) << name;
    EXPECT_GT(sound.frames, 10000U) << name;
  }
}

}  // namespace
}  // namespace zevra::test
