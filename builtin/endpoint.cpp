#include "builtin/endpoint.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace zevra::builtin {
namespace {

constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::uint64_t kHnsPerSecond = 10'000'000;

// `count` things of which `per_second` pass in a second, in units of which `units` do, without the
// overflow that one multiplication of a long time would bring.
std::uint64_t Scale(std::uint64_t count, std::uint64_t per_second, std::uint64_t units) {
  return count / per_second * units + count % per_second * units / per_second;
}

EndpointConfig Checked(EndpointConfig config) {
  if (config.rate == 0 || config.channels == 0 || config.packet_frames == 0 ||
      (config.flow != eRender && config.flow != eCapture))
    throw std::invalid_argument("an endpoint needs a flow, a rate, channels and a packet size");
  return config;
}

Loop MakeLoop(const EndpointConfig& config) {
  Loop loop = config.programme ? config.programme(config.rate) : Loop{};
  if (loop.channels != 1 && loop.channels != config.channels)
    throw std::invalid_argument("the programme has another number of channels than the endpoint");
  return loop;
}

std::uint64_t HistoryPackets(const EndpointConfig& config) {
  const auto frames = static_cast<std::uint64_t>(kHistory.count()) * config.rate;
  return (frames + config.packet_frames - 1) / config.packet_frames;
}

}  // namespace

Endpoint::Endpoint(EndpointConfig config, std::shared_ptr<const Clock> clock)
    : config_(Checked(std::move(config))),
      clock_(std::move(clock)),
      loop_(MakeLoop(config_)),
      mixer_(config_.packet_frames, config_.channels, HistoryPackets(config_)),
      volume_(config_.volume) {}

std::uint64_t Endpoint::CurrentPacket() const {
  const auto now = static_cast<std::uint64_t>(clock_->Now().count());
  return Scale(now, kNanosecondsPerSecond, config_.rate) / config_.packet_frames;
}

UINT64 Endpoint::PacketTime(std::uint64_t packet) const {
  return Scale(packet * config_.packet_frames, config_.rate, kHnsPerSecond);
}

REFERENCE_TIME Endpoint::Period() const {
  return static_cast<REFERENCE_TIME>(Scale(config_.packet_frames, config_.rate, kHnsPerSecond));
}

std::uint64_t Endpoint::PacketsOf(UINT32 frames) const {
  return (std::uint64_t{frames} + config_.packet_frames - 1) / config_.packet_frames;
}

}  // namespace zevra::builtin
