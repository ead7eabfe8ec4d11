#ifndef ZEVRA_BUILTIN_STREAMS_H
#define ZEVRA_BUILTIN_STREAMS_H

#include <memory>
#include <vector>

#include "builtin/endpoint.h"
#include "builtin/mixer.h"
#include "platform/com_object.h"

namespace zevra::builtin {

// The samples that a stream can be opened with, always at the endpoint's rate and channels.
enum class SampleKind { kFloat32, kInt16 };

constexpr UINT32 BytesOf(SampleKind kind) { return kind == SampleKind::kFloat32 ? 4 : 2; }

// A stream on the endpoint, not yet initialized; the caller's reference, null if there is no
// memory. Shared mode, no events, and float or 16-bit samples at the endpoint's rate and channels.
// Once the endpoint is gone every operation gives AUDCLNT_E_DEVICE_INVALIDATED.
IAudioClient* NewAudioClient(const std::shared_ptr<Endpoint>& endpoint) noexcept;

// What an endpoint records or, for loopback, plays, as packets of one period. The position follows
// from the clock. A packet's samples are computed when they are asked for, so a stream that nobody
// reads costs nothing. An endpoint without a signal of its own has packets only while a render
// stream runs. Packets that do not fit into the buffer are lost, oldest first, and the packet
// behind the gap is flagged as a discontinuity.
//
// One thread at a time.
class CaptureStream final : public ComObject<IAudioCaptureClient> {
 public:
  // Keeps `buffer_frames`, rounded up to whole packets.
  CaptureStream(std::shared_ptr<Endpoint> endpoint, SampleKind kind, UINT32 buffer_frames);

  HRESULT GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* device_position,
                    UINT64* counter_position) override;
  HRESULT ReleaseBuffer(UINT32 frames) override;
  HRESULT GetNextPacketSize(UINT32* frames) override;

  // The operations of the client.
  UINT32 BufferFrames() const;
  UINT32 Padding();
  HRESULT Start();
  HRESULT Stop();

 private:
  // Puts the oldest packet that waits into the block; false if none waits.
  bool Prepare();
  void DropOverflow();
  // Computes the packet; false if nothing plays in it.
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

// What one client plays on a render endpoint. The endpoint takes a packet's frames from the queue
// when the packet begins, so the padding falls by whole packets. A queue that runs dry plays
// silence and loses nothing that is written later.
//
// One thread at a time.
class RenderStream final : public ComObject<IAudioRenderClient> {
 public:
  RenderStream(std::shared_ptr<Endpoint> endpoint, SampleKind kind, UINT32 buffer_frames);
  ~RenderStream() override;

  HRESULT GetBuffer(UINT32 frames, BYTE** data) override;
  HRESULT ReleaseBuffer(UINT32 frames, DWORD flags) override;

  // The operations of the client.
  UINT32 BufferFrames() const { return queue_.capacity; }
  UINT32 Padding();
  HRESULT Start();
  HRESULT Stop();

 private:
  const std::shared_ptr<Endpoint> endpoint_;
  const SampleKind kind_;
  RenderQueue queue_;
  // What the client writes into, and the same as float.
  std::vector<BYTE> block_;
  std::vector<float> samples_;
  bool running_ = false;
  // Frames that the client holds, 0 while it holds none.
  UINT32 held_frames_ = 0;
};

}  // namespace zevra::builtin

#endif
