#include "platform/linux/pulse/render.h"

#include <pulse/stream.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

namespace zevra {

HRESULT PulseRender::Prepare() {
  gather_.reset(new (std::nothrow) BYTE[stream_.BufferFrames() * stream_.FrameBytes()]);
  return gather_ ? S_OK : E_OUTOFMEMORY;
}

// The server asks for what has left the queue; what it has asked for and not got yet is room.
HRESULT PulseRender::GetCurrentPadding(UINT32* frames) {
  while (stream_.Pump()) {
  }
  if (const HRESULT result = stream_.State(); FAILED(result)) return result;
  const std::size_t room = pa_stream_writable_size(stream_.Get());
  if (room == static_cast<std::size_t>(-1)) return AUDCLNT_E_DEVICE_INVALIDATED;
  // After it has run dry it may ask for more than the queue holds.
  const std::size_t room_frames =
      std::min<std::size_t>(room / stream_.FrameBytes(), stream_.BufferFrames());
  *frames = stream_.BufferFrames() - static_cast<UINT32>(room_frames);
  return S_OK;
}

HRESULT PulseRender::GetBuffer(UINT32 frames, BYTE** data) {
  if (data == nullptr) return E_POINTER;
  *data = nullptr;
  if (block_ != nullptr) return AUDCLNT_E_OUT_OF_ORDER;
  UINT32 queued = 0;
  if (const HRESULT result = GetCurrentPadding(&queued); FAILED(result)) return result;
  if (frames > stream_.BufferFrames() - queued) return AUDCLNT_E_BUFFER_TOO_LARGE;

  block_ = gather_.get();
  block_frames_ = frames;
  const std::size_t bytes = frames * stream_.FrameBytes();
  void* server_block = nullptr;
  std::size_t server_bytes = bytes;
  if (bytes != 0 && pa_stream_begin_write(stream_.Get(), &server_block, &server_bytes) == 0) {
    if (server_bytes >= bytes)
      block_ = static_cast<BYTE*>(server_block);
    else
      pa_stream_cancel_write(stream_.Get());
  }
  *data = block_;
  return S_OK;
}

HRESULT PulseRender::ReleaseBuffer(UINT32 frames, DWORD flags) {
  if (block_ == nullptr) return frames == 0 ? S_OK : AUDCLNT_E_OUT_OF_ORDER;
  if (frames > block_frames_) return AUDCLNT_E_INVALID_SIZE;
  if ((flags & ~AUDCLNT_BUFFERFLAGS_SILENT) != 0) return E_INVALIDARG;
  BYTE* const block = std::exchange(block_, nullptr);
  if (frames == 0) {
    if (block != gather_.get()) pa_stream_cancel_write(stream_.Get());
    return stream_.State();
  }
  const std::size_t bytes = frames * stream_.FrameBytes();
  // All sample types that a stream can have are zero in silence.
  if (flags != 0) std::memset(block, 0, bytes);
  if (pa_stream_write(stream_.Get(), block, bytes, nullptr, 0, PA_SEEK_RELATIVE) < 0)
    return AUDCLNT_E_DEVICE_INVALIDATED;
  stream_.Flush();
  return stream_.State();
}

}  // namespace zevra
