#ifndef ZEVRA_BUILTIN_AUDIO_CLIENT_H
#define ZEVRA_BUILTIN_AUDIO_CLIENT_H

#include <memory>

#include "builtin/capture_stream.h"
#include "builtin/endpoint.h"
#include "builtin/render_stream.h"
#include "platform/com_object.h"

namespace zevra::builtin {

// A stream on an endpoint of the machine. Shared mode, no events, and float or 16-bit samples at
// the endpoint's rate and channels; what it captures or plays is decided by the endpoint and the
// loopback flag. Once the endpoint is gone every operation gives AUDCLNT_E_DEVICE_INVALIDATED.
class AudioClient final : public ComObject<IAudioClient> {
 public:
  explicit AudioClient(std::shared_ptr<Endpoint> endpoint);

  HRESULT Initialize(AUDCLNT_SHAREMODE mode, DWORD flags, REFERENCE_TIME duration,
                     REFERENCE_TIME periodicity, const WAVEFORMATEX* format,
                     const GUID* session) override;
  HRESULT GetBufferSize(UINT32* frames) override;
  HRESULT GetCurrentPadding(UINT32* frames) override;
  HRESULT IsFormatSupported(AUDCLNT_SHAREMODE mode, const WAVEFORMATEX* format,
                            WAVEFORMATEX** closest) override;
  HRESULT GetMixFormat(WAVEFORMATEX** format) override;
  HRESULT GetDevicePeriod(REFERENCE_TIME* default_period, REFERENCE_TIME* minimum_period) override;
  HRESULT Start() override;
  HRESULT Stop() override;
  HRESULT GetService(REFIID iid, void** service) override;

 private:
  // S_OK for an endpoint that is there and a stream that has been made.
  HRESULT Ready() const;
  UINT32 BufferFrames(REFERENCE_TIME duration, REFERENCE_TIME least) const;

  const std::shared_ptr<Endpoint> endpoint_;
  // One of the two, from Initialize on.
  std::shared_ptr<CaptureStream> capture_;
  std::shared_ptr<RenderStream> render_;
};

}  // namespace zevra::builtin

#endif
