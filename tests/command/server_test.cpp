// The command on a real sound server; runs beside a private one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "command/command_runner.h"
#include "support/linux/sound_server.h"

namespace zevra::test {
namespace {

using testing::HasSubstr;

TEST(CommandOnServer, AnEndpointThatGoesAwayEndsTheCommandWithOneLine) {
  const ScratchFolder folder;
  struct Case {
    const char *arguments, *streams, *message;  // `streams` is what the server calls them
  };
  for (const Case& c :
       {Case{"record -q -d GoneSoon x.wav", "source-outputs", "; x.wav keeps the first "},
        Case{"meter -d GoneSoon", "source-outputs", "the endpoint was removed"},
        Case{"silence -q -d GoneSoon", "sink-inputs", "\"GoneSoon\" went away"}}) {
    SCOPED_TRACE(c.arguments);
    NullSink sink("gone_soon", "GoneSoon");
    const CommandRun run = folder.Start(c.arguments, "LIMIT=20;");
    EXPECT_TRUE(
        Eventually([&] { return !Shell(std::string("pactl list short ") + c.streams).empty(); }));
    // The server knows of a stream before the command does.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    sink.Remove();
    const Outcome outcome = run.Wait();
    EXPECT_EQ(outcome.exit_code, 1);
    EXPECT_THAT(outcome.err, testing::MatchesRegex("zevra: \"GoneSoon\" went away[^\n]*\n"));
    EXPECT_THAT(outcome.err, HasSubstr(c.message));
  }
  const Sound kept = folder.SoundOf("x.wav");
  EXPECT_TRUE(kept.readable);
  EXPECT_GT(kept.frames, 0U);
}

TEST(CommandOnServer, ARecordingKeepsTheClockWhateverTheServerDoes) {
  const char* const load =
      "pactl load-module module-null-sink norewinds=1 sink_name=gone "
      "sink_properties='device.description=Gone' >module; sleep 0.5;";
  const struct {
    const char *arguments, *shell;  // what the server does meanwhile
    int exit_code;
    const char* message;
  } rows[] = {
      {"-q", "kill -STOP $ZEVRA_TEST_SERVER_PID; sleep 6; kill -CONT $ZEVRA_TEST_SERVER_PID", 1,
       "of silence put in at 00:0"},
      {"-q -d Gone --reconnect", "pactl unload-module $(cat module); sleep 1; LOAD", 1,
       "of silence put in at 00:0"},
      {"--follow-default", "pactl set-default-sink zevra_surround", 0,
       "goes on with \"Zevra Surround\", the default endpoint"},
      {"", "pactl set-default-sink zevra_speakers", 0, "--follow-default goes along"},
      {"--json", "true", 0, "\"event\":\"level\""},
      {"", "pactl set-sink-mute zevra_speakers 1", 0, ""},
      {"", "pactl set-sink-mute zevra_speakers 0; pactl set-sink-volume zevra_speakers 25%", 0,
       "\"Zevra Speakers\" is muted"},
      {"", "pactl set-sink-volume zevra_speakers 100%", 0, "is turned down to 25 %"},
      {"--with-microphone --separate", "true", 0, ""},
  };
  const ScratchFolder folder;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments);
    std::string shell = std::string("cd ") + folder.File("") + "; sleep 1.2; " + row.shell;
    if (const auto at = shell.find("LOAD"); at != std::string::npos) {
      shell.replace(at, 4, load);
      Shell(std::string("cd ") + folder.File("") + ";" + load);
    }
    const CommandRun run = folder.Start(std::string("record -s 3 x.wav ") + row.arguments);
    Shell(shell);
    const Outcome outcome = run.Wait();
    EXPECT_EQ(outcome.exit_code, row.exit_code);
    EXPECT_THAT(outcome.err, HasSubstr(row.message));
    EXPECT_EQ(folder.SoundOf("x.wav").frames, 3U * 48000);
  }
  EXPECT_EQ(folder.SoundOf("x-microphone.wav").frames, 3U * 48000);
}

// Frames from the beginning of a sound on the left to that of the same sound on the right.
int SkewOfTwoTracks() {
  const ScratchFolder folder;
  const CommandRun run = folder.Start("record -q -s 4 -d 'Zevra Surround' --with-microphone x.wav");
  std::this_thread::sleep_for(std::chrono::milliseconds(2500));
  const Player player("zevra_surround", std::vector<float>(96'000, 0.5F), Player::kOverAndOver);
  run.Wait();
  const Sound sound = folder.SoundOf("x.wav");
  int begin[2] = {0, 0};
  for (int track = 0; track < 2; ++track)
    while (begin[track] < 4 * 48'000 && sound.samples[begin[track] * 2 + track] < 0.05F)
      ++begin[track];
  EXPECT_LT(begin[0], 4 * 48'000);
  return begin[1] - begin[0];
}

TEST(CommandOnServer, TwoTracksLieWithinTenMilliseconds) {
  // PipeWire that gets no processor for a moment delays its microphone by a quantum, 10.7 ms.
  int skew = SkewOfTwoTracks();
  if (std::abs(skew) == 512) skew = SkewOfTwoTracks();
  EXPECT_NEAR(skew, 0, 480);
}

TEST(CommandOnServer, CtrlCEndsAStartThatADeadServerHolds) {
  const ScratchFolder folder;
  SignalServer(SIGSTOP);
  const CommandRun run = folder.Start("record x.wav");
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  run.Signal(SIGINT);
  EXPECT_EQ(run.Wait().err, "");  // nor did the time run out
  SignalServer(SIGCONT);
}

TEST(CommandOnServer, ListsWhatTheServerSaysAndOpensEachByItsName) {
  const ScratchFolder folder;
  Shell("pactl set-sink-volume zevra_surround 30%");
  Shell("pactl set-default-sink zevra_surround");
  Outcome list;
  // The server may take a moment to agree with itself about the default.
  EXPECT_TRUE(Eventually([&] {
    list = folder.Run("list");
    return list.out.find("Zevra Surround    render   yes      30 %") != std::string::npos;
  })) << list.out;
  EXPECT_THAT(list.out, HasSubstr("Zevra Speakers    render            100 %"));
  EXPECT_THAT(list.out, HasSubstr("Zevra Microphone  capture  yes"));
  EXPECT_EQ(folder.Run("volume").out, "Zevra Surround: 30 %\n");
  Shell("pactl set-default-sink zevra_speakers");

  EXPECT_EQ(folder.Run("list --apps").out, "No application plays anything.\n");
  const Player player("zevra_speakers", std::vector<float>(96'000, 0.5F), Player::kOverAndOver);
  EXPECT_TRUE(Eventually([&] {
    return folder.Run("list --apps").out.find("  Zevra Speakers  100 %") != std::string::npos;
  }));
  EXPECT_EQ(folder.Run("record -q --app PACAT -s 1 x.wav").exit_code, 0);
  EXPECT_FLOAT_EQ(folder.SoundOf("x.wav").samples.back(), 0.5F);
  // The microphone beside an application is an endpoint.
  EXPECT_EQ(folder.Run("record -q --app pacat --with-microphone -s 1 x.wav").exit_code, 0);
  EXPECT_THAT(folder.Run("meter --app foo").err, HasSubstr("; there are \"pacat\""));

  const NullSink twins[] = {{"first", "Twin"}, {"second", "Twin"}};
  for (const char* const name : {"'twin (2)'", "second"})
    EXPECT_EQ(folder.Run(std::string("volume -d ") + name).out, "Twin (2): 100 %\n");
}

}  // namespace
}  // namespace zevra::test
