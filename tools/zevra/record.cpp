#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
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
constexpr double kGraceTime = kLongestStart + 0.5;
constexpr double kForever = std::numeric_limits<double>::infinity();

Target TargetOf(const Options& options, const std::string& file) {
  return {file, options.container, options.format, options.seconds, options.split_seconds};
}

// "call.wav" becomes "call-microphone.wav".
std::string MicrophoneFile(std::string file) {
  return file.insert(std::min(file.rfind('.'), file.size()), "-microphone");
}

std::vector<SourceOptions> SourcesOf(const Options& options) {
  SourceOptions source;
  source.endpoint = options.endpoint;
  source.format = options.format;
  source.keep_alive = options.keep_alive;
  // What is not kept awake may deliver nothing, and then nothing is what was asked for.
  source.keeps_clock =
      !options.file.empty() && (options.keep_alive || options.endpoint.flow == Flow::kCapture);
  source.follow_default = options.follow_default && !options.endpoint.name;
  source.patience = options.patience;
  if (!options.microphone) return {source};
  source.format.channels = 1;
  source.aligned = true;
  SourceOptions microphone = source;
  microphone.endpoint = {options.endpoint.builtin, {}, Flow::kCapture};
  microphone.follow_default = options.follow_default && *options.microphone == "default";
  if (*options.microphone != "default") microphone.endpoint.name = options.microphone;
  return {source, microphone};
}

// What is said of a recording: lines to a person, or events to a program.
class Report {
 public:
  Report(const Options& options, Terminal& terminal) : options_(options), terminal_(terminal) {}

  bool IsForPeople() const { return !options_.quiet && !options_.json; }
  void Say(const std::string& line) {
    if (IsForPeople()) terminal_.Line(line);
  }
  void Event(const char* kind, const Json& facts) const {
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
        view_(terminal, options.format.channels, options.seconds,
              options.spectrum ? std::optional<Spectrum>(std::in_place, options.format.rate,
                                                         options.format.channels)
                               : std::nullopt),
        total_(options.format.channels),
        second_(options.format.channels),
        tracks_(session, SourcesOf(options),
                [this](const char* kind, const std::string& text) { report_.Tell(kind, text); }) {
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
      for (const auto& writer : writers_) writer->Finish();
    } catch (const Failure& failure) {
      terminal_.Erase();
      throw Failure(failure.what() + Kept());
    }
    terminal_.Erase();
    report_.Event("end",
                  {{"seconds", WrittenSeconds()}, {"frames", written_}, {"missing", missing_}});
    if (Writes() && report_.IsForPeople()) Summarise();
    if (Writes()) FailIncomplete();
  }

 private:
  void OpenWriters() {
    Target target = TargetOf(options_, options_.file);
    if (options_.separate) target.format.channels = 1;
    writers_.push_back(OpenWriter(target));
    if (!options_.separate) return;
    target.file = MicrophoneFile(target.file);
    writers_.push_back(OpenWriter(target));
  }

  bool Writes() const { return !options_.file.empty(); }
  // How long it goes on, and what of that is in the file.
  double Seconds() const { return static_cast<double>(frames_) / options_.format.rate; }
  double WrittenSeconds() const { return static_cast<double>(written_) / options_.format.rate; }
  // The one that is written now.
  std::string File() const { return options_.file == "-" ? "-" : writers_[0]->File(); }
  std::string FileText() const { return options_.file == "-" ? "standard output" : File(); }
  std::string EndpointsText() const {
    std::string text = tracks_.first().device().Text();
    if (options_.microphone) text += " (left) and " + tracks_.last().device().Text() + " (right)";
    return text;
  }

