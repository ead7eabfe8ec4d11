#include "builtin/settings.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "builtin/wave_file.h"
#include "platform/linux/speakers.h"
#include "platform/profile.h"
#include "platform/text.h"

namespace zevra::builtin {
namespace {

constexpr std::array kSections = {"speakers", "headphones", "microphone"};
constexpr std::array kKeys = {"plays", "frequency", "level", "rate", "channels", "volume"};

constexpr int kLowestRate = 4'000, kHighestRate = 384'000;  // what captures convert
constexpr int kMostChannels = kStandardMasks.size() - 1;
constexpr double kDefaultHertz = 440, kDefaultDecibels = -6;
constexpr int kLowestDecibels = -120;

// True if one of `names` is `name`, in whatever case.
template <std::size_t count>
bool Knows(const std::array<const char*, count>& names, const std::string& name) {
  return std::any_of(
      names.begin(), names.end(),
      [&](const char* known) { return SameIgnoringCase(known, name.c_str()); });
}

// The beginning of a complaint.
std::string Located(const std::string& path, const std::string& section) {
  return std::string(path).append(": [").append(section).append("] ");
}

void SetChannels(EndpointConfig& endpoint, std::uint32_t channels) {
  if (channels == endpoint.channels) return;
  endpoint.channels = static_cast<WORD>(channels);
  endpoint.channel_mask = kStandardMasks.at(channels);
}

// Packets of 10 ms, as the standard endpoints have.
void SetRate(EndpointConfig& endpoint, std::uint32_t rate) {
  endpoint.rate = rate;
  endpoint.packet_frames = rate / 100;
}

// One section of the file, on its way into one endpoint.
class SectionReader {
 public:
  SectionReader(const std::string& path, const char* section, Settings& settings)
      : path_(path), section_(section), keys_(section, path.c_str()), settings_(settings) {}

  void Apply(EndpointConfig& endpoint) {
    for (const std::string& key : keys_.Keys())
      if (!Knows(kKeys, key)) Complain(key, "is no key of an endpoint");
    rate_ = NumberOf("rate", kLowestRate, kHighestRate, true);
    channels_ = NumberOf("channels", 1, kMostChannels, true);
    if (rate_) SetRate(endpoint, static_cast<std::uint32_t>(*rate_));
    if (channels_) SetChannels(endpoint, static_cast<std::uint32_t>(*channels_));
    if (const auto percent = NumberOf("volume", 0, 100, false))
      endpoint.volume = static_cast<float>(*percent / 100);
    ApplySignal(endpoint);
  }

 private:
  std::string TextOf(const char* key) const {
    std::array<char, 1024> value{};
    keys_.Text(key, "", value.data(), value.size());
    return value.data();
  }

  void Complain(const std::string& key, const std::string& what) {
    settings_.complaints.push_back(Located(path_, section_).append(key).append(" ") + what);
  }

  // Empty, after a complaint if there is a value, unless that is a number from `least` to `most`.
  std::optional<double> NumberOf(const char* key, int least, int most, bool whole) {
    const std::string text = TextOf(key);
    if (text.empty()) return {};
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool valid = error == std::errc() && end == text.data() + text.size();
    if (valid && number >= least && number <= most && (!whole || number == std::floor(number)))
      return number;
    Complain(std::string(key) + "=" + text,
             std::string("is ignored: it is no ") + (whole ? "whole " : "") + "number from " +
                 std::to_string(least) + " to " + std::to_string(most));
    return {};
  }

  void ApplySignal(EndpointConfig& endpoint) {
    const std::string plays = TextOf("plays");
    const bool tone = SameIgnoringCase(plays.c_str(), "tone");
    const auto hertz = NumberOf("frequency", 1, static_cast<int>(endpoint.rate - 1) / 2, true);
    const auto decibels = NumberOf("level", kLowestDecibels, 0, false);
    for (const char* const key : {"frequency", "level"})
      if (!tone && !TextOf(key).empty()) Complain(key, "is ignored: only plays=tone has one");
    if (tone) {
      endpoint.signal =
          Tone(static_cast<std::uint32_t>(hertz.value_or(kDefaultHertz)),
               static_cast<float>(std::pow(10, decibels.value_or(kDefaultDecibels) / 20)));
    } else if (SameIgnoringCase(plays.c_str(), "silence")) {
      endpoint.signal = nullptr;
    } else if (!plays.empty() && !SameIgnoringCase(plays.c_str(), "melody")) {
      ApplyFile(endpoint, plays);
    } else if (!plays.empty() && !endpoint.signal) {
      endpoint.signal = Melody(Tune::kOdeToJoy);
    }
  }

  // The endpoint takes the file's rate, and its channels unless the file is mono: nothing is
  // converted, so that a host can tell every sample again.
  void ApplyFile(EndpointConfig& endpoint, const std::string& plays) {
    try {
      WaveFile file = ReadWaveFile(std::filesystem::path(path_).parent_path() / plays);
      if (std::clamp<std::uint32_t>(file.rate, kLowestRate, kHighestRate) != file.rate)
        throw std::runtime_error("its rate is not from 4000 to 384000");
      const auto tell = [&](const char* key, std::uint32_t has) {
        Complain(key, "is ignored: " + plays + " has " + std::to_string(has));
      };
      if (rate_ && *rate_ != file.rate) tell("rate", file.rate);
      SetRate(endpoint, file.rate);
      if (file.waveform.channels > 1) {
        if (channels_ && *channels_ != file.waveform.channels)
          tell("channels", file.waveform.channels);
        SetChannels(endpoint, file.waveform.channels);
      }
      auto waveform = std::make_shared<Waveform>(std::move(file.waveform));
      endpoint.signal = [waveform](std::uint32_t) { return std::move(*waveform); };
    } catch (const std::runtime_error& error) {
      Complain("plays=" + plays, std::string("cannot be played: ") + error.what() +
                                     "; the endpoint plays what it does by default");
    }
  }

  const std::string& path_;
  const char* section_;
  const ProfileSection keys_;
  Settings& settings_;
  // What the section asks for; empty where it says nothing, or nothing that is valid.
  std::optional<double> rate_, channels_;
};

}  // namespace

Settings ReadSettings(const std::string& path) {
  Settings settings{StandardEndpoints(), {}};
  std::error_code error;
  if (path.empty() || !std::filesystem::exists(path, error)) return settings;
  const std::vector<std::string> sections = ProfileSections(path.c_str());
  if (sections.empty()) settings.complaints.push_back(path + ": no section can be read");
  for (const std::string& section : sections)
    if (!Knows(kSections, section))
      settings.complaints.push_back(Located(path, section) +
                                    "is none of [speakers], [headphones] and [microphone]");
  for (std::size_t i = 0; i < kSections.size(); ++i)
    SectionReader(path, kSections.at(i), settings).Apply(settings.endpoints.at(i));
  return settings;
}

}  // namespace zevra::builtin
