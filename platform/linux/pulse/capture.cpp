#include "platform/linux/pulse/capture.h"

#include <pulse/rtclock.h>
#include <pulse/stream.h>

#include <algorithm>
#include <array>

namespace zevra {
namespace {

// Stands for the server's missing data in every stream; never written. All sample types that a
// stream can have are zero in silence.
alignas(32) std::array<BYTE, 16384> hole_zeros{};

}  // namespace

// Makes `packet_` the oldest data that the server has handed over, if any.
HRESULT PulseCapture::Peek() {
  const void* data = nullptr;
  std::size_t bytes = 0;
  if (pa_stream_peek(stream_.Get(), &data, &bytes) < 0) return AUDCLNT_E_DEVICE_INVALIDATED;
  if (bytes != 0 && bytes < stream_.FrameBytes()) return stream_.Drop();  // no sound
  packet_ = {data, bytes};
  return S_OK;
}

// Fills `packet_` if it is empty and there is anything to fill it with.
HRESULT PulseCapture::Fetch() {
  if (packet_.bytes != 0 || stream_.IsQuiet()) return S_OK;
  do {
    if (const HRESULT result = Peek(); FAILED(result)) return result;
    if (packet_.bytes != 0) return S_OK;
  } while (stream_.Pump());
  const HRESULT result = stream_.State();
  if (SUCCEEDED(result)) stream_.Settle();
  return result;
}

UINT32 PulseCapture::NextFrames() const {
  const std::size_t most = packet_.data != nullptr ? packet_.bytes : hole_zeros.size();
  return static_cast<UINT32>(std::min(packet_.bytes, most) / stream_.FrameBytes());
}

HRESULT PulseCapture::GetNextPacketSize(UINT32* frames) {
  if (frames == nullptr) return E_POINTER;
  *frames = 0;
  if (const HRESULT result = Fetch(); FAILED(result)) return result;
  *frames = NextFrames();
  return S_OK;
}

HRESULT PulseCapture::GetBuffer(BYTE** data, UINT32* frames, DWORD* flags, UINT64* device_position,
                                UINT64* counter_position) {
  if (data == nullptr || frames == nullptr || flags == nullptr) return E_POINTER;
  *data = nullptr;
  *frames = 0;
  *flags = 0;
  if (handed_out_) return AUDCLNT_E_OUT_OF_ORDER;
  if (const HRESULT result = Fetch(); FAILED(result)) return result;
  if (packet_.bytes == 0) return AUDCLNT_S_BUFFER_EMPTY;
  const bool is_hole = packet_.data == nullptr;
  // The interface hands out writable bytes; a host has no reason to write them.
  *data = is_hole ? hole_zeros.data() : static_cast<BYTE*>(const_cast<void*>(packet_.data));
  *frames = NextFrames();
  if (is_hole) *flags = AUDCLNT_BUFFERFLAGS_SILENT | AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY;
  if (device_position != nullptr) *device_position = position_;
  if (counter_position != nullptr) *counter_position = pa_rtclock_now() * 10;
  handed_out_ = true;
  return S_OK;
}

HRESULT PulseCapture::ReleaseBuffer(UINT32 frames) {
  if (!handed_out_) return frames == 0 ? S_OK : AUDCLNT_E_OUT_OF_ORDER;
  // A packet goes as a whole or, with 0, comes again.
  const UINT32 packet_frames = NextFrames();
  if (frames != 0 && frames != packet_frames) return AUDCLNT_E_INVALID_SIZE;
  handed_out_ = false;
  if (frames == 0) return S_OK;
  position_ += frames;
  const std::size_t bytes = frames * stream_.FrameBytes();
  if (packet_.data == nullptr && packet_.bytes - bytes >= stream_.FrameBytes()) {
    packet_.bytes -= bytes;
    return S_OK;
  }
  packet_ = {};
  return stream_.Drop();
}

}  // namespace zevra
