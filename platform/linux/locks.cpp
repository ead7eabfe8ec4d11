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

namespace zevra {

struct CriticalSection {
  pthread_mutex_t mutex;
};

namespace {

// What all processes share. The size in the name keeps builds apart whose mutex differs.
struct SharedMutex {
  std::uint32_t ready;
  pthread_mutex_t mutex;
};
constexpr std::uint32_t kReady = 0x5A52564D;

void InitRecursive(pthread_mutex_t& mutex, bool between_processes) {
  pthread_mutexattr_t attributes;
  ::pthread_mutexattr_init(&attributes);
  ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  if (between_processes) {
    ::pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    ::pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  }
  ::pthread_mutex_init(&mutex, &attributes);
  ::pthread_mutexattr_destroy(&attributes);
}

std::string SharedName(const char* name) {
  std::string shared = "/";
  for (const char* c = name; *c != '\0'; ++c) shared += *c == '/' ? '_' : *c;
  shared += "." + std::to_string(::geteuid()) + "." + std::to_string(sizeof(SharedMutex));
  return shared;
}

SharedMutex* Map(int descriptor, int flags, int& error) {
  void* memory = ::mmap(nullptr, sizeof(SharedMutex), PROT_READ | PROT_WRITE, flags, descriptor, 0);
  if (memory == MAP_FAILED) {
    error = errno;
    return nullptr;
  }
  return static_cast<SharedMutex*>(memory);
}

// The first to come makes the mutex. The file lock around it goes with its holder, so that a
// process that dies in here leaves the work to the next one.
SharedMutex* MapReady(int descriptor, int& error) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) {
    error = errno;
    return nullptr;
  }
  if (status.st_uid != ::geteuid()) {
    error = EACCES;  // made by somebody else under our name: not ours to trust
    return nullptr;
  }
  if (::flock(descriptor, LOCK_EX) != 0 || ::ftruncate(descriptor, sizeof(SharedMutex)) != 0) {
    error = errno;
    return nullptr;
  }
  SharedMutex* shared = Map(descriptor, MAP_SHARED, error);
  if (shared != nullptr && shared->ready != kReady) {
    InitRecursive(shared->mutex, true);
    shared->ready = kReady;
  }
  ::flock(descriptor, LOCK_UN);
  return shared;
}

}  // namespace

CriticalSection* NewCriticalSection() {
  auto* section = new CriticalSection;
  InitRecursive(section->mutex, false);
  return section;
}

void DeleteCriticalSection(CriticalSection* section) {
  ::pthread_mutex_destroy(&section->mutex);
  delete section;
}

void EnterCriticalSection(CriticalSection* section) { ::pthread_mutex_lock(&section->mutex); }

void LeaveCriticalSection(CriticalSection* section) { ::pthread_mutex_unlock(&section->mutex); }

struct NamedMutex {
  SharedMutex* shared;
};

NamedMutex* OpenNamedMutex(const char* name, int& error) {
  error = 0;
  SharedMutex* shared = nullptr;
  if (name == nullptr) {
    shared = Map(-1, MAP_PRIVATE | MAP_ANONYMOUS, error);
    if (shared != nullptr) InitRecursive(shared->mutex, true);
  } else {
    const int descriptor =
        ::shm_open(SharedName(name).c_str(), O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
    if (descriptor < 0) {
      error = errno;
      return nullptr;
    }
    shared = MapReady(descriptor, error);
    ::close(descriptor);
  }
  return shared != nullptr ? new NamedMutex{shared} : nullptr;
}

void CloseNamedMutex(NamedMutex* mutex) {
  // Destroying it would pull it from under the others; the memory goes with its last user's
  // mapping.
  ::munmap(mutex->shared, sizeof(SharedMutex));
  delete mutex;
}

int AcquireNamedMutex(NamedMutex* mutex, std::uint32_t timeout_ms) {
  if (mutex == nullptr) return EBADF;
  int result = 0;
  if (timeout_ms == kWaitForEver) {
    result = ::pthread_mutex_lock(&mutex->shared->mutex);
  } else {
    timespec until{};
    ::clock_gettime(CLOCK_REALTIME, &until);
    const long nanoseconds = until.tv_nsec + static_cast<long>(timeout_ms % 1000) * 1000000;
    until.tv_sec += static_cast<time_t>(timeout_ms / 1000) + nanoseconds / 1000000000;
    until.tv_nsec = nanoseconds % 1000000000;
    result = ::pthread_mutex_timedlock(&mutex->shared->mutex, &until);
  }
  if (result == EOWNERDEAD) {
    ::pthread_mutex_consistent(&mutex->shared->mutex);
    return 0;
  }
  return result == ETIMEDOUT ? 0 : result;
}

void ReleaseNamedMutex(NamedMutex* mutex) {
  if (mutex != nullptr) ::pthread_mutex_unlock(&mutex->shared->mutex);
}

}  // namespace zevra
