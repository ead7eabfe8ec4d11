#include <fmt/format.h>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <vector>

#include "tools/zevra/applications.h"
#include "tools/zevra/capture.h"
#include "tools/zevra/device.h"
#include "tools/zevra/endpoint_facts.h"
#include "tools/zevra/meter.h"
#include "tools/zevra/options.h"
#include "tools/zevra/own_log.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLookTime{50};
constexpr std::chrono::seconds kCheckTime{1};

// All of the machine's endpoints, which may be more than the library lists.
std::vector<EndpointFacts> FindEndpoints(const Session& session) {
  std::vector<EndpointFacts> endpoints = FindEndpointFacts(session.builtin());
  ZevraDeviceList list{};
  if (endpoints.empty() && (session.functions().GetDeviceList(&list) < 0 || list.count > 0))
    throw Failure("can't list the endpoints: the sound server no longer answers");
  for (EndpointFacts& facts : endpoints) {
    if (facts.volume) continue;
    const Device device = OpenDevice(session, {session.builtin(), facts.name, facts.flow});
    float volume = 0;
    if (session.functions().GetVolume(device.handle(), &volume) >= 0) facts.volume = volume;
  }
  return endpoints;
}

std::string MixFormatText(const EndpointFacts& facts) {
  return fmt::format("f32, {} Hz, {} channel{}", facts.rate, facts.channels,
                     facts.channels == 1 ? "" : "s");
}

void PrintRows(const std::vector<EndpointFacts>& rows) {
  std::vector<std::vector<std::string>> table = {
      {"NAME", "FLOW", "DEFAULT", "VOLUME", "MIX FORMAT", "ID"}};
  for (const EndpointFacts& row : rows) {
    table.push_back({row.name, FlowText(row.flow), row.is_default ? "yes" : "",
                     (row.volume ? fmt::format("{:.0f} %", *row.volume * 100) : "?") +
                         (row.muted ? ", muted" : ""),
                     MixFormatText(row), row.id});
  }
  const Terminal terminal(stdout);
  PrintTable(table, terminal.IsLive() ? terminal.Width() : kAnyWidth);
}

void PrintJson(const std::vector<EndpointFacts>& rows) {
  using Json = nlohmann::ordered_json;
  Json list = Json::array();
  for (const EndpointFacts& row : rows) {
    Json entry;
    entry["name"] = row.name;
    entry["id"] = row.id;
    entry["flow"] = FlowText(row.flow);
    entry["default"] = row.is_default;
    entry["volume"] = row.volume ? Json(*row.volume) : Json();
    entry["muted"] = row.muted;
    entry["mixFormat"] = {
        {"sampleKind", "float"}, {"bits", 32}, {"rate", row.rate}, {"channels", row.channels}};
    list.push_back(std::move(entry));
  }
  std::puts(list.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

}  // namespace

void List(const Options& options) {
  const Session session(options.endpoint.builtin);
  if (options.apps) {
    PrintApplications(options.json);
    return;
  }
  const std::vector<EndpointFacts> rows = FindEndpoints(session);
  if (options.json) {
    PrintJson(rows);
    return;
  }
  if (rows.empty()) {
    std::puts("There is no active endpoint.");
    return;
  }
  PrintRows(rows);
}

void Volume(const Options& options) {
  const Session session(options.endpoint.builtin);
  const Device device = OpenDevice(session, options.endpoint);
  float volume = 0;
  const LoggedCall call;
  const std::int32_t result = device.functions().GetVolume(device.handle(), &volume);
  if (result < 0)
    throw Failure("can't read the volume of " + device.Text() + ": " + call.ResultText(result));
  std::printf("%s: %.0f %%\n", device.name().empty() ? "default" : device.name().c_str(),
              static_cast<double>(volume) * 100);
}

void Silence(const Options& options) {
  const Session session(options.endpoint.builtin);
  EndpointChoice choice = options.endpoint;
  choice.flow = Flow::kRender;
  const Device device = OpenDevice(session, choice);
  const KeepAlive silence(device);
  if (silence.result() != ZEVRA_OK)
    throw Failure("can't play silence on " + device.Text() + ": " + silence.ResultText());
  Terminal terminal(stdout);
  CatchSignals();
  if (!options.quiet) terminal.Line("Playing silence on " + device.Text());

  const auto begin = steady_clock::now();
  auto checked = begin;
  const auto elapsed = [begin] {
    return std::chrono::duration<double>(steady_clock::now() - begin).count();
  };
  while (!Interrupted() && (!options.seconds || elapsed() < *options.seconds)) {
    std::this_thread::sleep_for(kLookTime);
    if (terminal.IsLive() && !options.quiet) {
      const char* const hint = options.seconds ? "" : "  Ctrl-C ends it";
      terminal.Redraw({"  " + TimeText(elapsed()) + hint});
    }
    if (steady_clock::now() - checked < kCheckTime) continue;
    checked = steady_clock::now();
    if (!silence.StillPlays()) throw Failure(device.Text() + " went away");
  }
  terminal.Erase();
  if (!options.quiet) terminal.Line("Played silence for " + TimeText(elapsed()));
}

}  // namespace zevra::command
