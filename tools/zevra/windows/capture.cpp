#include "tools/zevra/windows/capture.h"

#include "tools/zevra/text.h"
#include "tools/zevra/windows/default_endpoint.h"

namespace zevra::command {
namespace {

constexpr std::chrono::seconds kQuietBeforeCheck{1};
// Packets that bring no audio at all: more than any converter holds back.
constexpr std::uint64_t kPacketsWithoutAudio = 200;

Chosen OpenDefault(zevra::Flow flow) {
  const std::string name = DefaultEndpointName(flow);
  if (flow == zevra::Flow::kRender) return {zevra::Device(), name.empty() ? "default" : name, flow};
  // The library takes its default endpoint for loopback only, so another is opened by its name.
  if (name.empty()) throw Failure("there is no default capture endpoint");
  return {zevra::Device(name, flow), name, flow};
}

[[noreturn]] void FailUnknown(const std::string& name) {
  std::string known;
  for (const zevra::Endpoint& endpoint : zevra::Endpoints())
    known += (known.empty() ? "; there are " : ", ") + Quoted(endpoint.name);
  throw Failure("no endpoint is named " + Quoted(name) +
                (known.empty() ? "; there is none at all" : known));
}

}  // namespace

Chosen Open(const EndpointChoice& choice) {
  const Flow wanted = choice.flow.value_or(Flow::kBoth);
  if (!choice.name)
    return OpenDefault(wanted == Flow::kCapture ? zevra::Flow::kCapture : zevra::Flow::kRender);
  std::vector<Chosen> found;
  for (const zevra::Flow flow : {zevra::Flow::kRender, zevra::Flow::kCapture}) {
    if (wanted == (flow == zevra::Flow::kRender ? Flow::kCapture : Flow::kRender)) continue;
    try {
      found.push_back({zevra::Device(*choice.name, flow), *choice.name, flow});
    } catch (const zevra::Error& error) {
      if (error.Result() != ZEVRA_E_NOT_FOUND) throw;
    }
  }
  if (found.empty()) FailUnknown(*choice.name);
  if (found.size() > 1) {
    throw Failure("a render endpoint and a capture endpoint are both named " +
                  Quoted(*choice.name) + "; choose with --flow render or --flow capture");
  }
  return found.front();
}

Source::Source(const Options& options, bool keeps_clock)
    : timeline_(options.format, keeps_clock, false), chosen_(Open(options.endpoint)) {
  if (options.keep_alive && chosen_.flow == zevra::Flow::kRender) {
    try {
      silence_.emplace(chosen_.device);
    } catch (const zevra::Error& error) {
      warning_ = "can't keep " + Quoted(chosen_.name) + " awake (" + error.what() +
                 "): while it is silent nothing may come";
    }
  }
  capture_.emplace(chosen_.device, options.format.Record(),
                   [this](const zevra::Packet& packet) { Put(packet); });
}

double Source::Now() const { return std::chrono::duration<double>(Clock::now() - begun_).count(); }

void Source::Put(const zevra::Packet& packet) {
  const std::lock_guard lock(mutex_);
  ++packets_;
  if (packet.data != nullptr)
    arrived_.insert(arrived_.end(), packet.data, packet.data + packet.bytes);
}

std::span<const std::uint8_t> Source::Take() {
  taken_.clear();
  std::uint64_t packets = 0;
  {
    const std::lock_guard lock(mutex_);
    taken_.swap(arrived_);
    packets = packets_;
  }
  any_audio_ = any_audio_ || !taken_.empty();
  if (packets != packets_seen_) quiet_since_ = Clock::now();
  packets_seen_ = packets;
  CheckThatItRuns();
  timeline_.Clear();
  timeline_.Add(taken_, Now(), true);
  return timeline_.Ready();
}

void Source::CheckThatItRuns() {
  if (packets_seen_ >= kPacketsWithoutAudio && !any_audio_)
    throw Failure("the library can't convert to this format");
  if (Clock::now() - quiet_since_ < kQuietBeforeCheck) return;
  quiet_since_ = Clock::now();
  if (!capture_->Running()) throw Failure(Quoted(chosen_.name) + " went away");
}

std::span<const std::uint8_t> Source::End(std::uint64_t most_frames) {
  {
    const std::lock_guard lock(mutex_);
    taken_.swap(arrived_);
    arrived_.clear();
  }
  timeline_.Clear();
  timeline_.Add(taken_, Now(), true);
  timeline_.End(Now(), most_frames);
  return timeline_.Ready();
}

}  // namespace zevra::command
