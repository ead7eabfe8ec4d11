#ifndef ZEVRA_PLATFORM_LINUX_PULSE_ENDPOINTS_ENDPOINTS_H
#define ZEVRA_PLATFORM_LINUX_PULSE_ENDPOINTS_ENDPOINTS_H

#include <pulse/channelmap.h>
#include <pulse/def.h>
#include <pulse/sample.h>
#include <pulse/volume.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/com/core_audio.h"
#include "platform/linux/pulse/connection.h"

// Which endpoints a server has. A render endpoint is a sink, a capture endpoint a source; a sink's
// monitor is a source only in the server's book-keeping and no endpoint of its own.

namespace zevra {

inline constexpr HRESULT kEndpointNotFound = HresultFromBits(0x80070000 | ERROR_NOT_FOUND);

// What the server says of one endpoint, at one moment.
struct PulseEndpoint {
  EDataFlow flow = eRender;
  std::uint32_t index = 0;    // the server's, rising in the order in which they came up
  std::string name;           // the server's, unique among the endpoints of its flow
  std::string record_source;  // where its sound is recorded: a sink's monitor, else `name`
  // What people know it by, see FriendlyNames; empty from FindEndpoint, which sees no other.
  std::u16string friendly_name;
  pa_sample_spec sample_spec{};
  pa_channel_map channel_map{};
  pa_cvolume volume{};
  // The stream that alone is recorded, see applications.h; PA_INVALID_INDEX for the whole endpoint.
  std::uint32_t application = PA_INVALID_INDEX;
};

// All on an open connection, with its failures. They may throw for want of memory.

// Render endpoints before capture endpoints for eAll; of each the default endpoint first and the
// others in the order of their index.
HRESULT ListEndpoints(PulseConnection& connection, EDataFlow flow,
                      std::vector<PulseEndpoint>* endpoints);

// The endpoint of that name, or kEndpointNotFound. `flow` is not eAll.
HRESULT FindEndpoint(PulseConnection& connection, EDataFlow flow, const std::string& name,
                     PulseEndpoint* endpoint);

// What the server calls its default, or kEndpointNotFound: a server that has no source may name a
// monitor, which does not count. `flow` is not eAll.
HRESULT FindDefaultEndpoint(PulseConnection& connection, EDataFlow flow, PulseEndpoint* endpoint);

// Makes the client of one stream on `endpoint`, over a connection of its own; see PulseStream::Open
// for the results. Shared mode only. The loopback flag on a render endpoint records what it plays,
// behind its volume control, or what one application plays on it, in front of that; no flag plays
// on a render endpoint and records a capture endpoint. AUDCLNT_E_WRONG_ENDPOINT_TYPE for the other
// pairs. An operation waits for the server for a few seconds at most; once it or the endpoint has
// gone every operation gives AUDCLNT_E_DEVICE_INVALIDATED.
HRESULT OpenAudioClient(const PulseEndpoint& endpoint, IAudioClient** client);

}  // namespace zevra

#endif
