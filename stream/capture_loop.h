#ifndef ZEVRA_STREAM_CAPTURE_LOOP_H
#define ZEVRA_STREAM_CAPTURE_LOOP_H

#include "platform/api.h"
#include "platform/owners.h"
#include "stream/conversion.h"
#include "zevra/zevra.h"

namespace zevra {

// What the capture thread is given. All of it outlives the thread; only `callback` is looked at
// again at every packet.
struct CaptureRequest {
  IMMDevice* device;
  DWORD stream_flags;  // goes to IAudioClient::Initialize as it is
  ZevraAudioFormat target_format;
  HANDLE ready_event;  // set by the loop once the stream runs; the starter waits for it
  HANDLE stop_event;   // set by the stop; the loop waits for it
  const ZevraCaptureCallback* callback;
};

// One capture from first to last: opens the stream, takes every packet, converts it and hands it to
// the callback until it is told to stop. Made, run and destroyed on the capture thread. The members
// stand in the reverse order of the clean-up.
class CaptureLoop {
 public:
  explicit CaptureLoop(const CaptureRequest& request) : request_(request) {}
  ~CaptureLoop();
  CaptureLoop(const CaptureLoop&) = delete;
  CaptureLoop& operator=(const CaptureLoop&) = delete;

  // Gives the result of IAudioClient::Stop after a clean stop, else the code of what failed. Writes
  // its own log lines.
  HRESULT Run();

 private:
  HRESULT Start();
  HRESULT OpenFormat();
  HRESULT InitializeStream();
  HRESULT PrepareThread();
  HRESULT TakePackets();
  HRESULT DeliverPacket();
  HRESULT RunUntilStop();
  HRESULT Stop();

  const CaptureRequest request_;
  ComApartment apartment_;
  TaskMemory<WAVEFORMATEX> closest_format_;
  TaskMemory<WAVEFORMATEX> mix_format_;
  const WAVEFORMATEX* format_ = nullptr;  // the one in force: the mix format or the closest one
  WORD frame_bytes_ = 0;
  REFERENCE_TIME default_period_ = 0;
  ZevraAudioFormat source_format_{};
  ComPtr<IAudioClient> audio_client_ptr_;
  ComPtr<IAudioCaptureClient> audio_capture_ptr_;
  WaitableTimer timer_;
  ZevraConversionContext conversion_;
  ZevraConvertedBuffer converted_;
  bool started_ = false;
};

}  // namespace zevra

#endif
