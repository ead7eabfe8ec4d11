#ifndef ZEVRA_PLATFORM_LINUX_PULSE_CAPTURE_H
#define ZEVRA_PLATFORM_LINUX_PULSE_CAPTURE_H

#include <cstddef>

#include "platform/linux/core_audio.h"
#include "platform/linux/pulse/stream.h"

namespace zevra {

// The packets of a record stream, each lying where the server's data arrived: nothing is copied.
// What the host is late for stays with the server, because nothing more is taken from the
// connection while a packet waits here. A hole in the server's data comes as zeros, in pieces,
// flagged silent and discontinuous; digital silence that the server did deliver is a packet like
// any other. The operations are IAudioCaptureClient's. One thread, the stream's.
class PulseCapture {
 public:
  // `stream` is open for recording before the first operation.
  explicit PulseCapture(PulseStream& stream) : stream_(stream) {}

  HRESULT GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* device_position,
                    UINT64* counter_position);
  HRESULT ReleaseBuffer(UINT32 frames);
  HRESULT GetNextPacketSize(UINT32* frames);

 private:
  // What the server handed over last, less what has been released.
  struct Packet {
    const void* data = nullptr;  // null in a hole
    std::size_t bytes = 0;
  };

  HRESULT Fetch();
  HRESULT Peek();
  UINT32 NextFrames() const;

  PulseStream& stream_;
  Packet packet_;
  bool handed_out_ = false;  // between GetBuffer and ReleaseBuffer
  UINT64 position_ = 0;      // frames released so far
};

}  // namespace zevra

#endif
