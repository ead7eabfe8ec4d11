#ifndef ZEVRA_PLATFORM_LINUX_PULSE_STREAM_H
#define ZEVRA_PLATFORM_LINUX_PULSE_STREAM_H

#include <pulse/stream.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/linux/pulse/connection.h"
#include "platform/linux/pulse/endpoints/endpoints.h"
#include "platform/linux/pulse/format.h"

namespace zevra {

// One stream of one endpoint over a connection of its own. The server never moves it to another
// endpoint: it ends with the endpoint. It begins corked. One thread, which also runs all of the
// connection's work inside these calls.
class PulseStream {
 public:
  PulseStream() = default;
  ~PulseStream();
  PulseStream(const PulseStream&) = delete;
  PulseStream& operator=(const PulseStream&) = delete;

  // Connects, and reads what the server says of the endpoint now. AUDCLNT_E_SERVICE_NOT_RUNNING
  // without a server, AUDCLNT_E_DEVICE_INVALIDATED if it has no such endpoint any more. Once only.
  HRESULT Open(const PulseEndpoint& endpoint);
  const PulseEndpoint& Endpoint() const { return endpoint_; }

  // What has become of the server since, for operations that ask nothing of it: S_OK or
  // AUDCLNT_E_DEVICE_INVALIDATED. Needs a successful Open.
  HRESULT PollServer();

  // Opens the stream after a successful Open. The server hands sound over every `fragment_frames`
  // and keeps some seconds of it for a host that comes late. What it hands over wakes the timer
  // that this thread arms next.
  HRESULT Record(const PulseFormat& format, UINT32 fragment_frames);
  HRESULT Play(const PulseFormat& format, UINT32 buffer_frames);

  bool IsOpen() const { return stream_ != nullptr; }
  // Needs an open stream, like all that follows.
  pa_stream* Get() const { return stream_.get(); }
  std::size_t FrameBytes() const { return frame_bytes_; }
  // What the server granted: of a record stream the frames that it keeps for a late host, of a
  // playback stream the length of its queue.
  UINT32 BufferFrames() const { return buffer_frames_; }

  // S_OK while the stream lives, else AUDCLNT_E_DEVICE_INVALIDATED.
  HRESULT State() const;
  // Handles one round of what has arrived, without waiting. False if there was nothing.
  bool Pump() { return connection_.Pump() > 0; }
  // See PulseConnection. Once drained, the stream's state and data stay as they are while nothing
  // arrives.
  bool NothingArrived() { return connection_.NothingArrived(); }
  void MarkDrained() { connection_.MarkDrained(); }

  // Gives back what pa_stream_peek handed out.
  HRESULT Drop();

  // Hands what was written to the server; see PulseConnection::Flush.
  void Flush() { connection_.Flush(); }

  // Halts the stream or lets it run, and waits for the server to have done so.
  HRESULT SetCorked(bool corked);

 private:
  struct CloseStream {
    void operator()(pa_stream* stream) const;
  };

  HRESULT Create(const char* title, const PulseFormat& format);
  HRESULT AwaitReady(int connect_result);
  UINT32 GrantedFrames(std::uint32_t pa_buffer_attr::*bytes) const;

  PulseConnection connection_;  // before the stream, which must go first
  PulseEndpoint endpoint_;
  std::unique_ptr<pa_stream, CloseStream> stream_;
  std::size_t frame_bytes_ = 0;
  UINT32 buffer_frames_ = 0;
};

}  // namespace zevra

#endif
