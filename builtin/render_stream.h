#ifndef ZEVRA_BUILTIN_RENDER_STREAM_H
#define ZEVRA_BUILTIN_RENDER_STREAM_H

#include <memory>
#include <vector>

#include "builtin/endpoint.h"
#include "builtin/wave_format.h"

namespace zevra::builtin {

// What one client plays on a render endpoint. The endpoint takes a packet's frames off the queue
// when the packet begins, so the padding falls by whole packets. A queue that runs dry plays
// silence and loses nothing that is written later.
//
// One thread at a time. Results are those of the client's and the service's operations.
class RenderStream {
 public:
  RenderStream(std::shared_ptr<Endpoint> endpoint, SampleKind kind, UINT32 buffer_frames);
  ~RenderStream();
  RenderStream(const RenderStream&) = delete;
  RenderStream& operator=(const RenderStream&) = delete;

  UINT32 BufferFrames() const { return queue_.capacity; }
  UINT32 Padding();
  HRESULT Start();
  HRESULT Stop();

  HRESULT GetBuffer(UINT32 frames, BYTE** data);
  HRESULT ReleaseBuffer(UINT32 frames, DWORD flags);

 private:
  const std::shared_ptr<Endpoint> endpoint_;
  const SampleKind kind_;
  RenderQueue queue_;
  // What the client writes into, and the same as float.
  std::vector<BYTE> block_;
  std::vector<float> samples_;
  bool running_ = false;
  // Frames that the client has room for, 0 while it has none.
  UINT32 held_frames_ = 0;
};

}  // namespace zevra::builtin

#endif