  void Announce() {
    const std::string where = Writes() ? " into " + FileText() : "";
    report_.Say((Writes() ? "Recording " : "Listening to ") + EndpointsText() + where + ": " +
                options_.format.Text());
    report_.Event("start", {{"endpoint", tracks_.first().device().name()},
                            {"file", Writes() ? File() : ""},
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
    Consume(tracks_.End(frames_wanted_ - frames_));
    TellHoles();
  }

  double Now() const { return tracks_.first().Now(); }

  // False when nothing has come.
  bool Look() {
    const auto audio = tracks_.Take();
    if (!audio.empty()) Consume(audio);
    TellHoles();
    if (report_.IsForPeople()) view_.Show(Seconds());
    ShowLevels();
    return !audio.empty();
  }

  void TellHoles() {
    for (Hole hole : tracks_.TakeHoles()) {
      // From the time of the audio to the place in the file.
      hole.at_seconds -= static_cast<double>(consumed_ - written_) / options_.format.rate;
      if (options_.start_on_sound && hole.at_seconds + hole.seconds <= 0) continue;
      hole.at_seconds = std::max(hole.at_seconds, 0.0);
      const char* const who = tracks_.WereSlow() ? "the disk or the reader was too slow for"
                                                 : "the server did not deliver";
      const std::string text = fmt::format("{:.1f} s of silence put in at {} for what {}",
                                           hole.seconds, TimeText(hole.at_seconds), who);
      if (holes_++ == 0) first_hole_ = text;
      missing_ += hole.seconds;
      report_.Event("gap", {{"at", hole.at_seconds}, {"seconds", hole.seconds}});
      report_.Say(text);
    }
  }

  void Consume(std::span<const std::uint8_t> audio) {
    audio = TakeFrames(options_.format, audio, frames_wanted_ - frames_, samples_);
    const std::uint64_t frames = samples_.size() / options_.format.channels;
    total_.Add(samples_);
    second_.Add(samples_);
    view_.Add(samples_);
    consumed_ += frames;
    if (gate_) audio = gate_->Pass(audio, samples_);
    // Until the first sound the recording has not begun.
    if (!gate_ || gate_->HasOpened() || options_.skip_silence) frames_ += frames;
    if (options_.separate)
      WriteApart(audio);
    else if (Writes())
      writers_[0]->Write(audio);
    written_ += audio.size() / options_.format.FrameBytes();
  }

  // The left channel into one file, the right one into the other.
  void WriteApart(std::span<const std::uint8_t> audio) {
    const std::size_t step = BytesOf(options_.format.type);
    for (std::size_t track = 0; track < writers_.size(); ++track) {
      apart_.clear();
      for (std::size_t at = track * step; at < audio.size(); at += 2 * step)
        apart_.insert(apart_.end(), &audio[at], &audio[at] + step);
      writers_[track]->Write(apart_);
    }
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
    if (!Writes() || options_.file == "-" || written_ == 0) return "";
    const bool one = !options_.split_seconds || WrittenSeconds() <= *options_.split_seconds;
    return fmt::format("; {} the first {:.1f} s",
                       File() + (one ? " keeps" : " and those before it keep"), WrittenSeconds());
  }

  void Summarise() {
    const auto line = [this](const char* label, const std::string& text) {
      terminal_.Line(fmt::format("  {:<10}", label) + text);
    };
    const Source& source = tracks_.first();
    const double megabytes = static_cast<double>(written_ * options_.format.FrameBytes()) / 1e6;
    line("Endpoint", options_.microphone
                         ? EndpointsText()
                         : EndpointsText() + " (" + FlowText(source.device().flow()) + ")");
    line("Format", options_.format.Text());
    line("Length", fmt::format("{}, {} frames, {:.1f} MB of audio", TimeText(WrittenSeconds()),
                               written_, megabytes));
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
  MeterView view_;
  Levels total_;
  Levels second_;
  // Ends after the summary: its stop takes a while.
  Tracks tracks_;
  std::vector<std::unique_ptr<AudioWriter>> writers_;
  std::optional<SoundGate> gate_;
  std::vector<std::uint8_t> apart_;
  std::vector<float> samples_;
  std::uint64_t frames_ = 0;
  // In frames too: all that came, and what of it went into the file.
  std::uint64_t consumed_ = 0;
  std::uint64_t written_ = 0;
  double leveled_at_ = 0;
  std::uint64_t holes_ = 0;
  double missing_ = 0;
  std::string first_hole_;
};

}  // namespace

void Record(const Options& options) {
  CheckTracks(options);
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
