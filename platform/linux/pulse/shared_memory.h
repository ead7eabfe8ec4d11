#ifndef ZEVRA_PLATFORM_LINUX_PULSE_SHARED_MEMORY_H
#define ZEVRA_PLATFORM_LINUX_PULSE_SHARED_MEMORY_H

namespace zevra {

// Closes the client library's shared memory to programs that the host starts. The library opens it
// without the close-on-exec flag and, with a server that does not share memory, keeps it open as
// long as the connection. Call it right behind the making of a context. Any thread.
void KeepSharedMemoryFromChildren();

}  // namespace zevra

#endif
