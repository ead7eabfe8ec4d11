#include <fmt/format.h>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <vector>

#include "tools/zevra/capture.h"
#include "tools/zevra/device.h"
#include "tools/zevra/endpoint_facts.h"
#include "tools/zevra/library_copies.h"
#include "tools/zevra/log_report.h"
#include "tools/zevra/meter.h"
#include "tools/zevra/options.h"
#include "tools/zevra/own_log.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

using std::chrono::steady_clock;

constexpr double kTrialSeconds = 1;
// Less than this of a trial's audio is no recording.
constexpr double kEnough = 0.8;
constexpr float kFarDown = 0.3F;

std::string FullPath(const std::string& library) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(library, error))
    throw Failure("there is no library " + library);
  return std::filesystem::absolute(library, error).lexically_normal().string();
}

std::string SettingsFile(const LogReport& report, const char* missing) {
  if (!report.config_file_found) return report.config_file + missing;
  const bool is_link = report.config_target != report.config_file;
  return report.config_file + (is_link ? " (that is " + report.config_target + ")" : "");
}

// What was looked at, how it is, and what to do about it.
struct Finding {
  const char* subject;
  const char* state;  // "ok", "note" or "problem"
  std::string text;
  std::string advice = {};
};
using Findings = std::vector<Finding>;

void LookAtLog(const std::string& library, Findings& findings) {
  const LogReport report = DescribeLog(library);
  findings.push_back({"Library", "ok", library});
  findings.push_back({"Settings", "ok", SettingsFile(report, " is not there: defaults hold")});
  for (const std::string& warning : report.warnings)
    findings.push_back({"Settings", "note", warning, "correct " + report.config_target});
  if (report.obstacle.empty())
    findings.push_back({"Log", "ok", report.log_file});
  else
    findings.push_back({"Log", "note", report.obstacle, report.remedy});
}

// Which library other programs get: this one is told by its own RPATH.
void LookAtCopies(const std::string& library, Findings& findings) {
  std::error_code error;
  const std::string own = std::filesystem::canonical(library, error).string();
  const std::vector<std::string> copies = FindLibraryCopies();
  if (copies.empty()) {
    findings.push_back({"Loader", "note", "finds no library for other programs",
                        "run ldconfig after an installation, or set LD_LIBRARY_PATH"});
    return;
  }
  const bool same = copies.front() == own;
  findings.push_back({"Loader", same ? "ok" : "note", "other programs load " + copies.front(),
                      same ? "" : "this command loads " + own + ": remove the one not meant"});
  for (std::size_t i = 1; i < copies.size(); ++i) {
    if (copies[i] == own) continue;
    findings.push_back({"Loader", "note", "another copy is " + copies[i],
                        "remove it, or a change of LD_LIBRARY_PATH brings it back"});
  }
}

void LookAtEndpoints(const Session& session, Findings& findings) {
  const std::string server = session.builtin() ? "none is needed" : SoundServerText();
  findings.push_back({"Sound server", "ok", server.empty() ? "answers" : server});
  for (const Flow flow : {Flow::kRender, Flow::kCapture}) {
    bool has_default = false;
    for (const EndpointFacts& facts : FindEndpointFacts(session.builtin())) {
      if (facts.flow != flow) continue;
      has_default = has_default || facts.is_default;
      std::string text =
          Quoted(facts.name) + " (" + FlowText(flow) + (facts.is_default ? ", default)" : ")");
      if (facts.volume) text += fmt::format(" at {:.0f} %", *facts.volume * 100);
      const bool low = facts.muted || (facts.volume && *facts.volume < kFarDown);
      if (facts.muted) text += ", muted";
      findings.push_back({"Endpoint", low ? "note" : "ok", text,
                          low ? "turn it up: a recording is as loud as that" : ""});
    }
    if (has_default) continue;
    findings.push_back({"Endpoint", "note",
                        std::string("there is no default ") + FlowText(flow) + " endpoint",
                        "choose one in the sound settings, or name one with --device"});
  }
}

