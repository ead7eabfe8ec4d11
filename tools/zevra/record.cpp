#include <fmt/format.h>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <thread>
#include <vector>

#include "tools/zevra/capture.h"
#include "tools/zevra/device.h"
#include "tools/zevra/meter.h"
#include "tools/zevra/options.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"
#include "tools/zevra/writer.h"

namespace zevra::command {
namespace {

using std::chrono::steady_clock;

// How often the main thread looks for audio.
constexpr std::chrono::milliseconds kLookTime{20};
// An endpoint that plays nothing delivers nothing: a recording of a given length ends this long
// after its time all the same.
constexpr std::chrono::seconds kGraceTime{2};

Target TargetOf(const Options& options) {
  return {options.file, options.container, options.format, options.seconds, options.split_seconds};
}

// One recording or, without a writer, one look at the levels.
class Recording {
 public:
  Recording(const Session& session, const Options& options, Terminal& terminal)
      : options_(options),
        terminal_(terminal),
        device_(OpenDevice(session, options.endpoint)),
        frames_wanted_(FramesWanted(options)),
        view_(terminal, options.format.channels, options.seconds),
        total_(options.format.channels) {}

  void Run() {
    if (options_.keep_alive && device_.flow() == Flow::kRender) StartKeepAlive();
    Capture capture(device_, options_.format);
    // Not before there is something to write: the file may hold an older recording.
    if (!options_.file.empty()) writer_ = OpenWriter(TargetOf(options_));
    // Until now there was nothing that Ctrl-C could have spoilt.
    CatchSignals();
    Announce();
    try {
      Pump(capture);
      if (writer_) writer_->Finish();
    } catch (const Failure& failure) {
      terminal_.Erase();
      throw Failure(failure.what() + Kept());
    }
    terminal_.Erase();
    if (writer_ && !options_.quiet) Summarise(capture);
    if (capture.lost_bytes() > 0) FailLost(capture);
  }

 private:
  static std::uint64_t FramesWanted(const Options& options) {
    if (!options.seconds) return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(std::llround(*options.seconds * options.format.rate));
  }

  double Seconds() const { return static_cast<double>(frames_) / options_.format.rate; }
  std::string FileText() const { return options_.file == "-" ? "standard output" : options_.file; }

  void StartKeepAlive() {
    keep_alive_.emplace(device_);
    if (keep_alive_->result() == ZEVRA_OK) return;
    std::fprintf(stderr, "zevra: can't keep %s awake (%s): while it is silent nothing may come\n",
                 device_.Text().c_str(), ResultText(keep_alive_->result()).c_str());
  }

  void Announce() {
    if (options_.quiet) return;
    const std::string where = writer_ ? " into " + FileText() : "";
    terminal_.Line((writer_ ? "Recording " : "Listening to ") + device_.Text() + where + ": " +
                   options_.format.Text());
  }

  void Pump(Capture& capture) {
    const auto end = steady_clock::now() + kGraceTime +
                     std::chrono::duration<double>(options_.seconds.value_or(0));
    while (frames_ < frames_wanted_ && !Interrupted()) {
      const auto audio = capture.Take();
      if (!audio.empty()) Consume(audio);
      if (!options_.quiet) view_.Show(Seconds());
      if (options_.seconds && steady_clock::now() > end) return;
      if (audio.empty()) std::this_thread::sleep_for(kLookTime);
    }
    // What arrived before Ctrl-C belongs to the recording too.
    for (auto rest = capture.Take(); frames_ < frames_wanted_ && !rest.empty();
         rest = capture.Take())
      Consume(rest);
  }

  void Consume(std::span<const std::uint8_t> audio) {
    const std::size_t frame_bytes = options_.format.FrameBytes();
    const std::uint64_t frames =
        std::min<std::uint64_t>(audio.size() / frame_bytes, frames_wanted_ - frames_);
    audio = audio.first(frames * frame_bytes);
    samples_.resize(frames * options_.format.channels);
    Decode(options_.format.type, audio, samples_);
    total_.Add(samples_);
    view_.Add(samples_);
    if (writer_) writer_->Write(audio);
    frames_ += frames;
  }

  // What a failure leaves behind.
  std::string Kept() const {
    if (!writer_ || options_.file == "-" || frames_ == 0) return "";
    return fmt::format("; {} keeps the first {:.1f} s", options_.file, Seconds());
  }

  void Summarise(const Capture& capture) {
    const auto line = [this](const char* label, const std::string& text) {
      terminal_.Line(fmt::format("  {:<10}", label) + text);
    };
    const double megabytes = static_cast<double>(frames_ * options_.format.FrameBytes()) / 1e6;
    line("Endpoint", device_.Text() + " (" + FlowText(device_.flow()) + ")");
    line("Format", options_.format.Text());
    line("Length",
         fmt::format("{}, {} frames, {:.1f} MB of audio", TimeText(Seconds()), frames_, megabytes));
    std::string peaks;
    for (std::uint16_t channel = 0; channel < total_.channels(); ++channel) {
      peaks +=
          fmt::format("{}{} {}", channel == 0 ? "" : ", ", ChannelLabel(total_.channels(), channel),
                      DecibelText(total_.Peak(channel)));
    }
    line("Peak", DecibelText(total_.Peak()) + " dBFS (" + peaks + ")");
    line("RMS", DecibelText(total_.Rms()) + " dBFS");
    line("Packets",
         fmt::format("{}, {} of them flagged silent", capture.packets(), capture.silent_packets()));
    if (frames_ == 0) line("Note", "nothing came: the endpoint played nothing");
  }

  [[noreturn]] void FailLost(const Capture& capture) const {
    const auto frames = capture.lost_bytes() / options_.format.FrameBytes();
    throw Failure(fmt::format("{} frames are missing from {}: it took the audio too slowly", frames,
                              FileText()));
  }

  const Options& options_;
  Terminal& terminal_;
  const Device device_;
  const std::uint64_t frames_wanted_;
  std::unique_ptr<AudioWriter> writer_;
  // Ends after the capture and the summary: its stop takes a while.
  std::optional<KeepAlive> keep_alive_;
  MeterView view_;
  Levels total_;
  std::vector<float> samples_;
  std::uint64_t frames_ = 0;
};

}  // namespace

void Record(const Options& options) {
  CheckWritable(TargetOf(options));
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
