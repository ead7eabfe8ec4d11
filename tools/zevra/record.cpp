#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <deque>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "tools/zevra/meter.h"
#include "tools/zevra/options.h"
#include "tools/zevra/source.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

using Json = nlohmann::ordered_json;

// How often the main thread looks for audio. A longer pause than kHeldUp was none of its own.
constexpr std::chrono::milliseconds kLookTime{20};
constexpr double kHeldUp = 0.5;
// How long after its time a recording waits for audio that is on its way.
constexpr double kGraceTime = 2;
constexpr double kForever = std::numeric_limits<double>::infinity();

Target TargetOf(const Options& options, const std::string& file) {
  return {file, options.container, options.format, options.seconds, options.split_seconds};
}

// "call.wav" becomes "call-microphone.wav".
std::string MicrophoneFile(std::string file) {
  return file.insert(std::min(file.rfind('.'), file.size()), "-microphone");
}

// What is said of a recording: lines to a person, or events to a program.
class Report {
 public:
  Report(const Options& options, Terminal& terminal) : options_(options), terminal_(terminal) {}

  bool IsForPeople() const { return !options_.quiet && !options_.json; }
  void Say(const std::string& line) {
    if (IsForPeople()) terminal_.Line(line);
  }
  void Event(const char* kind, Json facts) {
    if (!options_.json) return;
    Json event = {{"event", kind}, {"time", TimeStamp()}};
    event.update(facts);
    std::fprintf(stderr, "%s\n",
                 event.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
  }
  void Tell(const char* kind, const std::string& text) {
    Event(kind, {{"message", text}});
    if (options_.json || options_.quiet) return;
    terminal_.Erase();
    std::fprintf(stderr, "zevra: %s\n", text.c_str());
  }

 private:
  const Options& options_;
  Terminal& terminal_;
};

// A source, what of it waits for the other one, and its own file where it has one.
struct Track {
  Track(const Session& session, const SourceOptions& options, Tell tell)
      : source(session, options, std::move(tell)) {}

  Source source;
  std::vector<std::uint8_t> waiting;
  std::unique_ptr<AudioWriter> writer;
};

// One recording or, without a file, one look at the levels.
class Recording {
 public:
  Recording(const Session& session, const Options& options, Terminal& terminal)
      : options_(options),
        terminal_(terminal),
        report_(options, terminal),
        frames_wanted_(options.seconds ? static_cast<std::uint64_t>(
                                             std::llround(*options.seconds * options.format.rate))
                                       : std::numeric_limits<std::uint64_t>::max()),
        view_(terminal, options.format.channels, options.seconds),
        total_(options.format.channels),
        second_(options.format.channels) {
    AddTrack(session, options.endpoint);
    if (options.microphone) {
      EndpointChoice microphone = options.endpoint;
      microphone.flow = Flow::kCapture;
      microphone.name.reset();
      if (*options.microphone != "default") microphone.name = options.microphone;
      AddTrack(session, microphone);
    }
    if (options.skip_silence)
      gate_.emplace(*options.skip_silence, true, options.format);
    else if (options.start_on_sound)
      gate_.emplace(*options.start_on_sound, false, options.format);
  }

  void Run() {
    // Not before there is something to write: the files may hold older recordings.
    if (!options_.file.empty()) OpenWriters();
    // Until now there was nothing that Ctrl-C could have spoilt.
    CatchSignals();
    Announce();
    try {
      Pump();
      ForWriters([](AudioWriter& writer) { writer.Finish(); });
    } catch (const Failure& failure) {
      terminal_.Erase();
      throw Failure(failure.what() + Kept());
    }
    terminal_.Erase();
    report_.Event("end", {{"seconds", Seconds()}, {"frames", frames_}, {"missing", missing_}});
    if (Writes() && report_.IsForPeople()) Summarise();
    if (Writes()) FailIncomplete();
  }

 private:
  void AddTrack(const Session& session, const EndpointChoice& endpoint) {
    SourceOptions source;
    source.endpoint = endpoint;
    source.format = options_.format;
    if (options_.microphone) source.format.channels = 1;
    source.keep_alive = options_.keep_alive;
    // What is not kept awake may deliver nothing, and then nothing is what was asked for.
    source.keeps_clock = Writes() && (options_.keep_alive || endpoint.flow == Flow::kCapture);
    source.aligned = options_.microphone.has_value();
    source.follow_default = options_.follow_default;
    source.patience = options_.patience;
    tracks_.emplace_back(session, source, [this](const char* kind, const std::string& text) {
      report_.Tell(kind, text);
    });
  }

  void OpenWriters() {
    Target target = TargetOf(options_, options_.file);
    if (options_.separate) target.format.channels = 1;
    tracks_[0].writer = OpenWriter(target);
    if (!options_.separate) return;
    target.file = MicrophoneFile(target.file);
    tracks_[1].writer = OpenWriter(target);
  }
  template <class Action>
  void ForWriters(const Action& action) {
    for (Track& track : tracks_)
      if (track.writer) action(*track.writer);
  }

