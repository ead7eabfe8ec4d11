#include "support/linux/sound_server.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <utility>

namespace zevra::test {
namespace {

std::string ChannelsOf(const std::string& map) {
  return std::to_string(std::count(map.begin(), map.end(), ',') + 1);
}

}  // namespace

std::vector<std::string> Shell(const std::string& command) {
  std::vector<std::string> lines;
  std::FILE* const pipe = popen(command.c_str(), "re");
  std::array<char, 4096> line{};
  while (pipe != nullptr && std::fgets(line.data(), line.size(), pipe) != nullptr) {
    lines.emplace_back(line.data());
    if (lines.back().ends_with('\n')) lines.back().pop_back();
  }
  EXPECT_TRUE(pipe != nullptr && pclose(pipe) == 0) << command;
  return lines;
}

void SignalServer(int signal) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing sets the environment meanwhile
  const char* const server = std::getenv("ZEVRA_TEST_SERVER_PID");
  ASSERT_NE(server, nullptr);
  ASSERT_EQ(kill(std::stoi(server), signal), 0);
}

NullSink::NullSink(const std::string& name, const std::string& description,
                   const std::string& channel_map) {
  const auto printed = Shell(
      "pactl load-module module-null-sink norewinds=1 format=float32le rate=48000 sink_name=" +
      name + " channels=" + ChannelsOf(channel_map) + " channel_map=" + channel_map +
      " \"sink_properties='device.description=\\\"" + description + "\\\"'\"");
  if (!printed.empty()) module_ = printed[0];
}

void NullSink::Remove() {
  const std::string module = std::exchange(module_, "");
  if (!module.empty()) Shell("pactl unload-module " + module);
}

Player::Player(const std::string& sink, const std::vector<float>& samples, Times times,
               const std::string& channel_map)
    : file_("/tmp/zevra-play-XXXXXX") {
  close(mkstemp(file_.data()));
  std::ofstream(file_, std::ios::binary)
      .write(reinterpret_cast<const char*>(samples.data()),
             static_cast<std::streamsize>(samples.size() * sizeof(float)));
  const std::string frames =
      times == kOnce ? "cat " + file_ : "while cat " + file_ + "; do :; done";
  const std::string command =
      frames +
      " | pacat --raw --format=float32le --rate=48000 --channels=" + ChannelsOf(channel_map) +
      " --channel-map=" + channel_map + " --latency-msec=1000 --process-time-msec=100 -d " + sink;
  const char* const arguments[] = {"sh", "-c", command.c_str(), nullptr};
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  EXPECT_EQ(posix_spawnp(&group_, "sh", nullptr, &attributes, const_cast<char* const*>(arguments),
                         environ),
            0);
  posix_spawnattr_destroy(&attributes);
}

Player::~Player() {
  if (group_ > 0) {
    kill(-group_, SIGKILL);
    waitpid(group_, nullptr, 0);
  }
  std::remove(file_.c_str());
}

}  // namespace zevra::test
