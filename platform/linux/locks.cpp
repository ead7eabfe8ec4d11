#include "platform/locks.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "platform/clock.h"

namespace zevra {

struct CriticalSection {
  pthread_mutex_t mutex;
};

// The lock between processes is the kernel's on a file in shared memory: it goes with its holder,
// however that ends, and knows no ids, which say nothing across the namespaces of two containers.
struct NamedMutex {
  std::string file;     // empty for a mutex without a name
  int descriptor = -1;  // -1 where there is no file: then the threads of this process take turns
  int depth = 0;        // guarded by `front`
};

namespace {

void InitRecursive(pthread_mutex_t& mutex, int robustness) {
  pthread_mutexattr_t attributes;
  ::pthread_mutexattr_init(&attributes);
  ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  ::pthread_mutexattr_setrobust(&attributes, robustness);
  ::pthread_mutex_init(&mutex, &attributes);
  ::pthread_mutexattr_destroy(&attributes);
}

// The lock of this process in front of all its named mutexes; only one name is in use.
struct Front {
  Front() {
    InitRecursive(mutex, PTHREAD_MUTEX_ROBUST);
    ::pthread_atfork(nullptr, nullptr, AfterFork);
  }
  static void AfterFork();

  pthread_mutex_t mutex{};
  NamedMutex* held = nullptr;  // the one that was taken first
};

Front& FrontLock() {
  static Front& front = *new Front;  // never destroyed: a thread may log while the process ends
  return front;
}

// A child has no thread that could give back what another thread of its parent held. Its copy of
// the descriptor would keep the file locked beyond the parent's end.
void Front::AfterFork() {
  Front& front = FrontLock();
  if (front.held != nullptr) {
    if (front.held->descriptor >= 0) ::close(front.held->descriptor);
    front.held->descriptor = -1;
    front.held->depth = 0;
    front.held = nullptr;
  }
  InitRecursive(front.mutex, PTHREAD_MUTEX_ROBUST);
}

// The descriptor of the user's own file; -1 with the error's code if there is none or it is not
// ours to trust, being somebody else's under our name.
int OpenLockFile(const std::string& name, int& error) {
  const int descriptor =
      ::shm_open(name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
  struct stat status {};
  const bool known = descriptor >= 0 && ::fstat(descriptor, &status) == 0;
  error = known ? 0 : errno;
  if (known && S_ISREG(status.st_mode) && status.st_uid == ::geteuid()) return descriptor;
  if (known) error = EACCES;
  if (descriptor >= 0) ::close(descriptor);
  return -1;
}

// The last user removes the file, so one that waited may have locked a file that is no more.
bool IsRemoved(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && status.st_nlink == 0;
}

timespec TimeIn(std::uint32_t milliseconds) {
  timespec until{};
  ::clock_gettime(CLOCK_REALTIME, &until);
  const long nanoseconds = until.tv_nsec + static_cast<long>(milliseconds % 1000) * 1000000;
  until.tv_sec += static_cast<time_t>(milliseconds / 1000) + nanoseconds / 1000000000;
  until.tv_nsec = nanoseconds % 1000000000;
  return until;
}

// The result of taking the front lock, also from a thread that ended with it.
int TakeOver(int result) {
  if (result != EOWNERDEAD) return result;
  Front& front = FrontLock();
  ::pthread_mutex_consistent(&front.mutex);
  if (NamedMutex* const left = std::exchange(front.held, nullptr)) {
    left->depth = 0;
    ::flock(left->descriptor, LOCK_UN);
  }
  return 0;
}

// 0, or an error code, ETIMEDOUT among them.
int LockFront(std::uint32_t timeout_ms) {
  pthread_mutex_t& mutex = FrontLock().mutex;
  if (timeout_ms == kWaitForEver) return TakeOver(::pthread_mutex_lock(&mutex));
  const timespec until = TimeIn(timeout_ms);
  return TakeOver(::pthread_mutex_timedlock(&mutex, &until));
}

int LockFile(int descriptor, std::uint32_t timeout_ms) {
  const std::uint64_t begin = TickCountMs();
  for (;;) {
    if (::flock(descriptor, timeout_ms == kWaitForEver ? LOCK_EX : LOCK_EX | LOCK_NB) == 0)
      return 0;
    if (errno != EINTR && errno != EWOULDBLOCK) return errno;
    if (timeout_ms != kWaitForEver && TickCountMs() - begin >= timeout_ms) return ETIMEDOUT;
    if (errno == EWOULDBLOCK) SleepMs(1);
  }
}

// The file's lock, on the file that everybody else opens too.
int LockSharedFile(NamedMutex& mutex, std::uint32_t timeout_ms) {
  int error = 0;
  while (mutex.descriptor >= 0) {
    error = LockFile(mutex.descriptor, timeout_ms);
    if (error != 0 || !IsRemoved(mutex.descriptor)) return error;
    ::close(mutex.descriptor);
    mutex.descriptor = OpenLockFile(mutex.file, error);
  }
  return error;
}

}  // namespace

CriticalSection* NewCriticalSection() {
  auto* section = new CriticalSection;
  InitRecursive(section->mutex, PTHREAD_MUTEX_STALLED);
  return section;
}

void DeleteCriticalSection(CriticalSection* section) {
  ::pthread_mutex_destroy(&section->mutex);
  delete section;
}

void EnterCriticalSection(CriticalSection* section) { ::pthread_mutex_lock(&section->mutex); }

void LeaveCriticalSection(CriticalSection* section) { ::pthread_mutex_unlock(&section->mutex); }

NamedMutex* OpenNamedMutex(const char* name, int& error) {
  error = 0;
  auto* const mutex = new NamedMutex;
  if (name == nullptr) return mutex;
  mutex->file = "/";
  for (const char* c = name; *c != '\0'; ++c) mutex->file += *c == '/' ? '_' : *c;
  mutex->file += "." + std::to_string(::geteuid());
  mutex->descriptor = OpenLockFile(mutex->file, error);
  return mutex;
}

void CloseNamedMutex(NamedMutex* mutex) {
  Front& front = FrontLock();
  if (TakeOver(::pthread_mutex_trylock(&front.mutex)) == 0) {
    for (; mutex->depth > 0; --mutex->depth) ::pthread_mutex_unlock(&front.mutex);
    if (front.held == mutex) front.held = nullptr;
    ::pthread_mutex_unlock(&front.mutex);
  }
  if (mutex->descriptor >= 0) {
    if (::flock(mutex->descriptor, LOCK_EX | LOCK_NB) == 0 && !IsRemoved(mutex->descriptor))
      ::shm_unlink(mutex->file.c_str());
    ::close(mutex->descriptor);
  }
  delete mutex;
}

int AcquireNamedMutex(NamedMutex* mutex, std::uint32_t timeout_ms) {
  if (mutex == nullptr) return EBADF;
  int error = LockFront(timeout_ms);
  if (error != 0) return error == ETIMEDOUT ? 0 : error;
  Front& front = FrontLock();
  const bool is_first = front.held == nullptr;
  if (is_first) front.held = mutex;
  if (mutex->depth == 0) error = LockSharedFile(*mutex, timeout_ms);
  if (error != ETIMEDOUT) {
    ++mutex->depth;  // without the file the threads of this process still take turns
    return error;
  }
  if (is_first) front.held = nullptr;
  ::pthread_mutex_unlock(&front.mutex);
  return 0;
}

void ReleaseNamedMutex(NamedMutex* mutex) {
  Front& front = FrontLock();
  // Only the thread that holds it may take it again; a wait that ran out gave nothing.
  if (mutex == nullptr || TakeOver(::pthread_mutex_trylock(&front.mutex)) != 0) return;
  if (mutex->depth > 0) {
    if (--mutex->depth == 0) {
      if (mutex->descriptor >= 0) ::flock(mutex->descriptor, LOCK_UN);
      if (front.held == mutex) front.held = nullptr;
    }
    ::pthread_mutex_unlock(&front.mutex);
  }
  ::pthread_mutex_unlock(&front.mutex);
}

void AtFork(void (*before)(), void (*in_parent)(), void (*in_child)()) {
  ::pthread_atfork(before, in_parent, in_child);
}

NoCancellation::NoCancellation() { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }

NoCancellation::~NoCancellation() { ::pthread_setcancelstate(before_, nullptr); }

}  // namespace zevra
