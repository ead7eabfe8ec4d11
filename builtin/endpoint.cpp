#include "builtin/endpoint.h"

#include <stdexcept>
#include <utility>

#include "builtin/signal.h"

namespace zevra::builtin {
namespace {

constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::uint64_t kHnsPerSecond = 10'000'000;

class SteadyClock final : public Clock {
 public:
  std::chrono::nanoseconds Now() const override {
    return std::chrono::steady_clock::now() - start_;
  }

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// count * units / per_second without 64-bit overflow.
std::uint64_t Scale(std::uint64_t count, std::uint64_t per_second, std::uint64_t units) {
  return count / per_second * units + count % per_second * units / per_second;
}

EndpointConfig Checked(EndpointConfig config) {
  if (config.rate == 0 || config.channels == 0 || config.packet_frames == 0 ||
      (config.flow != eRender && config.flow != eCapture))
    throw std::invalid_argument("an endpoint needs a flow, a rate, channels and a packet size");
  return config;
}

Waveform MakeWaveform(const EndpointConfig& config) {
  Waveform waveform = config.signal ? config.signal(config.rate) : Waveform{};
  if (waveform.channels != 1 && waveform.channels != config.channels)
    throw std::invalid_argument("the signal has another number of channels than the endpoint");
  return waveform;
}

}  // namespace

std::shared_ptr<const Clock> RealClock() { return std::make_shared<SteadyClock>(); }

std::vector<EndpointConfig> StandardEndpoints() {
  EndpointConfig speakers;
  speakers.name = u"Built-in Speakers";
  speakers.is_default = true;
  speakers.signal = Melody(Tune::kOdeToJoy);
  speakers.volume = 0.75F;

  EndpointConfig headphones;
  headphones.name = u"Built-in Headphones";

  EndpointConfig microphone;
  microphone.name = u"Built-in Microphone";
  microphone.flow = eCapture;
  microphone.is_default = true;
  microphone.rate = 44100;
  microphone.channels = 1;
  microphone.channel_mask = SPEAKER_FRONT_CENTER;
  microphone.packet_frames = 441;
  microphone.signal = Melody(Tune::kFrereJacques);
  microphone.volume = 0.5F;

  return {std::move(speakers), std::move(headphones), std::move(microphone)};
}

Endpoint::Endpoint(EndpointConfig config, std::shared_ptr<const Clock> clock)
    : config_(Checked(std::move(config))),
      clock_(std::move(clock)),
      waveform_(MakeWaveform(config_)),
      mixer_(config_.packet_frames, config_.channels,
             PacketsOf(static_cast<std::uint64_t>(kHistory.count()) * config_.rate)) {}

std::uint64_t Endpoint::CurrentPacket() const {
  const auto now = static_cast<std::uint64_t>(clock_->Now().count());
  return Scale(now, kNanosecondsPerSecond, config_.rate) / config_.packet_frames;
}

UINT64 Endpoint::PacketTime(std::uint64_t packet) const {
  return Scale(packet * config_.packet_frames, config_.rate, kHnsPerSecond);
}

REFERENCE_TIME Endpoint::Period() const { return static_cast<REFERENCE_TIME>(PacketTime(1)); }

std::uint64_t Endpoint::PacketsOf(std::uint64_t frames) const {
  return (frames + config_.packet_frames - 1) / config_.packet_frames;
}

}  // namespace zevra::builtin