// Records the default endpoint for a moment.
Finding TryCapture(const Session& session) {
  const Device device = OpenDevice(session, {});
  const KeepAlive silence(device);
  const AudioFormat format{SampleType::kF32, 48000, 2};
  const auto begin = steady_clock::now();
  const auto elapsed = [begin] {
    return std::chrono::duration<double>(steady_clock::now() - begin).count();
  };
  Capture capture(device, format);
  Levels levels(format.channels);
  std::vector<float> samples;
  std::optional<double> first;
  std::size_t frames = 0;
  while (elapsed() < first.value_or(kTrialSeconds) + kTrialSeconds) {
    const auto audio = capture.Take();
    TakeFrames(format, audio, audio.size(), samples);
    levels.Add(samples);
    if (!audio.empty() && !first) first = elapsed();
    frames += audio.size() / format.FrameBytes();
    if (audio.empty()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  const std::string text = fmt::format(
      "{}: {} frames in a second at {} Hz, the first after {:.0f} ms, peak {} dBFS", device.Text(),
      frames, format.rate, first.value_or(0) * 1000, DecibelText(levels.Peak()));
  if (static_cast<double>(frames) < kEnough * format.rate)
    return {"Trial", "problem", text, "see whether the sound server keeps up, and its log"};
  if (levels.Peak() == 0)
    return {"Trial", "note", text, "play something and ask again: this was silence"};
  return {"Trial", "ok", text};
}

void Print(const Findings& findings, bool json) {
  using Json = nlohmann::ordered_json;
  Json list = Json::array();
  std::vector<std::vector<std::string>> table;
  for (const Finding& finding : findings) {
    list.push_back({{"subject", finding.subject},
                    {"state", finding.state},
                    {"text", finding.text},
                    {"advice", finding.advice}});
    table.push_back({finding.state, finding.subject, finding.text});
    if (!finding.advice.empty()) table.push_back({"", "", "-> " + finding.advice});
  }
  if (json)
    std::puts(list.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
  else
    PrintTable(table);
}

}  // namespace

void Doctor(const Options& options) {
  Findings findings;
  // Each step needs the one before.
  const char* subject = "Library";
  const char* advice = "install the package libzevra1";
  try {
    const std::string library = LibraryPath(false);
    LookAtLog(library, findings);
    LookAtCopies(library, findings);
    subject = "Sound server";
    advice = "start PulseAudio or PipeWire, or look whether PULSE_SERVER is right";
    const Session session(options.endpoint.builtin);
    LookAtEndpoints(session, findings);
    subject = "Trial";
    advice = "zevra log tells where the library says why";
    findings.push_back(TryCapture(session));
  } catch (const Failure& failure) {
    findings.push_back({subject, "problem", failure.what(), advice});
  }
  Print(findings, options.json);
  const auto problems = std::count_if(findings.begin(), findings.end(), [](const Finding& one) {
    return std::string_view(one.state) == "problem";
  });
  if (problems > 0) throw Failure("something is wrong; see the line marked as a problem");
}

void Log(const Options& options) {
  const std::string library =
      options.module_path.empty() ? LibraryPath(false) : FullPath(options.module_path);
  const LogReport report = DescribeLog(library);
  PrintTable({{"Log file", report.log_file},
              {"Settings file", SettingsFile(report, " (not there: defaults)")}});
  std::puts("");
  std::vector<std::vector<std::string>> table = {{"SETTING", "FROM", "VALUE"}};
  for (const LogSetting& setting : report.settings)
    table.push_back({setting.key, setting.source, setting.value});
  PrintTable(table);
  if (!report.obstacle.empty())
    std::fprintf(stderr, "zevra: warning: %s; %s\n", report.obstacle.c_str(),
                 report.remedy.c_str());
  for (const std::string& warning : report.warnings)
    std::fprintf(stderr, "zevra: warning: %s\n", warning.c_str());
}

}  // namespace zevra::command
