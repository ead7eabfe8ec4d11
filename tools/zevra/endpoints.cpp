#include <fmt/format.h>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <vector>

#include "tools/zevra/capture.h"
#include "tools/zevra/device.h"
#include "tools/zevra/endpoint_facts.h"
#include "tools/zevra/meter.h"
#include "tools/zevra/options.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLookTime{50};
constexpr std::chrono::seconds kCheckTime{1};

// What the list says of one endpoint; what cannot be had stays empty.
struct Row {
  std::string name;
  Flow flow;
  std::optional<float> volume;
  std::optional<EndpointFacts> facts;
};

std::optional<float> VolumeOf(const Session& session, const std::string& name, Flow flow) {
  EndpointChoice choice;
  choice.name = name;
  choice.flow = flow;
  try {
    const Device device = OpenDevice(session, choice);
    float volume = 0;
    if (session.functions().GetVolume(device.handle(), &volume) >= 0) return volume;
  } catch (const Failure&) {
    // Two endpoints share the name: it is listed, and cannot be opened.
  }
  return {};
}

std::vector<Row> FindRows(const Session& session) {
  const std::vector<EndpointFacts> facts = FindEndpointFacts(session.builtin());
  std::vector<Row> rows;
  for (const Flow flow : {Flow::kRender, Flow::kCapture}) {
    for (const std::string& name : ListNames(session.functions(), flow)) {
      Row row{name, flow, VolumeOf(session, name, flow), {}};
      const auto same = [&](const EndpointFacts& fact) {
        return fact.flow == flow && fact.name == name;
      };
      // Facts of endpoints that share a name cannot be told apart.
      if (std::count_if(facts.begin(), facts.end(), same) == 1)
        row.facts = *std::find_if(facts.begin(), facts.end(), same);
      rows.push_back(std::move(row));
    }
  }
  return rows;
}

std::string MixFormatText(const EndpointFacts& facts) {
  return fmt::format("f32, {} Hz, {} channel{}", facts.rate, facts.channels,
                     facts.channels == 1 ? "" : "s");
}

void PrintRows(const std::vector<Row>& rows) {
  std::vector<std::vector<std::string>> table = {
      {"NAME", "FLOW", "DEFAULT", "VOLUME", "MIX FORMAT"}};
  for (const Row& row : rows) {
    table.push_back({row.name, FlowText(row.flow),
                     !row.facts              ? "?"
                     : row.facts->is_default ? "yes"
                                             : "",
                     (row.volume ? fmt::format("{:.0f} %", *row.volume * 100) : "?") +
                         (row.facts && row.facts->muted ? ", muted" : ""),
                     row.facts ? MixFormatText(*row.facts) : "?"});
  }
  PrintTable(table);
}

void PrintJson(const std::vector<Row>& rows) {
  using Json = nlohmann::ordered_json;
  Json list = Json::array();
  for (const Row& row : rows) {
    Json entry;
    entry["name"] = row.name;
    entry["flow"] = FlowText(row.flow);
    entry["default"] = row.facts ? Json(row.facts->is_default) : Json();
    entry["volume"] = row.volume ? Json(*row.volume) : Json();
    entry["muted"] = row.facts ? Json(row.facts->muted) : Json();
    entry["mixFormat"] = nullptr;
    if (const auto& facts = row.facts) {
      entry["mixFormat"] = {{"sampleKind", "float"},
                            {"bits", 32},
                            {"rate", facts->rate},
                            {"channels", facts->channels}};
    }
    list.push_back(std::move(entry));
  }
  std::puts(list.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

}  // namespace

void List(const Options& options) {
  const Session session(options.endpoint.builtin);
  const std::vector<Row> rows = FindRows(session);
  if (options.json) {
    PrintJson(rows);
    return;
  }
  if (rows.empty()) {
    std::puts("There is no active endpoint.");
    return;
  }
  PrintRows(rows);
  for (const Flow flow : {Flow::kRender, Flow::kCapture}) {
    const auto count = std::count_if(rows.begin(), rows.end(),
                                     [flow](const Row& row) { return row.flow == flow; });
    if (count < ZEVRA_DEVICE_LIST_ROWS) continue;
    std::fprintf(stderr,
                 "zevra: at most %d %s endpoints are listed; others can be named all the same\n",
                 ZEVRA_DEVICE_LIST_ROWS, FlowText(flow));
  }
}

void Volume(const Options& options) {
  const Session session(options.endpoint.builtin);
  const Device device = OpenDevice(session, options.endpoint);
  float volume = 0;
  const std::int32_t result = device.functions().GetVolume(device.handle(), &volume);
  if (result < 0)
    throw Failure("can't read the volume of " + device.Text() + ": " + ResultText(result));
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
    throw Failure("can't play silence on " + device.Text() + ": " + ResultText(silence.result()));
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
