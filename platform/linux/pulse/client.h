#ifndef ZEVRA_PLATFORM_LINUX_PULSE_CLIENT_H
#define ZEVRA_PLATFORM_LINUX_PULSE_CLIENT_H

#include "platform/linux/com/core_audio.h"
#include "platform/linux/pulse/endpoints.h"

namespace zevra {

// Makes the client of one stream on `endpoint`, over a connection of its own; see PulseStream::Open
// for the results. Shared mode only. The loopback flag on a render endpoint records what it plays,
// behind its volume control; no flag plays on a render endpoint and records a capture endpoint.
// AUDCLNT_E_WRONG_ENDPOINT_TYPE for the other pairs. An operation waits for the server for a few
// seconds at most; once it or the endpoint has gone every operation gives
// AUDCLNT_E_DEVICE_INVALIDATED.
HRESULT OpenAudioClient(const PulseEndpoint& endpoint, IAudioClient** client);

}  // namespace zevra

#endif
