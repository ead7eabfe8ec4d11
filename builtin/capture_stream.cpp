#include "builtin/capture_stream.h"

#include <algorithm>
#include <utility>

namespace zevra::builtin {

CaptureStream::CaptureStream(std::shared_ptr<Endpoint> endpoint, SampleKind kind,
                             UINT32 buffer_frames)
    : endpoint_(std::move(endpoint)),
      kind_(kind),
      buffer_packets_(endpoint_->PacketsOf(buffer_frames)),
      mix_(std::size_t{endpoint_->config().packet_frames} * endpoint_->config().channels),
      block_(mix_.size() * BytesOf(kind)) {}

UINT32 CaptureStream::BufferFrames() const {
  return static_cast<UINT32>(buffer_packets_ * endpoint_->config().packet_frames);
}

UINT32 CaptureStream::Padding() {
  if (!held_ && !Prepare()) return 0;
  return static_cast<UINT32>((end_ - next_) * endpoint_->config().packet_frames);
}

HRESULT CaptureStream::Start() {
  if (running_) return AUDCLNT_E_NOT_STOPPED;
  running_ = true;
  // The packet that runs has begun without this stream.
  first_ = endpoint_->CurrentPacket() + 1;
  end_ = first_;
  return S_OK;
}

HRESULT CaptureStream::Stop() {
  if (!running_) return S_FALSE;
  end_ = std::max(end_, endpoint_->CurrentPacket());
  running_ = false;
  return S_OK;
}

HRESULT CaptureStream::NextPacketSize(UINT32* frames) {
  *frames = held_ || Prepare() ? endpoint_->config().packet_frames : 0;
  return S_OK;
}

HRESULT CaptureStream::GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* device_position,
                                 UINT64* counter_position) {
  if (held_) return AUDCLNT_E_OUT_OF_ORDER;
  *data = nullptr;
  *frames = 0;
  *flags = 0;
  if (!Prepare()) return AUDCLNT_S_BUFFER_EMPTY;
  held_ = true;
  *data = block_.data();
  *frames = endpoint_->config().packet_frames;
  *flags = flags_;
  if (device_position != nullptr) *device_position = next_ * endpoint_->config().packet_frames;
  if (counter_position != nullptr) *counter_position = endpoint_->PacketTime(next_);
  return S_OK;
}

HRESULT CaptureStream::ReleaseBuffer(UINT32 frames) {
  if (!held_) return frames == 0 ? S_OK : AUDCLNT_E_OUT_OF_ORDER;
  if (frames == 0) {
    // The packet was not taken and comes again.
    held_ = false;
    return S_OK;
  }
  if (frames != endpoint_->config().packet_frames) return AUDCLNT_E_INVALID_SIZE;
  held_ = false;
  prepared_ = false;
  gap_ = false;
  ++next_;
  return S_OK;
}

bool CaptureStream::Prepare() {
  DropWhatIsGone();
  while (!prepared_ && next_ < end_) {
    prepared_ = Fill(next_);
    if (!prepared_) {
      ++next_;
      gap_ = true;
    }
  }
  return prepared_;
}

void CaptureStream::DropWhatIsGone() {
  if (running_) end_ = std::max(end_, endpoint_->CurrentPacket());
  if (next_ < first_) {
    next_ = first_;
    prepared_ = false;
  }
  if (next_ + buffer_packets_ >= end_) return;
  next_ = end_ - buffer_packets_;
  prepared_ = false;
  gap_ = true;
}

bool CaptureStream::Fill(std::uint64_t packet) {
  const EndpointConfig& config = endpoint_->config();
  const bool plays = !endpoint_->loop().samples.empty();
  if (plays) {
    endpoint_->loop().Play(packet * config.packet_frames, config.packet_frames, config.channels,
                           mix_.data());
  } else {
    std::fill(mix_.begin(), mix_.end(), 0.0F);
  }
  Mixed mixed = Mixed::kNothing;
  if (endpoint_->mixer().InUse()) mixed = endpoint_->mixer().AddTo(mix_.data(), packet, end_);
  // A microphone in a quiet room still records; a speaker that nobody uses has nothing to tap.
  if (!plays && mixed == Mixed::kNothing && config.flow == eRender) return false;
  flags_ = plays || mixed == Mixed::kSound ? 0 : DWORD{AUDCLNT_BUFFERFLAGS_SILENT};
  if (gap_) flags_ |= AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY;
  ToClient(kind_, mix_, block_.data());
  return true;
}

}  // namespace zevra::builtin