  bool Writes() const { return !options_.file.empty(); }
  double Seconds() const { return static_cast<double>(frames_) / options_.format.rate; }
  std::string FileText() const { return options_.file == "-" ? "standard output" : options_.file; }
  std::string EndpointsText() const {
    std::string text = tracks_[0].source.device().Text();
    if (options_.microphone)
      text += " (left) and " + tracks_[1].source.device().Text() + " (right)";
    return text;
  }

  void Announce() {
    const std::string where = Writes() ? " into " + FileText() : "";
    report_.Say((Writes() ? "Recording " : "Listening to ") + EndpointsText() + where + ": " +
                options_.format.Text());
    report_.Event("start", {{"endpoint", tracks_[0].source.device().name()},
                            {"file", options_.file},
                            {"format", NameOf(options_.format.type)},
                            {"rate", options_.format.rate},
                            {"channels", options_.format.channels}});
  }

  void Pump() {
    double looked = Now();
    double end = options_.seconds ? looked + *options_.seconds + kGraceTime : kForever;
    while (frames_ < frames_wanted_ && !Interrupted()) {
      const bool some = Look();
      const double now = Now();
      // What piled up while this process was held up is still to come.
      if (now - looked > kHeldUp) end = std::max(end, now + kGraceTime);
      looked = now;
      if (gate_ && !gate_->HasOpened() && options_.seconds)
        end = now + *options_.seconds + kGraceTime;
      if (now > end) break;
      if (!some) std::this_thread::sleep_for(kLookTime);
    }
    // What arrived before Ctrl-C belongs to the recording too, and so does what should have.
    for (Track& track : tracks_) {
      const std::uint64_t waiting = track.waiting.size() / TrackFrameBytes();
      Append(track, track.source.End(frames_wanted_ - std::min(frames_wanted_, frames_ + waiting)));
    }
    Merge();
  }

  double Now() const { return tracks_[0].source.Now(); }
  std::size_t TrackFrameBytes() const { return options_.format.FrameBytes() / tracks_.size(); }

  // False when nothing has come.
  bool Look() {
    bool some = false;
    for (Track& track : tracks_) {
      const auto audio = track.source.Take();
      some = some || !audio.empty();
      Append(track, audio);
    }
    Align();
    Merge();
    if (report_.IsForPeople()) view_.Show(Seconds());
    ShowLevels();
    return some;
  }

  void Append(Track& track, std::span<const std::uint8_t> audio) {
    track.waiting.insert(track.waiting.end(), audio.begin(), audio.end());
    for (const Hole& hole : track.source.timeline().TakeHoles()) {
      const char* const who = track.source.WasSlow() ? "the disk or the reader was too slow for"
                                                     : "the server did not deliver";
      const std::string text = fmt::format("{:.1f} s of silence put in at {} for what {}",
                                           hole.seconds, TimeText(hole.at_seconds), who);
      if (holes_++ == 0) first_hole_ = text;
      missing_ += hole.seconds;
      report_.Event("gap", {{"at", hole.at_seconds}, {"seconds", hole.seconds}});
      report_.Say(text);
    }
  }

  // Two tracks begin together once it is known how late each of them is.
  void Align() {
    if (aligned_ || !options_.microphone) return;
    Timeline& left = tracks_[0].source.timeline();
    Timeline& right = tracks_[1].source.timeline();
    const double now = Now();
    if (!left.KnowsLatency(now) || !right.KnowsLatency(now)) return;
    aligned_ = true;
    const double latency = std::min(left.latency(), right.latency());
    left.Align(latency);
    right.Align(latency);
  }

  // Takes as much as all tracks have.
  void Merge() {
    std::size_t bytes = tracks_[0].waiting.size();
    for (const Track& track : tracks_) bytes = std::min(bytes, track.waiting.size());
    if (bytes == 0) return;
    if (tracks_.size() == 1) {
      Consume(tracks_[0].waiting);
    } else {
      const std::size_t step = BytesOf(options_.format.type);
      merged_.resize(bytes * 2);
      for (std::size_t at = 0; at < bytes; at += step)
        for (std::size_t i = 0; i < 2; ++i)
          std::copy_n(&tracks_[i].waiting[at], step, &merged_[at * 2 + i * step]);
      Consume(merged_);
    }
    for (Track& track : tracks_)
      track.waiting.erase(track.waiting.begin(),
                          track.waiting.begin() + static_cast<std::ptrdiff_t>(bytes));
  }

