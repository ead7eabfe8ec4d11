#ifndef ZEVRA_PLATFORM_LINUX_PULSE_CLIENT_H
#define ZEVRA_PLATFORM_LINUX_PULSE_CLIENT_H

#include <string>

#include "platform/com_object.h"
#include "platform/linux/pulse/capture.h"
#include "platform/linux/pulse/render.h"
#include "platform/linux/pulse/stream.h"

namespace zevra {

// A stream on one endpoint of the sound server. Shared mode only. The loopback flag on a render
// endpoint records what it plays, behind its volume control; no flag plays on a render endpoint and
// records a capture endpoint. AUDCLNT_E_WRONG_ENDPOINT_TYPE for the other pairs. An operation waits
// for the server for a few seconds at most; once it or the endpoint has gone every operation gives
// AUDCLNT_E_DEVICE_INVALIDATED.
class PulseAudioClient final : public ComObject<IAudioClient> {
 public:
  // Connects to the endpoint; call it once, first. See PulseStream::Open.
  HRESULT Open(EDataFlow flow, const std::string& name) { return stream_.Open(flow, name); }

  HRESULT Initialize(AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME duration,
                     REFERENCE_TIME periodicity, const WAVEFORMATEX* format,
                     const GUID* session) override;
  // Of a render stream its queue, of a capture stream what the server keeps for a late host.
  HRESULT GetBufferSize(UINT32* frames) override;
  // Of a capture stream the frames of its next packet.
  HRESULT GetCurrentPadding(UINT32* frames) override;
  HRESULT IsFormatSupported(AUDCLNT_SHAREMODE mode, const WAVEFORMATEX* format,
                            WAVEFORMATEX** closest) override;
  HRESULT GetMixFormat(WAVEFORMATEX** format) override;
  HRESULT GetDevicePeriod(REFERENCE_TIME* default_period, REFERENCE_TIME* minimum_period) override;
  HRESULT Start() override;
  HRESULT Stop() override;
  HRESULT GetService(REFIID iid, void** service) override;

 private:
  PulseStream stream_;
  PulseCapture capture_{stream_};
  PulseRender render_{stream_};
  bool is_render_ = false;  // what the initialised stream does
  bool running_ = false;
};

}  // namespace zevra

#endif
