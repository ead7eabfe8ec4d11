#include "servers/server_tools.h"

#include <gtest/gtest.h>
#include <pulse/channelmap.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <utility>

namespace zevra::test {
namespace {

constexpr unsigned kRate = 48'000;

}  // namespace

std::vector<std::string> Shell(const std::string& command) {
  std::vector<std::string> lines;
  std::FILE* const pipe = popen(command.c_str(), "re");  // NOLINT(cert-env33-c)
  std::array<char, 4096> line{};
  while (pipe != nullptr && std::fgets(line.data(), line.size(), pipe) != nullptr) {
    lines.emplace_back(line.data());
    if (lines.back().ends_with('\n')) lines.back().pop_back();
  }
  EXPECT_TRUE(pipe != nullptr && pclose(pipe) == 0) << command;
  return lines;
}

Sink::Sink(const std::string& name, const std::string& description) {
  const auto printed =
      Shell("pactl load-module module-null-sink norewinds=1 sink_name=" + name +
            " \"sink_properties='device.description=\\\"" + description + "\\\"'\"");
  if (!printed.empty()) module_ = printed[0];
}

void Sink::Remove() {
  const std::string module = std::exchange(module_, "");
  if (!module.empty()) Shell("pactl unload-module " + module);
}

Tones::Tones(const std::string& sink, std::vector<Tone> channels) {
  const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, kRate, static_cast<std::uint8_t>(channels.size())};
  pa_channel_map map{};
  pa_channel_map_init_auto(&map, spec.channels, PA_CHANNEL_MAP_WAVEEX);
  constexpr auto kDefault = static_cast<std::uint32_t>(-1);
  const auto second = static_cast<std::uint32_t>(pa_bytes_per_second(&spec));
  const pa_buffer_attr buffer{kDefault, second, kDefault, second / 10, kDefault};
  int error = 0;
  stream_.reset(pa_simple_new(nullptr, "tones", PA_STREAM_PLAYBACK, sink.c_str(), "tones", &spec,
                              &map, &buffer, &error));
  EXPECT_NE(stream_, nullptr) << sink << ": " << error;
  if (stream_) thread_ = std::thread([this, tones = std::move(channels)] { Play(tones); });
}

Tones::~Tones() {
  ends_ = true;
  if (thread_.joinable()) thread_.join();
}

void Tones::Play(const std::vector<Tone>& channels) {
  std::vector<float> second;
  for (unsigned frame = 0; frame < kRate; ++frame) {
    for (const Tone& tone : channels) {
      const double angle = 2 * std::numbers::pi * tone.hertz * frame / kRate;
      second.push_back(static_cast<float>(tone.level * std::sin(angle)));
    }
  }
  const std::size_t step = second.size() / 10;
  for (std::size_t at = 0; !ends_; at = (at + step) % second.size()) {
    if (pa_simple_write(stream_.get(), &second[at], step * sizeof(float), nullptr) < 0) return;
  }
}

}  // namespace zevra::test
