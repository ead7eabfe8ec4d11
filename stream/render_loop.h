#ifndef ZEVRA_STREAM_RENDER_LOOP_H
#define ZEVRA_STREAM_RENDER_LOOP_H

#include <atomic>

#include "platform/api.h"
#include "platform/owners.h"

namespace zevra {

// True once any handle's silent stream was told to stop, until the next one starts. Written by the
// threads that start and stop, read by every render thread once a fill.
extern std::atomic<bool> play_stop_requested;

// What the render thread is given. All of it outlives the thread.
struct RenderRequest {
  IMMDevice* device;
  HANDLE ready_event;  // set by the loop once the stream runs; the starter waits for it
  HANDLE stop_event;   // set by the stop; the loop waits for it
  // The stop of this very stream. The flag of the process alone would not do: a start on another
  // handle clears it, and a stream that slept through that would never end.
  const std::atomic<bool>* stop_pending;
};

// One stream of silence: fills the endpoint's buffer with zeros until a stop. Made, run and
// destroyed on the render thread. The members stand in the reverse order of the clean-up.
class RenderLoop {
 public:
  explicit RenderLoop(const RenderRequest& request) : request_(request) {}
  ~RenderLoop();
  RenderLoop(const RenderLoop&) = delete;
  RenderLoop& operator=(const RenderLoop&) = delete;

  // Gives the result of the last call after a stop, else the code of what failed. Writes its own
  // log lines.
  HRESULT Run();

 private:
  HRESULT Start();
  HRESULT OpenStream();
  HRESULT KeepFilled();
  HRESULT Fill(UINT32 frames);
  HRESULT WaitForStop();
  DWORD PauseMilliseconds() const;
  bool StopAsked() const;

  const RenderRequest request_;
  TaskMemory<WAVEFORMATEX> format_;
  ComPtr<IAudioClient> audio_client_ptr_;
  ComPtr<IAudioRenderClient> pRenderClient_;
  WaitableTimer timer_;  // never armed
  UINT32 buffer_frames_ = 0;
  DWORD buffer_flags_ = 0;
  bool started_ = false;
};

}  // namespace zevra

#endif
