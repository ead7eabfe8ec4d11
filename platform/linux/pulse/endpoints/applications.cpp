#include "platform/linux/pulse/endpoints/applications.h"

#include <pulse/introspect.h>
#include <pulse/proplist.h>

#include <algorithm>
#include <utility>

#include "platform/linux/unicode.h"
#include "platform/result.h"
#include "platform/text.h"

namespace zevra {
namespace {

struct Answer {
  HRESULT result = S_OK;
  std::vector<PulseApplication> applications;
};

// The first of the properties that says anything. A stream's name is a stranger's text and may end
// on a terminal, so control characters, which UTF-8 writes in one byte or behind 0xC2, become
// spaces.
std::string TextOf(const pa_proplist* properties, std::initializer_list<const char*> keys) {
  std::string text;
  for (const char* const key : keys) {
    const char* const value = pa_proplist_gets(properties, key);
    if (value != nullptr && *value != '\0') text = value;
    if (!text.empty()) break;
  }
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x20 || byte == 0x7F) text[at] = ' ';
    if (byte == 0xC2 && at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xA0)
      text.replace(at, 2, " ");
  }
  return text;
}

PulseApplication ReadApplication(const pa_sink_input_info& info) {
  PulseApplication application;
  application.index = info.index;
  application.sink_index = info.sink;
  application.name =
      TextOf(info.proplist,
             {PA_PROP_APPLICATION_NAME, PA_PROP_APPLICATION_PROCESS_BINARY, PA_PROP_MEDIA_NAME});
  application.title = TextOf(info.proplist, {PA_PROP_MEDIA_TITLE, PA_PROP_MEDIA_NAME});
  application.volume = info.volume;
  if (info.has_volume == 0) pa_cvolume_set(&application.volume, 1, PA_VOLUME_NORM);
  application.muted = info.mute != 0;
  application.paused = info.corked != 0;
  return application;
}

// Called for each stream, and once more at the end without one.
void Collect(pa_context*, const pa_sink_input_info* info, int, void* user_data) {
  auto* const answer = static_cast<Answer*>(user_data);
  if (info == nullptr || info->client == PA_INVALID_INDEX) return;
  const HRESULT added = NoThrow([&] {
    answer->applications.push_back(ReadApplication(*info));
    return S_OK;
  });
  if (FAILED(added)) answer->result = added;
}

HRESULT Finish(PulseConnection& connection, pa_operation* operation, const Answer& answer) {
  const HRESULT result = connection.Await(operation);
  return FAILED(result) ? result : answer.result;
}

// The oldest stream of an application keeps the plain name. Names are looked up without case.
void MakeUnique(std::vector<PulseApplication>& applications) {
  std::vector<std::u16string> taken;
  for (PulseApplication& application : applications) {
    const auto is_taken = [&](const std::u16string& other) {
      return EqualIgnoringCase(other.c_str(), Utf16FromUtf8(application.name).c_str());
    };
    const std::string name = application.name;
    for (int number = 2; std::any_of(taken.begin(), taken.end(), is_taken); ++number)
      application.name = name + " (" + std::to_string(number) + ")";
    taken.push_back(Utf16FromUtf8(application.name));
  }
}

}  // namespace

HRESULT ListApplications(PulseConnection& connection, std::vector<PulseApplication>* applications) {
  Answer answer;
  const HRESULT result =
      Finish(connection,
             pa_context_get_sink_input_info_list(connection.Context(), Collect, &answer), answer);
  if (FAILED(result)) return result;
  std::sort(answer.applications.begin(), answer.applications.end(),
            [](const PulseApplication& a, const PulseApplication& b) { return a.index < b.index; });
  MakeUnique(answer.applications);
  *applications = std::move(answer.applications);
  return S_OK;
}

HRESULT ReadEndpoint(PulseConnection& connection, const PulseEndpoint& known, PulseEndpoint* now) {
  if (known.application == PA_INVALID_INDEX)
    return FindEndpoint(connection, known.flow, known.name, now);
  Answer answer;
  HRESULT result = Finish(
      connection,
      pa_context_get_sink_input_info(connection.Context(), known.application, Collect, &answer),
      answer);
  if (FAILED(result)) return result;
  if (answer.applications.empty()) return kEndpointNotFound;
  const PulseApplication& application = answer.applications.front();
  std::vector<PulseEndpoint> sinks;
  result = ListEndpoints(connection, eRender, &sinks);
  if (FAILED(result)) return result;
  const auto sink = std::find_if(sinks.begin(), sinks.end(), [&](const PulseEndpoint& one) {
    return one.index == application.sink_index;
  });
  // A capture may stay behind when its application is moved, so the host has to learn of it.
  if (sink == sinks.end() || (!known.name.empty() && sink->name != known.name))
    return kEndpointNotFound;
  *now = std::move(*sink);
  now->friendly_name = known.friendly_name;
  now->application = known.application;
  now->volume = application.volume;
  return S_OK;
}

}  // namespace zevra