  void Consume(std::span<const std::uint8_t> audio) {
    const std::size_t frame_bytes = options_.format.FrameBytes();
    const auto frames =
        std::min<std::uint64_t>(audio.size() / frame_bytes, frames_wanted_ - frames_);
    audio = audio.first(frames * frame_bytes);
    samples_.resize(frames * options_.format.channels);
    Decode(options_.format.type, audio, samples_);
    total_.Add(samples_);
    second_.Add(samples_);
    view_.Add(samples_);
    if (gate_) audio = gate_->Pass(audio, samples_);
    // Until the first sound the recording has not begun.
    if (!gate_ || gate_->HasOpened() || options_.skip_silence) frames_ += frames;
    if (options_.separate) {
      const std::size_t bytes = frames * TrackFrameBytes();
      for (Track& track : tracks_) track.writer->Write(std::span(track.waiting).first(bytes));
    } else if (tracks_[0].writer) {
      tracks_[0].writer->Write(audio);
    }
    written_ += audio.size() / frame_bytes;
  }

  // Once a second, to programs.
  void ShowLevels() {
    if (!options_.json || Seconds() - leveled_at_ < 1) return;
    leveled_at_ = Seconds();
    const auto decibels = [](double amplitude) {
      return amplitude > 0 ? Json(std::round(Decibels(amplitude) * 10) / 10) : Json();
    };
    Json peaks = Json::array();
    for (std::uint16_t channel = 0; channel < second_.channels(); ++channel)
      peaks.push_back(decibels(second_.Peak(channel)));
    report_.Event("level", {{"at", Seconds()}, {"peaks", peaks}, {"rms", decibels(second_.Rms())}});
    second_.Clear();
  }

  // What a failure leaves behind.
  std::string Kept() const {
    if (!Writes() || options_.file == "-" || frames_ == 0) return "";
    return fmt::format("; {} keeps the first {:.1f} s", options_.file, Seconds());
  }

  void Summarise() {
    const auto line = [this](const char* label, const std::string& text) {
      terminal_.Line(fmt::format("  {:<10}", label) + text);
    };
    const Source& source = tracks_[0].source;
    const double megabytes = static_cast<double>(written_ * options_.format.FrameBytes()) / 1e6;
    line("Endpoint", options_.microphone
                         ? EndpointsText()
                         : EndpointsText() + " (" + FlowText(source.device().flow()) + ")");
    line("Format", options_.format.Text());
    line("Length", fmt::format("{}, {} frames, {:.1f} MB of audio", TimeText(Seconds()), written_,
                               megabytes));
    std::string peaks;
    for (std::uint16_t channel = 0; channel < total_.channels(); ++channel) {
      peaks +=
          fmt::format("{}{} {}", channel == 0 ? "" : ", ", ChannelLabel(total_.channels(), channel),
                      DecibelText(total_.Peak(channel)));
    }
    line("Peak", DecibelText(total_.Peak()) + " dBFS (" + peaks + ")");
    line("RMS", DecibelText(total_.Rms()) + " dBFS");
    line("Packets",
         fmt::format("{}, {} of them flagged silent", source.packets(), source.silent_packets()));
    if (frames_ == 0)
      line("Note", "nothing came: the endpoint played nothing");
    else if (total_.Peak() == 0)
      line("Note", "only silence: is the endpoint muted, or did another one play? see zevra list");
  }

  void FailIncomplete() const {
    if (holes_ == 1) throw Failure(first_hole_);
    if (holes_ > 1) {
      throw Failure(fmt::format("{:.1f} s of silence put in at {} places; the first: {}", missing_,
                                holes_, first_hole_));
    }
    if (options_.seconds && frames_ < frames_wanted_ && !Interrupted()) {
      throw Failure(fmt::format("{} ended short: {:.1f} s of {:.1f} s came", FileText(), Seconds(),
                                *options_.seconds));
    }
  }

  const Options& options_;
  Terminal& terminal_;
  Report report_;
  const std::uint64_t frames_wanted_;
  std::deque<Track> tracks_;
  MeterView view_;
  Levels total_;
  Levels second_;
  std::optional<SoundGate> gate_;
  std::vector<std::uint8_t> merged_;
  std::vector<float> samples_;
  bool aligned_ = false;
  std::uint64_t frames_ = 0;
  std::uint64_t written_ = 0;
  double leveled_at_ = 0;
  std::uint64_t holes_ = 0;
  double missing_ = 0;
  std::string first_hole_;
};

}  // namespace

void Record(const Options& options) {
  CheckWritable(TargetOf(options, options.file));
  const Session session(options.endpoint.builtin);
  Terminal terminal(options.file == "-" ? stderr : stdout);
  Recording(session, options, terminal).Run();
}

void Meter(const Options& options) {
  Options metering = options;
  // Integers end at full scale; a meter should show what goes beyond.
  metering.format.type = SampleType::kF32;
  const Session session(options.endpoint.builtin);
  Terminal terminal(stdout);
  Recording(session, metering, terminal).Run();
}

}  // namespace zevra::command
