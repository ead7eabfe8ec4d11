#include "builtin/render_stream.h"

#include <utility>

namespace zevra::builtin {

RenderStream::RenderStream(std::shared_ptr<Endpoint> endpoint, SampleKind kind,
                           UINT32 buffer_frames)
    : endpoint_(std::move(endpoint)),
      kind_(kind),
      queue_(buffer_frames, endpoint_->config().channels),
      block_(queue_.ring.size() * BytesOf(kind)),
      samples_(queue_.ring.size()) {
  endpoint_->mixer().Prepare();
}

RenderStream::~RenderStream() {
  if (running_) endpoint_->mixer().Leave(queue_, endpoint_->CurrentPacket());
}

UINT32 RenderStream::Padding() {
  return endpoint_->mixer().Padding(queue_, endpoint_->CurrentPacket());
}

HRESULT RenderStream::Start() {
  if (running_) return AUDCLNT_E_NOT_STOPPED;
  endpoint_->mixer().Join(queue_, endpoint_->CurrentPacket());
  running_ = true;
  return S_OK;
}

HRESULT RenderStream::Stop() {
  if (!running_) return S_FALSE;
  endpoint_->mixer().Leave(queue_, endpoint_->CurrentPacket());
  running_ = false;
  return S_OK;
}

HRESULT RenderStream::GetBuffer(UINT32 frames, BYTE** data) {
  *data = nullptr;
  if (held_frames_ != 0) return AUDCLNT_E_OUT_OF_ORDER;
  if (frames > queue_.capacity - Padding()) return AUDCLNT_E_BUFFER_TOO_LARGE;
  held_frames_ = frames;
  *data = block_.data();
  return S_OK;
}

HRESULT RenderStream::ReleaseBuffer(UINT32 frames, DWORD flags) {
  if ((flags & ~DWORD{AUDCLNT_BUFFERFLAGS_SILENT}) != 0) return E_INVALIDARG;
  if (held_frames_ == 0) return frames == 0 ? S_OK : AUDCLNT_E_OUT_OF_ORDER;
  if (frames > held_frames_) return AUDCLNT_E_INVALID_SIZE;
  held_frames_ = 0;
  const std::span samples(samples_.data(), std::size_t{frames} * endpoint_->config().channels);
  const bool silent = (flags & AUDCLNT_BUFFERFLAGS_SILENT) != 0;
  if (!silent) FromClient(kind_, block_.data(), samples);
  endpoint_->mixer().Write(queue_, samples, silent, endpoint_->CurrentPacket());
  return S_OK;
}

}  // namespace zevra::builtin
