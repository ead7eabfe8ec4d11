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
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"
#include "tools/zevra/windows/capture.h"
#include "tools/zevra/windows/default_endpoint.h"

namespace zevra::command {
namespace {

constexpr std::chrono::milliseconds kLookTime{20};
// How long after its time a recording waits for audio that is on its way.
constexpr double kGraceTime = kLongestStart + 0.5;

// One recording or, without a file, one look at the levels.
class Recording {
 public:
  Recording(const Options& options, Terminal& terminal)
      : options_(options),
        terminal_(terminal),
        frames_wanted_(options.seconds ? static_cast<std::uint64_t>(
                                             std::llround(*options.seconds * options.format.rate))
                                       : std::numeric_limits<std::uint64_t>::max()),
        view_(terminal, options.format.channels, options.seconds,
              options.spectrum ? std::optional<Spectrum>(std::in_place, options.format.rate,
                                                         options.format.channels)
                               : std::nullopt),
        total_(options.format.channels),
        // What is not kept awake may deliver nothing, and then nothing is what was asked for.
        source_(options,
                Writes() && (options.keep_alive || options.endpoint.flow == Flow::kCapture)) {}

  void Run() {
    if (!source_.warning().empty()) std::fprintf(stderr, "zevra: %s\n", source_.warning().c_str());
    // Not before there is something to write: the file may hold an older recording.
    if (Writes())
      writer_ = OpenWriter({options_.file, options_.container, options_.format, options_.seconds,
                            options_.split_seconds});
    CatchSignals();
    Say((Writes() ? "Recording " : "Listening to ") + Quoted(source_.name()) + ": " +
        options_.format.Text());
    Pump();
    if (Writes()) writer_->Finish();
    terminal_.Erase();
    if (Writes())
      Say(fmt::format("{} of {}, peak {} dBFS", TimeText(Seconds()), Quoted(source_.name()),
                      DecibelText(total_.Peak())));
    FailIncomplete();
  }

 private:
  bool Writes() const { return !options_.file.empty(); }
  double Seconds() const { return static_cast<double>(frames_) / options_.format.rate; }
  void Say(const std::string& line) {
    if (!options_.quiet) terminal_.Line(line);
  }

  void Pump() {
    const double end =
        options_.seconds ? *options_.seconds + kGraceTime : std::numeric_limits<double>::infinity();
    while (frames_ < frames_wanted_ && !Interrupted() && source_.Now() < end) {
      const auto audio = source_.Take();
      Consume(audio);
      if (!options_.quiet) view_.Show(Seconds());
      if (audio.empty()) std::this_thread::sleep_for(kLookTime);
    }
    // What arrived before Ctrl-C belongs to the recording too, and so does what should have.
    Consume(source_.End(frames_wanted_ - frames_));
  }

  void Consume(std::span<const std::uint8_t> audio) {
    audio = TakeFrames(options_.format, audio, frames_wanted_ - frames_, samples_);
    total_.Add(samples_);
    view_.Add(samples_);
    if (Writes()) writer_->Write(audio);
    frames_ += audio.size() / options_.format.FrameBytes();
    for (const Hole& hole : source_.TakeHoles()) missing_ += hole.seconds;
  }

  void FailIncomplete() const {
    if (!Writes()) return;
    if (missing_ > 0) {
      throw Failure(
          fmt::format("{:.1f} s of silence put in for what the system did not deliver", missing_));
    }
    if (options_.seconds && frames_ < frames_wanted_ && !Interrupted()) {
      throw Failure(fmt::format("{} ended short: {:.1f} s of {:.1f} s came", options_.file,
                                Seconds(), *options_.seconds));
    }
  }

  const Options& options_;
  Terminal& terminal_;
  const std::uint64_t frames_wanted_;
  MeterView view_;
  Levels total_;
  Source source_;
  std::unique_ptr<AudioWriter> writer_;
  std::vector<float> samples_;
  std::uint64_t frames_ = 0;
  double missing_ = 0;
};

const char* FlowText(zevra::Flow flow) {
  return flow == zevra::Flow::kCapture ? "capture" : "render";
}

std::optional<float> VolumeOf(const zevra::Endpoint& endpoint) {
  try {
    return zevra::Device(endpoint).Volume();
  } catch (const zevra::Error&) {
    // Two endpoints share the name: it is listed, and cannot be opened.
    return {};
  }
}

}  // namespace

void Record(const Options& options) {
  CheckWritable(
      {options.file, options.container, options.format, options.seconds, options.split_seconds});
  Terminal terminal(options.file == "-" ? stderr : stdout);
  Recording(options, terminal).Run();
}

void Meter(const Options& options) {
  Options metering = options;
  // Integers end at full scale; a meter should show what goes beyond.
  metering.format.type = SampleType::kF32;
  Terminal terminal(stdout);
  Recording(metering, terminal).Run();
}

void List(const Options& options) {
  using Json = nlohmann::ordered_json;
  Json list = Json::array();
  std::vector<std::vector<std::string>> table = {{"NAME", "FLOW", "DEFAULT", "VOLUME"}};
  for (const zevra::Endpoint& endpoint : zevra::Endpoints()) {
    const bool is_default = DefaultEndpointName(endpoint.flow) == endpoint.name;
    const std::optional<float> volume = VolumeOf(endpoint);
    list.push_back({{"name", endpoint.name},
                    {"flow", FlowText(endpoint.flow)},
                    {"default", is_default},
                    {"volume", volume ? Json(*volume) : Json()}});
    table.push_back({endpoint.name, FlowText(endpoint.flow), is_default ? "yes" : "",
                     volume ? fmt::format("{:.0f} %", *volume * 100) : "?"});
  }
  if (options.json)
    std::puts(list.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
  else if (table.size() == 1)
    std::puts("There is no active endpoint.");
  else
    PrintTable(table);
}

void Volume(const Options& options) {
  const Chosen chosen = Open(options.endpoint);
  std::printf("%s: %.0f %%\n", chosen.name.c_str(),
              static_cast<double>(chosen.device.Volume()) * 100);
}

void Silence(const Options& options) {
  EndpointChoice choice = options.endpoint;
  choice.flow = Flow::kRender;
  const Chosen chosen = Open(choice);
  const zevra::Silence silence(chosen.device);
  CatchSignals();
  if (!options.quiet) std::printf("Playing silence on %s\n", Quoted(chosen.name).c_str());
  std::fflush(stdout);
  const auto begin = std::chrono::steady_clock::now();
  const auto elapsed = [begin] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  };
  while (!Interrupted() && (!options.seconds || elapsed() < *options.seconds))
    std::this_thread::sleep_for(kLookTime);
}

}  // namespace zevra::command
