#include "platform/linux/pulse/endpoints/endpoints.h"

#include <pulse/introspect.h>

#include <algorithm>
#include <utility>

#include "platform/linux/pulse/endpoints/names.h"
#include "platform/result.h"

namespace zevra {
namespace {

// What the callbacks of one query leave behind.
struct Answer {
  HRESULT result = S_OK;
  std::vector<PulseEndpoint> endpoints;
  std::vector<EndpointIdentity> identities;  // of the endpoints
  std::string default_sink, default_source;
};

std::string TextOrEmpty(const char* text) { return text != nullptr ? text : ""; }

// The part of a description that sinks and sources have in common.
template <class Info>
PulseEndpoint ReadCommon(const Info& info) {
  PulseEndpoint endpoint;
  endpoint.index = info.index;
  endpoint.name = TextOrEmpty(info.name);
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
  answer->identities.push_back(IdentityOf(info));
}

void AddSource(const pa_source_info& info, Answer* answer) {
  if (info.monitor_of_sink != PA_INVALID_INDEX) return;
  PulseEndpoint endpoint = ReadCommon(info);
  endpoint.flow = eCapture;
  endpoint.record_source = endpoint.name;
  answer->endpoints.push_back(std::move(endpoint));
  answer->identities.push_back(IdentityOf(info));
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

void ReadDefaults(pa_context*, const pa_server_info* info, void* user_data) {
  auto* const answer = static_cast<Answer*>(user_data);
  if (info == nullptr) return;
  const HRESULT read = NoThrow([&] {
    answer->default_sink = TextOrEmpty(info->default_sink_name);
    answer->default_source = TextOrEmpty(info->default_source_name);
    return S_OK;
  });
  if (FAILED(read)) answer->result = read;
}

HRESULT Finish(PulseConnection& connection, pa_operation* operation, const Answer& answer) {
  const HRESULT result = connection.Await(operation);
  return FAILED(result) ? result : answer.result;
}

// Both questions are on their way before the first is answered.
HRESULT AskForFlow(PulseConnection& connection, EDataFlow flow, Answer* answer) {
  pa_context* const context = connection.Context();
  pa_operation* const defaults = pa_context_get_server_info(context, ReadDefaults, answer);
  pa_operation* const endpoints =
      flow == eRender ? pa_context_get_sink_info_list(context, kCollectSink, answer)
                      : pa_context_get_source_info_list(context, kCollectSource, answer);
  const HRESULT result = connection.Await(defaults);
  const HRESULT listed = Finish(connection, endpoints, *answer);
  return FAILED(result) ? result : listed;
}

// Appends the flow's endpoints and says whether the first of them is the default.
HRESULT ListFlow(PulseConnection& connection, EDataFlow flow, std::vector<PulseEndpoint>* endpoints,
                 bool* has_default) {
  Answer answer;
  if (const HRESULT result = AskForFlow(connection, flow, &answer); FAILED(result)) return result;
  std::vector<std::u16string> names = FriendlyNames(answer.identities);
  for (std::size_t i = 0; i < names.size(); ++i)
    answer.endpoints[i].friendly_name = std::move(names[i]);
  const std::string& name = flow == eRender ? answer.default_sink : answer.default_source;
  const auto is_default = [&name](const PulseEndpoint& one) { return one.name == name; };
  std::sort(answer.endpoints.begin(), answer.endpoints.end(),
            [&](const PulseEndpoint& a, const PulseEndpoint& b) {
              return is_default(a) != is_default(b) ? is_default(a) : a.index < b.index;
            });
  *has_default = !answer.endpoints.empty() && is_default(answer.endpoints.front());
  std::move(answer.endpoints.begin(), answer.endpoints.end(), std::back_inserter(*endpoints));
  return S_OK;
}

}  // namespace

HRESULT ListEndpoints(PulseConnection& connection, EDataFlow flow,
                      std::vector<PulseEndpoint>* endpoints) {
  bool has_default = false;
  if (flow != eCapture) {
    const HRESULT result = ListFlow(connection, eRender, endpoints, &has_default);
    if (FAILED(result)) return result;
  }
  return flow != eRender ? ListFlow(connection, eCapture, endpoints, &has_default) : S_OK;
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
  std::vector<PulseEndpoint> endpoints;
  bool has_default = false;
  const HRESULT result = ListFlow(connection, flow, &endpoints, &has_default);
  if (FAILED(result)) return result;
  if (!has_default) return kEndpointNotFound;
  *endpoint = std::move(endpoints.front());
  return S_OK;
}

}  // namespace zevra
