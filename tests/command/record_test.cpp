#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command/command_runner.h"
#include "tools/zevra/meter.h"

namespace zevra::test {
namespace {

using testing::HasSubstr;

TEST(Record, WritesEveryFormatAsItIsAskedFor) {
  struct {
    const char *arguments, *file;
    int format, rate, channels;
  } const rows[] = {
      {"", "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 2},
      {"-f u8 -r 8000 -c 1", "b.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 8000, 1},
      {"-f s24 -r 96000 -c 6", "c.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 96000, 6},
      {"-f s32 -r 44100", "d.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_32, 44100, 2},
      {"-f f32 -r 384000 -c 8", "e.WAV", SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, 384000, 8},
      {"-f s16 -r 4000 -c 1", "f.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 4000, 1},
      {"-f s24", "g.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 48000, 2},
      {"-f u8 -c 1", "h.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_S8, 48000, 1},
      {"", "k.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 48000, 2},
      {"-r 16000 -c 1", "l.opus", SF_FORMAT_OGG | SF_FORMAT_OPUS, 16000, 1},
      {"-r 44100 -f f32", "m.mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 44100, 2},
      {"--container wav - >", "n.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 2},
      {"--flow capture", "i.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 2},
      {"-d 'built-in MICROPHONE' -c 1", "j.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 1},
  };
  const ScratchFolder folder;
  // One after the other: a recording that starves puts silence in.
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    const Outcome outcome =
        folder.Run(std::string("record --builtin -s 0.5 ") + row.arguments + " " + row.file);
    EXPECT_EQ(outcome.exit_code, 0);
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr("zevra:")));
    const Sound sound = folder.SoundOf(row.file);
    const auto frames = static_cast<std::size_t>(row.rate) / 2;
    EXPECT_TRUE(sound.readable);
    EXPECT_EQ(sound.format, row.format);
    EXPECT_EQ(sound.rate, row.rate);
    EXPECT_EQ(sound.channels, row.channels);
    EXPECT_GT(sound.peak, 0.1F);
    EXPECT_LE(sound.peak, 0.6F);
    EXPECT_GE(sound.frames, frames);
    const int kind = row.format & SF_FORMAT_TYPEMASK;
    if (kind == SF_FORMAT_OGG || kind == SF_FORMAT_MPEG) continue;  // near it
    EXPECT_EQ(sound.frames, frames);
    EXPECT_THAT(outcome.out + outcome.err,
                HasSubstr("Peak      " + command::DecibelText(sound.peak) + " dBFS"));
  }
}

TEST(Record, GoesOnInTheNextFileWithoutLosingAFrame) {
  const ScratchFolder folder;
  ASSERT_EQ(folder.Run("record --builtin -q -s 2.5 --split 1s x.wav").exit_code, 0);
  EXPECT_EQ(folder.SoundOf("x-001.wav").frames, 48000U);
  EXPECT_EQ(folder.SoundOf("x-002.wav").frames, 48000U);
  EXPECT_EQ(folder.SoundOf("x-003.wav").frames, 24000U);
  ASSERT_EQ(folder.Run("record --builtin -q -s 0.2 %%-%C.flac").exit_code, 0);
  EXPECT_EQ(folder.SoundOf("%-20.flac").frames, 9600U);
}

TEST(Record, EndsWholeWhenItIsAskedToEndAndReadableWhenItIsKilled) {
  const ScratchFolder folder;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGKILL}) {
    SCOPED_TRACE(signal);
    const bool killed = signal == SIGKILL;
    const CommandRun run =
        folder.Start("record --builtin --quiet x.wav", killed ? "LIMIT=2.6;" : "");
    EXPECT_TRUE(folder.Grows("x.wav", 100'000));
    if (!killed) run.Signal(signal);
    const Outcome outcome = run.Wait();
    EXPECT_EQ(outcome.exit_code, killed ? 137 : 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    const Sound sound = folder.SoundOf("x.wav");
    EXPECT_TRUE(sound.readable);
    EXPECT_GE(sound.frames, 24000U);
    std::filesystem::remove(folder.File("x.wav"));
  }
}

TEST(Record, StaysDeafToASignalThatItWasStartedDeafTo) {
  const ScratchFolder folder;
  const CommandRun run = folder.Start("record --builtin -q -s 1.5 x.wav", "trap '' HUP;");
  EXPECT_TRUE(folder.Grows("x.wav", 50'000));
  run.Signal(SIGHUP);
  EXPECT_EQ(run.Wait().exit_code, 0);
  EXPECT_EQ(folder.SoundOf("x.wav").frames, 72000U);
}

TEST(Record, KeepsASilentEndpointAwakeAndAnOlderFileWhenItCannotStart) {
  const ScratchFolder folder;
  const std::string silent = "record --builtin -d 'Built-in Headphones' -s 0.5 ";
  EXPECT_EQ(folder.Run(silent + "kept.wav").exit_code, 0);
  EXPECT_EQ(folder.Run("record --builtin -d nobody kept.wav").exit_code, 1);
  EXPECT_EQ(folder.SoundOf("kept.wav").frames, 24000U);
  EXPECT_EQ(folder.SoundOf("kept.wav").peak, 0.0F);
  EXPECT_THAT(folder.Run(silent + "--no-keep-alive left.wav").out, HasSubstr("nothing came"));
  EXPECT_TRUE(folder.SoundOf("left.wav").readable);
  EXPECT_EQ(folder.SoundOf("left.wav").frames, 0U);
}

}  // namespace
}  // namespace zevra::test
