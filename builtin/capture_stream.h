#ifndef ZEVRA_BUILTIN_CAPTURE_STREAM_H
#define ZEVRA_BUILTIN_CAPTURE_STREAM_H

#include <memory>
#include <vector>

#include "builtin/endpoint.h"
#include "builtin/wave_format.h"

namespace zevra::builtin {

// What an endpoint records or, for loopback, plays, as packets of one period. The position follows
// from the clock, and a packet's samples are worked out when they are asked for, so that a stream
// that nobody reads costs nothing. An endpoint that plays nothing of itself has packets only while
// a render stream runs. What waits for longer than the buffer holds is lost, oldest first, and the
// packet behind the gap is flagged as a discontinuity.
//
// One thread at a time. Results are those of the client's and the service's operations.
class CaptureStream {
 public:
  // Keeps `buffer_frames`, rounded up to whole packets.
  CaptureStream(std::shared_ptr<Endpoint> endpoint, SampleKind kind, UINT32 buffer_frames);

  UINT32 BufferFrames() const;
  UINT32 Padding();
  HRESULT Start();
  HRESULT Stop();

  HRESULT NextPacketSize(UINT32* frames);
  HRESULT GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* device_position,
                    UINT64* counter_position);
  HRESULT ReleaseBuffer(UINT32 frames);

 private:
  // Leaves the oldest packet that waits in the block; false if none does.
  bool Prepare();
  void DropWhatIsGone();
  // Works the packet out; false if the endpoint plays nothing in it.
  bool Fill(std::uint64_t packet);

  const std::shared_ptr<Endpoint> endpoint_;
  const SampleKind kind_;
  const std::uint64_t buffer_packets_;
  std::vector<float> mix_;
  std::vector<BYTE> block_;
  DWORD flags_ = 0;
  bool running_ = false;
  // The block holds packet next_; the client has it.
  bool prepared_ = false;
  bool held_ = false;
  bool gap_ = false;
  // The first packet since the start, the oldest that is not released, the first not complete.
  std::uint64_t first_ = 0;
  std::uint64_t next_ = 0;
  std::uint64_t end_ = 0;
};

}  // namespace zevra::builtin

#endif
