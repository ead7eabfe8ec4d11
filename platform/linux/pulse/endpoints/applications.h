#ifndef ZEVRA_PLATFORM_LINUX_PULSE_ENDPOINTS_APPLICATIONS_H
#define ZEVRA_PLATFORM_LINUX_PULSE_ENDPOINTS_APPLICATIONS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/pulse/connection.h"
#include "platform/linux/pulse/endpoints/endpoints.h"

// What applications play, each stream by itself: a sink input in the server's words.

namespace zevra {

// What a stream's name ends in where it stands beside those of endpoints.
inline constexpr std::string_view kApplicationSuffix = " (application)";

// What the server says of one stream, at one moment.
struct PulseApplication {
  std::uint32_t index = 0;       // the server's, rising in the order in which they came up
  std::uint32_t sink_index = 0;  // of the endpoint that it plays on
  // The application's name without control characters, and with " (2)" and so on where several
  // streams are of one application.
  std::string name;
  std::string title;  // what it plays, in the application's words
  pa_cvolume volume{};
  bool muted = false;
  bool paused = false;
};

// Both on an open connection, with its failures. They may throw for want of memory.

// In the order of their index. Streams of the server's own modules are left out.
HRESULT ListApplications(PulseConnection& connection, std::vector<PulseApplication>* applications);

// What the server says now of an endpoint or, where `known` is one application's part of it, of
// that: the endpoint that it plays on now, with the application's own volume. kEndpointNotFound if
// it has gone, or if the application was moved from the sink that `known` names.
HRESULT ReadEndpoint(PulseConnection& connection, const PulseEndpoint& known, PulseEndpoint* now);

}  // namespace zevra

#endif
