#ifndef ZEVRA_DEVICE_STREAM_CONTROL_H
#define ZEVRA_DEVICE_STREAM_CONTROL_H

#include <atomic>

#include "platform/owners.h"

// The two ends of a stream's life as the caller's thread sees them: the start that waits until the
// stream runs, the stop that waits until its thread has ended. Both streams of a device object go
// through here.

namespace zevra {

// Bundles one stream's fields, and what tells its messages apart.
struct StreamFields {
  UniqueHandle& thread;
  UniqueHandle& ready_event;        // set by the stream's thread, awaited by the start
  UniqueHandle& stop_event;         // set by the stop, awaited by the stream's thread
  std::atomic<bool>& stop_pending;  // a stop was asked for and its thread may still run
  const char* member;               // name of the start in its message
};

// True while the stream's thread runs and nobody has asked it to stop.
bool IsRunning(const StreamFields& stream);

// Creates the events and the thread, which runs `entry` with `object`, and waits without a time-out
// until the thread signals ready or ends. The stream must hold nothing of an earlier run.
// 0 when the stream runs; E_FAIL when its thread ended before that; the raw Win32 code, above 0,
// when no thread could be created; a mapped code, with nothing left behind, when an event could
// not.
HRESULT StartStream(const StreamFields& stream, PTHREAD_START_ROUTINE entry, void* object);

// Asks the stream's thread to end, without waiting.
void RequestStop(const StreamFields& stream);

// Asks the stream's thread to end, waits until it has, and closes its handles. Does nothing for a
// stream that was never started. Never on the stream's own thread.
void StopStream(const StreamFields& stream);

}  // namespace zevra

#endif
