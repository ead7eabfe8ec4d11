#ifndef ZEVRA_DEVICE_ZEVRA_IMPL_H
#define ZEVRA_DEVICE_ZEVRA_IMPL_H

#include <atomic>
#include <cstdint>

#include "device/stream_control.h"
#include "platform/api.h"
#include "platform/owners.h"
#include "zevra/zevra.h"

// The device object behind a handle: one opened endpoint and up to two independent streams, a
// capture and a silent render. One thread at a time drives an object. The stream threads read its
// fields, which are written before a thread starts and do not change while it runs.
//
// Every member but `getVolume` and the two thread bodies opens a trace scope of its own name.
struct ZevraImpl {
  ZevraImpl();
  // Gives the endpoint up. No stream may run any more.
  ~ZevraImpl() = default;
  ZevraImpl(const ZevraImpl&) = delete;
  ZevraImpl& operator=(const ZevraImpl&) = delete;

  // Finds the endpoint: the default one of `data_flow` for a null name, else the one of that name.
  // On a new object only, on a thread with COM. A failure may leave `device` set.
  HRESULT OpenDevice(LPCWSTR name, std::uint32_t data_flow);
  HRESULT GetDefaultDevice(std::uint32_t data_flow);
  HRESULT GetSpecifyDevice(LPCWSTR name, std::uint32_t data_flow);

  // Stops what still runs and gives the endpoint up. The object is freed next.
  void CloseDevice();
  // As a host closes it: CloseDevice and free, or, on the object's own capture thread, both of
  // them once that thread is done with it.
  static void Close(ZevraImpl* object);

  // See ZevraStartCapture and ZevraStartPlay; the format must not be null.
  HRESULT StartCapture(const ZevraAudioFormat* format, ZevraCaptureCallback callback,
                       void* context);
  HRESULT StartPlay();
  void StopCapture();
  void StopPlay();

  // The endpoint's master volume, 0.0 to 1.0, written only on success. Any thread.
  HRESULT getVolume(float* volume) const;

  // The bodies of the two stream threads; each gives the thread's exit code.
  HRESULT LoopBackCapture();
  HRESULT LoopBackPlay();

  ZevraCaptureCallback capture_callback = nullptr;
  void* callback_context = nullptr;  // held, never passed on
  zevra::ComPtr<IMMDevice> device;
  zevra::UniqueHandle capture_thread;
  zevra::UniqueHandle capture_ready_event;
  zevra::UniqueHandle capture_stop_event;
  ZevraAudioFormat target_format{};
  DWORD stream_flags = 0;  // AUDCLNT_STREAMFLAGS_LOOPBACK or 0, for IAudioClient::Initialize
  zevra::UniqueHandle play_thread;
  zevra::UniqueHandle play_ready_event;
  zevra::UniqueHandle play_stop_event;

 private:
  // StartCapture and the capture thread each hold a reference; true if this dropped the last. The
  // callback may close the handle before StartCapture has returned.
  bool DropReference() { return capture_references_.fetch_sub(1, std::memory_order_acq_rel) == 1; }
  // True inside the object's own callback.
  bool OnCaptureThread() const;
  static DWORD CaptureThread(void* argument);
  static DWORD PlayThread(void* argument);
  zevra::StreamFields CaptureFields();
  zevra::StreamFields PlayFields();

  // Set where a stop is asked for, so that a start can tell a stream that is on its way out from
  // one that runs, and so that the stop of one silent stream cannot be lost to another's start.
  std::atomic<bool> capture_stop_pending_{false};
  std::atomic<bool> play_stop_pending_{false};
  // The thread that the capture runs on, 0 for none. The handle cannot tell: the callback may run
  // before the start has stored it.
  std::atomic<std::uint32_t> capture_thread_id_{0};
  // The host closed the object from inside its callback. Only the capture thread touches it.
  bool close_after_capture_ = false;
  bool holds_apartment_ = false;  // for that close, on the same thread
  // After a close from inside the callback, the last of them frees the object.
  std::atomic<int> capture_references_{0};
};

namespace zevra {

// Fills `list` (not null) with the names of the active endpoints of `flow`, at most 8, and sets its
// count; no other byte is written. The result is that of the last platform call, so the count is
// right also beside a failure. On a thread with COM.
HRESULT ListDevices(EDataFlow flow, ZevraDeviceList* list);

}  // namespace zevra

#endif
