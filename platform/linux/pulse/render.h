#ifndef ZEVRA_PLATFORM_LINUX_PULSE_RENDER_H
#define ZEVRA_PLATFORM_LINUX_PULSE_RENDER_H

#include <memory>

#include "platform/linux/core_audio.h"
#include "platform/linux/pulse/stream.h"

namespace zevra {

// The queue of a playback stream. A block that fits one of the server's memory blocks is written
// there at once; a larger one is gathered here and handed over in pieces at its release. The
// operations are IAudioRenderClient's and IAudioClient's. One thread, the stream's.
class PulseRender {
 public:
  explicit PulseRender(PulseStream& stream) : stream_(stream) {}

  // Call it when `stream` has been opened for playing, before the first operation.
  HRESULT Prepare();

  HRESULT GetBuffer(UINT32 frames, BYTE** data);
  HRESULT ReleaseBuffer(UINT32 frames, DWORD flags);
  HRESULT GetCurrentPadding(UINT32* frames);

 private:
  PulseStream& stream_;
  std::unique_ptr<BYTE[]> gather_;  // room for the whole queue
  BYTE* block_ = nullptr;           // between GetBuffer and ReleaseBuffer
  UINT32 block_frames_ = 0;
};

}  // namespace zevra

#endif
