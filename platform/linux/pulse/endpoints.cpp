#include "platform/linux/pulse/endpoints.h"

#include <pulse/introspect.h>

#include <algorithm>
#include <utility>

#include "platform/result.h"

namespace zevra {
namespace {

// What the callbacks of one query leave behind.
struct Answer {
  HRESULT result = S_OK;
  std::vector<PulseEndpoint> endpoints;
};

std::string TextOrEmpty(const char* text) { return text != nullptr ? text : ""; }

// The part of a description that sinks and sources have in common.
template <class Info>
PulseEndpoint ReadCommon(const Info& info) {
  PulseEndpoint endpoint;
  endpoint.index = info.index;
  endpoint.name = TextOrEmpty(info.name);
  endpoint.description = TextOrEmpty(info.description);
  endpoint.sample_spec = info.sample_spec;
  endpoint.channel_map = info.channel_map;
  endpoint.volume = info.volume;
  return endpoint;
}

void AddSink(const pa_sink_info& info, Answer* answer) {
  PulseEndpoint endpoint = ReadCommon(info);
  endpoint.flow = eRender;
  endpoint.record_source = TextOrEmpty(info.monitor_source_name);
  answer->endpoints.push_back(std::move(endpoint));
}

void AddSource(const pa_source_info& info, Answer* answer) {
  if (info.monitor_of_sink != PA_INVALID_INDEX) return;
  PulseEndpoint endpoint = ReadCommon(info);
  endpoint.flow = eCapture;
  endpoint.record_source = endpoint.name;
  answer->endpoints.push_back(std::move(endpoint));
}

// Called for each item, and once more at the end without one.
template <class Info, void (*kAdd)(const Info&, Answer*)>
void Collect(pa_context*, const Info* info, int, void* user_data) {
  auto* const answer = static_cast<Answer*>(user_data);
  if (info == nullptr) return;
  const HRESULT added = NoThrow([&] {
    kAdd(*info, answer);
    return S_OK;
  });
  if (FAILED(added)) answer->result = added;
}

constexpr auto kCollectSink = Collect<pa_sink_info, AddSink>;
constexpr auto kCollectSource = Collect<pa_source_info, AddSource>;

HRESULT Finish(PulseConnection& connection, pa_operation* operation, const Answer& answer) {
  const HRESULT result = connection.Await(operation);
  return FAILED(result) ? result : answer.result;
}

HRESULT ListFlow(PulseConnection& connection, EDataFlow flow,
                 std::vector<PulseEndpoint>* endpoints) {
  Answer answer;
  pa_context* const context = connection.Context();
  pa_operation* const operation =
      flow == eRender ? pa_context_get_sink_info_list(context, kCollectSink, &answer)
                      : pa_context_get_source_info_list(context, kCollectSource, &answer);
  if (const HRESULT result = Finish(connection, operation, answer); FAILED(result)) return result;
  std::sort(answer.endpoints.begin(), answer.endpoints.end(),
            [](const PulseEndpoint& a, const PulseEndpoint& b) { return a.index < b.index; });
  std::move(answer.endpoints.begin(), answer.endpoints.end(), std::back_inserter(*endpoints));
  return S_OK;
}

struct Defaults {
  HRESULT result = S_OK;
  std::string sink, source;
};

void ReadDefaults(pa_context*, const pa_server_info* info, void* user_data) {
  auto* const defaults = static_cast<Defaults*>(user_data);
  if (info == nullptr) return;
  defaults->result = NoThrow([&] {
    defaults->sink = TextOrEmpty(info->default_sink_name);
    defaults->source = TextOrEmpty(info->default_source_name);
    return S_OK;
  });
}

}  // namespace

HRESULT ListEndpoints(PulseConnection& connection, EDataFlow flow,
                      std::vector<PulseEndpoint>* endpoints) {
  if (flow != eCapture) {
    const HRESULT result = ListFlow(connection, eRender, endpoints);
    if (FAILED(result)) return result;
  }
  return flow != eRender ? ListFlow(connection, eCapture, endpoints) : S_OK;
}

HRESULT FindEndpoint(PulseConnection& connection, EDataFlow flow, const std::string& name,
                     PulseEndpoint* endpoint) {
  Answer answer;
  pa_context* const context = connection.Context();
  pa_operation* const operation =
      flow == eRender
          ? pa_context_get_sink_info_by_name(context, name.c_str(), kCollectSink, &answer)
          : pa_context_get_source_info_by_name(context, name.c_str(), kCollectSource, &answer);
  if (const HRESULT result = Finish(connection, operation, answer); FAILED(result)) return result;
  if (answer.endpoints.empty()) return kEndpointNotFound;
  *endpoint = std::move(answer.endpoints.front());
  return S_OK;
}

HRESULT FindDefaultEndpoint(PulseConnection& connection, EDataFlow flow, PulseEndpoint* endpoint) {
  Defaults defaults;
  const HRESULT result =
      connection.Await(pa_context_get_server_info(connection.Context(), ReadDefaults, &defaults));
  if (FAILED(result)) return result;
  if (FAILED(defaults.result)) return defaults.result;
  const std::string& name = flow == eRender ? defaults.sink : defaults.source;
  // A server without a default may answer with the placeholder for one.
  if (name.empty() || name.front() == '@') return kEndpointNotFound;
  return FindEndpoint(connection, flow, name, endpoint);
}

}  // namespace zevra
