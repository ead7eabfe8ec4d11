#include "tools/zevra/applications.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "platform/linux/pulse/endpoints/applications.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

// One application's stream and the endpoint that it plays on.
struct Row {
  PulseApplication application;
  std::string endpoint;
  unsigned rate = 0;
  unsigned channels = 0;

  float Volume() const {
    return static_cast<float>(pa_cvolume_avg(&application.volume)) / PA_VOLUME_NORM;
  }
};

// As the library sees them, by its own code: the names must be those that it opens.
std::vector<Row> FindRows() {
  PulseConnection connection;
  std::vector<PulseApplication> applications;
  std::vector<PulseEndpoint> sinks;
  if (FAILED(connection.Open()) || FAILED(ListApplications(connection, &applications)) ||
      FAILED(ListEndpoints(connection, eRender, &sinks)))
    return {};
  std::vector<Row> rows;
  for (PulseApplication& application : applications) {
    const auto sink = std::find_if(sinks.begin(), sinks.end(), [&](const PulseEndpoint& one) {
      return one.index == application.sink_index;
    });
    if (sink == sinks.end()) continue;
    rows.push_back({std::move(application), ToUtf8(sink->friendly_name), sink->sample_spec.rate,
                    sink->sample_spec.channels});
  }
  return rows;
}

}  // namespace

std::string ApplicationEndpoint(const std::string& application) {
  return application + std::string(kApplicationSuffix);
}

std::vector<EndpointFacts> FindApplicationFacts() {
  std::vector<EndpointFacts> facts;
  for (const Row& row : FindRows()) {
    facts.push_back({ApplicationEndpoint(row.application.name), Flow::kRender, false,
                     row.application.muted, row.Volume(), row.rate, row.channels, "",
                     row.application.paused});
  }
  return facts;
}

Device OpenApplication(const Session& session, const EndpointChoice& choice) {
  if (session.builtin()) throw Failure("the endpoints inside this program play no applications");
  const auto short_name = [](const std::string& name) {
    return Quoted(name.substr(0, name.size() - kApplicationSuffix.size()));
  };
  std::string name = *choice.name;
  std::string there;
  for (const EndpointFacts& facts : FindApplicationFacts()) {
    if (EqualIgnoringCase(facts.name, name)) name = facts.name;
    there += (there.empty() ? "; there are " : ", ") + short_name(facts.name);
  }
  const Library& library = session.functions();
  ZevraHandle handle = nullptr;
  const std::int32_t result = library.OpenDevice(&handle, ToUtf16(name).c_str(), ZEVRA_FLOW_RENDER);
  if (result >= 0) return {library, handle, name, Flow::kRender};
  if (result != ZEVRA_E_NOT_FOUND)
    throw Failure("can't open " + Quoted(name) + ": " + ResultText(result));
  throw Failure("no application named " + short_name(name) + " plays anything" +
                (there.empty() ? "; nothing plays at all" : there));
}

void PrintApplications(bool json) {
  using Json = nlohmann::ordered_json;
  Json list = Json::array();
  std::vector<std::vector<std::string>> table = {{"NAME", "PLAYS", "ON", "VOLUME"}};
  for (const Row& row : FindRows()) {
    const PulseApplication& one = row.application;
    list.push_back({{"name", one.name},
                    {"title", one.title},
                    {"endpoint", row.endpoint},
                    {"volume", row.Volume()},
                    {"muted", one.muted},
                    {"paused", one.paused}});
    table.push_back({one.name, one.title + (one.paused ? " (paused)" : ""), row.endpoint,
                     fmt::format("{:.0f} %{}", row.Volume() * 100, one.muted ? ", muted" : "")});
  }
  if (json)
    std::puts(list.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
  else if (list.empty())
    std::puts("No application plays anything.");
  else
    PrintTable(table);
}

}  // namespace zevra::command
