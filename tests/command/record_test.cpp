#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <csignal>
#include <vector>

#include "command/command_runner.h"
#include "tests/command/sound_file.h"
#include "tools/zevra/meter.h"

namespace zevra::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

class RecordTest : public testing::Test {
 protected:
  const std::filesystem::path& folder() const { return folder_.path(); }
  Sound SoundOf(const std::string& name) const { return ReadSound(folder() / name); }

 private:
  ScratchFolder folder_;
};

TEST_F(RecordTest, WritesEveryFormatAsItIsAskedFor) {
  struct Case {
    const char* arguments;
    const char* file;
    int format;
    int rate;
    int channels;
  };
  const Case cases[] = {
      {"", "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 2},
      {"-f u8 -r 8000 -c 1", "b.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 8000, 1},
      {"-f s24 -r 96000 -c 6", "c.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 96000, 6},
      {"-f s32 -r 44100", "d.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_32, 44100, 2},
      {"-f f32 -r 384000 -c 8", "e.WAV", SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, 384000, 8},
      {"-f s16 -r 4000 -c 1", "f.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 4000, 1},
      {"-f s24", "g.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 48000, 2},
      {"-f u8 -c 1", "h.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_S8, 48000, 1},
      {"--flow capture", "i.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 2},
      {"-d 'built-in MICROPHONE' -c 1", "j.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 1},
  };
  std::vector<CommandRun> runs;
  for (const Case& c : cases) {
    runs.emplace_back(folder(),
                      std::string("record --builtin -s 0.5 ") + c.arguments + " " + c.file);
  }
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const Case& c = cases[i];
    SCOPED_TRACE(c.file);
    const Outcome outcome = runs[i].Wait();
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_THAT(outcome.err, IsEmpty());
    const Sound sound = SoundOf(c.file);
    EXPECT_TRUE(sound.readable);
    EXPECT_EQ(sound.format, c.format);
    EXPECT_EQ(sound.rate, c.rate);
    EXPECT_EQ(sound.channels, c.channels);
    EXPECT_EQ(sound.frames, static_cast<std::size_t>(c.rate) / 2);
    EXPECT_GT(sound.peak, 0.1F);
    EXPECT_LE(sound.peak, 0.51F);
    EXPECT_THAT(outcome.out, HasSubstr("Peak      " + command::DecibelText(sound.peak) + " dBFS"));
  }
}

TEST_F(RecordTest, TellsWhatItRecorded) {
  const Outcome outcome = RunCommand(folder(), "record --builtin -s 1.25 x.wav");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_THAT(outcome.out, HasSubstr("\"Built-in Speakers\" (render)"));
  EXPECT_THAT(outcome.out, HasSubstr("s16, 48000 Hz, stereo"));
  EXPECT_THAT(outcome.out, HasSubstr("00:01.2, 60000 frames"));
  EXPECT_THAT(outcome.out, HasSubstr("Peak      -8.6 dBFS (L -8.6, R -8.6)"));
  EXPECT_THAT(outcome.out, HasSubstr(", 0 of them flagged silent"));
  // No terminal: lines, and nothing that only a terminal understands.
  EXPECT_THAT(outcome.out, testing::ContainsRegex("\n00:0[01].[0-9]  peak  L "));
  EXPECT_THAT(outcome.out, testing::Not(HasSubstr("\x1b")));
}

TEST_F(RecordTest, EndsWholeWhenItIsAskedToEnd) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const std::string file = std::to_string(signal) + ".wav";
    CommandRun run(folder(), "record --builtin --quiet " + file);
    EXPECT_TRUE(GrowsTo(folder() / file, 100'000));
    run.Signal(signal);
    const Outcome outcome = run.Wait();
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    const Sound sound = SoundOf(file);
    EXPECT_TRUE(sound.readable);
    EXPECT_GT(sound.frames, 24000U);
  }
}

TEST_F(RecordTest, WritesRawAudioToStandardOutputAndTalksOnStandardError) {
  const Outcome outcome = RunCommand(folder(), "record --builtin -s 0.5 -f s24 -c 3 -r 16000 -");
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.out.size(), 8000U * 3 * 3);
  EXPECT_THAT(outcome.err, HasSubstr("s24, 16000 Hz, 3 channels"));
  const Outcome cut = RunCommand(folder(), "record --builtin -s 9 -q - | head -c 1000");
  EXPECT_EQ(cut.out.size(), 1000U);
  EXPECT_EQ(cut.err, "zevra: whoever read standard output has gone\n");
}

TEST_F(RecordTest, KeepsASilentEndpointAwakeUnlessToldNotTo) {
  const std::string silent = "record --builtin -d 'Built-in Headphones' -s 0.5 ";
  EXPECT_EQ(RunCommand(folder(), silent + "kept.wav").exit_code, 0);
  EXPECT_EQ(SoundOf("kept.wav").frames, 24000U);
  EXPECT_EQ(SoundOf("kept.wav").peak, 0.0F);
  const Outcome left = RunCommand(folder(), silent + "--no-keep-alive left.wav");
  EXPECT_EQ(left.exit_code, 0);
  EXPECT_THAT(left.out, HasSubstr("nothing came"));
  EXPECT_TRUE(SoundOf("left.wav").readable);
  EXPECT_EQ(SoundOf("left.wav").frames, 0U);
}

TEST_F(RecordTest, FailsWithOneLineAndKeepsWhatItHas) {
  struct Case {
    const char* before;
    const char* arguments;
    int exit_code;
    const char* message;
  };
  const Case cases[] = {
      {"", "record", 2, "FILE is required"},
      {"", "record x.wav more", 2, "not expected: more"},
      {"", "record x.mp3", 2, "end the name in .wav or .flac"},
      {"", "record -f f32 x.flac", 2, "FLAC has no f32 samples"},
      {"", "record -r 96001 x.flac", 2, "FLAC has no rate of 96001 Hz"},
      {"", "record -f s12 x.wav", 2, "s12 is none of f32, s16, s24, s32, u8"},
      {"", "record -r 3999 x.wav", 2, "3999 not in range 4000 to 384000"},
      {"", "record -c 9 x.wav", 2, "9 not in range 1 to 8"},
      {"", "record -s inf x.wav", 2, "inf is no number above 0"},
      {"", "record --builtin no/such/x.wav", 1, "can't write no/such/x.wav: No such file"},
      {"", "record --builtin -d built x.wav", 1,
       "no endpoint is named \"built\"; did you mean \"Built-in Speakers\", \"Built-in "
       "Headphones\", \"Built-in Microphone\"?"},
      {"", "record --builtin -d microphone --flow render x.wav", 1,
       "no render endpoint is named \"microphone\"; there are \"Built-in Speakers\""},
      {"ln -s /dev/full full.wav;", "record --builtin -q full.wav", 1, "No space left on device"},
      {"ulimit -f 100;", "record --builtin -q big.wav", 1, "File too large; big.wav keeps"},
      {"ulimit -f 50;", "record --builtin -q big.flac", 1, "File too large; big.flac keeps"},
  };
  std::vector<CommandRun> runs;
  for (const Case& c : cases) runs.emplace_back(folder(), c.arguments, c.before);
  for (std::size_t i = 0; i < runs.size(); ++i) {
    SCOPED_TRACE(cases[i].arguments);
    const Outcome outcome = runs[i].Wait();
    EXPECT_EQ(outcome.exit_code, cases[i].exit_code);
    EXPECT_THAT(outcome.out, IsEmpty());
    EXPECT_THAT(outcome.err, MatchesRegex("zevra: [^\n]*\n"));
    EXPECT_THAT(outcome.err, HasSubstr(cases[i].message));
  }
  EXPECT_FALSE(std::filesystem::exists(folder() / "x.wav"));
  for (const char* const name : {"big.wav", "big.flac"}) {
    EXPECT_TRUE(SoundOf(name).readable) << name;
    EXPECT_GT(SoundOf(name).frames, 10000U) << name;
  }
}

TEST_F(RecordTest, AnOlderRecordingOutlivesAStartThatFails) {
  ASSERT_EQ(RunCommand(folder(), "record --builtin -q -s 0.2 x.wav").exit_code, 0);
  EXPECT_EQ(RunCommand(folder(), "record --builtin -d nobody x.wav").exit_code, 1);
  EXPECT_EQ(SoundOf("x.wav").frames, 9600U);
}

TEST_F(RecordTest, ARecordingThatIsCutOffIsReadableUpToItsLastSecond) {
  RunCommand(folder(), "record --builtin -q x.wav", "LIMIT=2.6;");
  const Sound sound = SoundOf("x.wav");
  EXPECT_TRUE(sound.readable);
  EXPECT_GE(sound.frames, 24000U);
}

}  // namespace
}  // namespace zevra::test
