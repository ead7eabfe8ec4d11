#include "tools/zevra/source.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "tools/zevra/applications.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

constexpr double kSecondsBetweenTries = 0.5;
// A default endpoint that goes away is replaced by another a moment later.
constexpr double kFollowPatience = 10;
// The other endpoint has no audio yet in the moment after a change.
constexpr double kFollowGap = 1;
// An application that pauses may deliver nothing at all, for as long as it likes. Asked before the
// time line takes it for a hole.
constexpr double kSecondsBeforeAsking = 0.15;
constexpr double kAnyGap = std::numeric_limits<double>::infinity();
// On the mixer's scale; the audio is some 30 dB lower then.
constexpr float kFarDown = 0.3F;

}  // namespace

Source::Source(const Session& session, SourceOptions options, Tell tell)
    : session_(session),
      options_(std::move(options)),
      tell_(std::move(tell)),
      timeline_(options_.format, options_.keeps_clock, options_.aligned) {
  const EndpointChoice& choice = options_.endpoint;
  if (!choice.name && !session.builtin()) {
    watch_ = std::make_unique<DefaultWatch>(choice.flow == Flow::kCapture ? Flow::kCapture
                                                                          : Flow::kRender);
  }
  Open(choice);
  // An application that pauses makes this wait until it plays.
  begun_ = Clock::now();
  WarnOfLevel();
}

void Source::Open(const EndpointChoice& choice) {
  device_.emplace(OpenDevice(session_, choice));
  if (options_.keep_alive && device_->flow() == Flow::kRender) {
    keep_alive_.emplace(*device_);
    if (keep_alive_->result() != ZEVRA_OK) {
      tell_("warning", fmt::format("can't keep {} awake ({}): while it is silent nothing may come",
                                   device_->Text(), keep_alive_->ResultText()));
    }
  }
  capture_.emplace(*device_, options_.format);
  again_ = choice;
  if (!options_.follow_default && !device_->name().empty()) {
    again_.name = device_->id().empty() ? device_->name() : device_->id();
    again_.flow = device_->flow();
  }
}

void Source::Close() {
  packets_ = packets();
  silent_packets_ = silent_packets();
  slow_ = WasSlow();
  capture_.reset();
  keep_alive_.reset();
}

void Source::WarnOfLevel() {
  const auto known = options_.endpoint.is_application ? FindApplicationFacts()
                                                      : FindEndpointFacts(session_.builtin());
  for (const EndpointFacts& facts : known) {
    if (facts.flow != device_->flow() || facts.name != device_->name()) continue;
    if (facts.muted) {
      tell_("warning", device_->Text() + " is muted, so there is only silence");
    } else if (facts.volume && *facts.volume < kFarDown) {
      tell_("warning", fmt::format("{} is turned down to {:.0f} %, and so is the recording",
                                   device_->Text(), *facts.volume * 100));
    }
    return;
  }
}

double Source::TimeOf(Clock::time_point moment) const {
  return std::chrono::duration<double>(moment - begun_).count();
}

std::span<const std::uint8_t> Source::Take() {
  timeline_.Clear();
  std::span<const std::uint8_t> audio;
  try {
    if (capture_) audio = capture_->Take();
  } catch (const EndpointGone& gone) {
    Lose(gone);
  }
  if (capture_ && options_.endpoint.is_application) LookForPause(!audio.empty());
  // When it arrived, not when this thread looked.
  const double time = capture_ && !audio.empty() ? TimeOf(capture_->arrived()) : Now();
  timeline_.Add(audio, time, !capture_ || capture_->IsDrained());
  if (!capture_)
    TryAgain();
  else if (watch_)
    LookForDefault();
  return timeline_.Ready();
}

std::span<const std::uint8_t> Source::End(std::uint64_t most_frames) {
  timeline_.Clear();
  // What piled up while the disk or the reader stalled is more than one call takes.
  bool drained = false;
  while (!drained) {
    const auto audio = capture_ ? capture_->Take() : std::span<const std::uint8_t>();
    drained = !capture_ || capture_->IsDrained();
    timeline_.Add(audio, Now(), drained);
  }
  timeline_.End(Now(), most_frames);
  return timeline_.Ready();
}

