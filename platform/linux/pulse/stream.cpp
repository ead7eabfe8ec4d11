#include "platform/linux/pulse/stream.h"

#include <pulse/operation.h>

#include <cstdint>

#include "platform/linux/pulse/endpoints/applications.h"

namespace zevra {
namespace {

constexpr std::uint32_t kServerDecides = static_cast<std::uint32_t>(-1);

// Requests for more sound come in steps of this part of the buffer: finer ones make the server wake
// up more often, coarser ones make the padding stale.
constexpr std::uint32_t kRequestsPerBuffer = 20;

void StoreSuccess(pa_stream*, int success, void* user_data) {
  *static_cast<bool*>(user_data) = success != 0;
}

}  // namespace

PulseStream::~PulseStream() = default;

void PulseStream::CloseStream::operator()(pa_stream* stream) const {
  pa_stream_disconnect(stream);
  pa_stream_unref(stream);
}

HRESULT PulseStream::Open(const PulseEndpoint& endpoint) {
  if (const HRESULT result = connection_.Open(); FAILED(result)) return result;
  const HRESULT result = ReadEndpoint(connection_, endpoint, &endpoint_);
  return result == kEndpointNotFound ? AUDCLNT_E_DEVICE_INVALIDATED : result;
}

HRESULT PulseStream::Create(const char* title, const PulseFormat& format) {
  frame_bytes_ = pa_frame_size(&format.sample_spec);
  stream_.reset(
      pa_stream_new(connection_.Context(), title, &format.sample_spec, &format.channel_map));
  if (stream_) return S_OK;
  return FAILED(connection_.State()) ? connection_.State() : AUDCLNT_E_UNSUPPORTED_FORMAT;
}

HRESULT PulseStream::Record(const PulseFormat& format, UINT32 fragment_frames) {
  if (endpoint_.record_source.empty()) return AUDCLNT_E_ENDPOINT_CREATE_FAILED;
  const bool is_loopback = endpoint_.flow == eRender;
  const HRESULT created = Create(is_loopback ? "loopback" : "recording", format);
  if (FAILED(created)) return created;
  pa_buffer_attr buffer{};
  buffer.maxlength = kServerDecides;  // the most it can
  buffer.fragsize = static_cast<std::uint32_t>(fragment_frames * frame_bytes_);
  constexpr auto kFlags = static_cast<pa_stream_flags_t>(
      PA_STREAM_START_CORKED | PA_STREAM_DONT_MOVE | PA_STREAM_ADJUST_LATENCY);
  const char* source = endpoint_.record_source.c_str();
  if (endpoint_.application != PA_INVALID_INDEX) {
    // Servers of before 2008 cannot.
    if (pa_stream_set_monitor_stream(stream_.get(), endpoint_.application) < 0)
      return AUDCLNT_E_ENDPOINT_CREATE_FAILED;
    source = nullptr;  // the server knows where the application plays
  }
  const HRESULT result =
      AwaitReady(pa_stream_connect_record(stream_.get(), source, &buffer, kFlags));
  if (FAILED(result)) return result;
  buffer_frames_ = GrantedFrames(&pa_buffer_attr::maxlength);
  OfferWakeUps(connection_.SocketWakeUps());
  return S_OK;
}

HRESULT PulseStream::Play(const PulseFormat& format, UINT32 buffer_frames) {
  if (const HRESULT created = Create("playback", format); FAILED(created)) return created;
  const auto frame_bytes = static_cast<std::uint32_t>(frame_bytes_);
  pa_buffer_attr buffer{};
  buffer.maxlength = kServerDecides;
  buffer.tlength = static_cast<std::uint32_t>(buffer_frames) * frame_bytes;
  // After running dry it goes on with the next frame that is written, instead of dropping what it
  // takes for late.
  buffer.prebuf = frame_bytes;
  buffer.minreq = buffer.tlength / kRequestsPerBuffer / frame_bytes * frame_bytes;
  // Early requests keep the queue in the stream, where the padding shows it, instead of in the
  // sink's own buffer.
  constexpr auto kFlags = static_cast<pa_stream_flags_t>(
      PA_STREAM_START_CORKED | PA_STREAM_DONT_MOVE | PA_STREAM_EARLY_REQUESTS);
  const HRESULT result = AwaitReady(pa_stream_connect_playback(
      stream_.get(), endpoint_.name.c_str(), &buffer, kFlags, nullptr, nullptr));
  if (FAILED(result)) return result;
  buffer_frames_ = GrantedFrames(&pa_buffer_attr::tlength);
  return S_OK;
}

HRESULT PulseStream::AwaitReady(int connect_result) {
  HRESULT result = connect_result < 0 ? AUDCLNT_E_ENDPOINT_CREATE_FAILED : S_OK;
  if (SUCCEEDED(result)) {
    result = connection_.WaitUntil(
        [this] { return pa_stream_get_state(stream_.get()) != PA_STREAM_CREATING; });
  }
  if (SUCCEEDED(result) && FAILED(State())) {
    // The endpoint may have gone since it was asked for; else the server refuses the stream.
    const bool gone = pa_context_errno(connection_.Context()) == PA_ERR_NOENTITY;
    result = gone ? AUDCLNT_E_DEVICE_INVALIDATED : AUDCLNT_E_ENDPOINT_CREATE_FAILED;
  }
  if (FAILED(result)) stream_.reset();
  return result;
}

UINT32 PulseStream::GrantedFrames(std::uint32_t pa_buffer_attr::*bytes) const {
  const pa_buffer_attr* const granted = pa_stream_get_buffer_attr(stream_.get());
  return granted != nullptr ? static_cast<UINT32>(granted->*bytes / frame_bytes_) : 0;
}

HRESULT PulseStream::State() const {
  if (pa_stream_get_state(stream_.get()) != PA_STREAM_READY) return AUDCLNT_E_DEVICE_INVALIDATED;
  return connection_.State();
}

HRESULT PulseStream::Drop() {
  connection_.ClearDrained();
  return pa_stream_drop(stream_.get()) < 0 ? AUDCLNT_E_DEVICE_INVALIDATED : S_OK;
}

HRESULT PulseStream::PollServer() {
  connection_.Pump();
  return IsOpen() ? State() : connection_.State();
}

HRESULT PulseStream::SetCorked(bool corked) {
  if (const HRESULT result = State(); FAILED(result)) return result;
  bool success = false;
  const HRESULT result =
      connection_.Await(pa_stream_cork(stream_.get(), corked ? 1 : 0, StoreSuccess, &success));
  if (FAILED(result)) return result;
  return success ? S_OK : AUDCLNT_E_DEVICE_INVALIDATED;
}

}  // namespace zevra
