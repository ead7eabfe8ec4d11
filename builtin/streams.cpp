#include "builtin/streams.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>
#include <utility>

namespace zevra::builtin {
namespace {

constexpr float kFullScale16 = 32768.0F;

// Between the mix's float samples and a client's bytes, which may stand at any address. 16-bit
// samples are rounded, and clipped at full scale. `bytes` is as long as the samples need.
void ToClient(SampleKind kind, std::span<const float> samples, BYTE* bytes) {
  if (kind == SampleKind::kFloat32) {
    std::memcpy(bytes, samples.data(), samples.size_bytes());
    return;
  }
  for (const float sample : samples) {
    const float scaled = std::clamp(sample * kFullScale16, -kFullScale16, kFullScale16 - 1);
    const auto rounded = static_cast<std::int16_t>(std::lrint(scaled));
    std::memcpy(bytes, &rounded, sizeof(rounded));
    bytes += sizeof(rounded);
  }
}

void FromClient(SampleKind kind, const BYTE* bytes, std::span<float> samples) {
  if (kind == SampleKind::kFloat32) {
    std::memcpy(samples.data(), bytes, samples.size_bytes());
    return;
  }
  for (float& sample : samples) {
    std::int16_t value = 0;
    std::memcpy(&value, bytes, sizeof(value));
    bytes += sizeof(value);
    sample = static_cast<float>(value) / kFullScale16;
  }
}

}  // namespace

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

HRESULT CaptureStream::GetNextPacketSize(UINT32* frames) {
  if (frames == nullptr) return E_POINTER;
  *frames = held_ || Prepare() ? endpoint_->config().packet_frames : 0;
  return S_OK;
}

HRESULT CaptureStream::GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* device_position,
                                 UINT64* counter_position) {
  if (data == nullptr || frames == nullptr || flags == nullptr) return E_POINTER;
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
  DropOverflow();
  while (!prepared_ && next_ < end_) {
    prepared_ = Fill(next_);
    if (!prepared_) {
      ++next_;
      gap_ = true;
    }
  }
  return prepared_;
}

void CaptureStream::DropOverflow() {
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
  const bool plays = !endpoint_->waveform().samples.empty();
  if (plays) {
    endpoint_->waveform().Play(packet * config.packet_frames, config.packet_frames, config.channels,
                               mix_.data());
  } else {
    std::fill(mix_.begin(), mix_.end(), 0.0F);
  }
  PacketMix mixed = PacketMix::kNothing;
  if (endpoint_->mixer().InUse()) mixed = endpoint_->mixer().AddTo(mix_.data(), packet, end_);
  // A microphone records silence too; a speaker that nobody uses has no packets for loopback.
  if (!plays && mixed == PacketMix::kNothing && config.flow == eRender) return false;
  flags_ = plays || mixed == PacketMix::kSound ? 0 : DWORD{AUDCLNT_BUFFERFLAGS_SILENT};
  if (gap_) flags_ |= AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY;
  ToClient(kind_, mix_, block_.data());
  return true;
}

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
  if (data == nullptr) return E_POINTER;
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