void Source::LookForDefault() {
  if (!watch_->HasMoved()) return;
  if (!options_.follow_default) {
    tell_("warning", "the default endpoint is another now; this goes on with " + device_->Text() +
                         ", --follow-default goes along");
    watch_.reset();
    return;
  }
  watch_->Accept();
  Lose(EndpointGone(device_->Text() + " is no longer the default endpoint"));
}

// Silence then takes the place of what the application does not play, and nothing is missing.
void Source::LookForPause(bool audio_came) {
  if (audio_came) {
    heard_at_ = Now();
    if (std::exchange(paused_, false)) timeline_.SetGone(false, kAnyGap);
  }
  if (paused_ || Now() - heard_at_ < kSecondsBeforeAsking) return;
  heard_at_ = Now();
  for (const EndpointFacts& facts : FindApplicationFacts())
    if (facts.name == device_->name()) paused_ = facts.paused;
  if (paused_) timeline_.SetGone(true, kAnyGap);
}

void Source::Lose(const EndpointGone& reason) {
  if (options_.patience == 0 && !options_.follow_default) throw EndpointGone(reason);
  if (!options_.follow_default) tell_("lost", std::string(reason.what()) + "; waiting for it");
  Close();
  paused_ = false;
  lost_because_ = reason.what();
  lost_at_ = tried_at_ = Now();
  timeline_.SetGone(true, options_.follow_default ? kFollowGap : 0);
  tried_at_ -= kSecondsBetweenTries;
}

void Source::TryAgain() {
  if (Now() - tried_at_ < kSecondsBetweenTries) return;
  try {
    Open(again_);
    timeline_.SetGone(false, options_.follow_default ? kFollowGap : 0);
    if (watch_) watch_->Accept();
    tell_("found", options_.follow_default
                       ? "goes on with " + device_->Text() + ", the default endpoint"
                       : device_->Text() + " is back");
  } catch (const Failure&) {
    Close();
    const double patience =
        std::max(options_.patience, options_.follow_default ? kFollowPatience : 0.0);
    if (Now() - lost_at_ > patience) throw Failure(lost_because_);
  }
  tried_at_ = Now();
}

Tracks::Tracks(const Session& session, const std::vector<SourceOptions>& options, const Tell& tell)
    : format_(options.front().format) {
  for (const SourceOptions& one : options) tracks_.emplace_back(session, one, tell);
  if (tracks_.size() == 1) return;
  Source& left = tracks_[0].source;
  Source& right = tracks_[1].source;
  alignment_.emplace(left.timeline(), right.timeline(), left.Now() - right.Now());
}

std::span<const std::uint8_t> Tracks::Take() {
  if (tracks_.size() == 1) return tracks_[0].source.Take();
  for (Track& track : tracks_) track.source.Take();
  alignment_->Look(first().Now());
  for (Track& track : tracks_) track.Keep(track.source.timeline().Ready());
  return Merge();
}

std::span<const std::uint8_t> Tracks::End(std::uint64_t most_frames) {
  if (tracks_.size() == 1) return tracks_[0].source.End(most_frames);
  for (Track& track : tracks_) track.source.timeline().Clear();
  alignment_->Finish();
  for (Track& track : tracks_) {
    track.Keep(track.source.timeline().Ready());
    const std::uint64_t waiting = track.waiting.size() / format_.FrameBytes();
    track.Keep(track.source.End(most_frames - std::min(most_frames, waiting)));
  }
  return Merge();
}

std::vector<Hole> Tracks::TakeHoles() {
  std::vector<Hole> holes;
  for (Track& track : tracks_)
    for (const Hole& hole : track.source.timeline().TakeHoles()) holes.push_back(hole);
  return holes;
}

std::span<const std::uint8_t> Tracks::Merge() {
  const std::size_t bytes = std::min(tracks_[0].waiting.size(), tracks_[1].waiting.size());
  const std::size_t step = BytesOf(format_.type);
  merged_.resize(bytes * 2);
  for (std::size_t track = 0; track < 2; ++track) {
    auto& waiting = tracks_[track].waiting;
    for (std::size_t at = 0; at < bytes; at += step)
      std::copy_n(&waiting[at], step, &merged_[at * 2 + track * step]);
    waiting.erase(waiting.begin(), waiting.begin() + static_cast<std::ptrdiff_t>(bytes));
  }
  return merged_;
}

}  // namespace zevra::command
