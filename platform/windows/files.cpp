#include "platform/files.h"

#include <windows.h>

#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cwchar>
#include <string>

#include "platform/clock.h"

namespace zevra {
namespace {

constexpr std::size_t kBufferBytes = 4096;
// A rotation may take long, and its lines are safe without a turn. A write takes microseconds; only
// a process that was stopped in the midst of one lets others wait so long.
constexpr std::uint64_t kLongestRotationMs = 200;
constexpr std::uint64_t kLongestWriteMs = 3000;
constexpr int kBriefTries = 20;  // a line takes microseconds

HANDLE HandleOf(std::FILE* stream) {
  return reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(stream)));
}

// Bytes that no log file ever reaches: a turn must not stand in the way of a plain write.
constexpr DWORD kRotationByte = 0x40000000;
constexpr DWORD kWriteByte = 0x40000001;

OVERLAPPED PlaceOf(DWORD high) {
  OVERLAPPED place{};
  place.OffsetHigh = high;
  return place;
}

// True if the byte is held from now on.
bool LockByte(std::FILE* stream, DWORD byte, std::uint64_t longest_ms) {
  const std::uint64_t begin = TickCountMs();
  for (int i = 0; TickCountMs() - begin < longest_ms; ++i) {
    OVERLAPPED place = PlaceOf(byte);
    if (::LockFileEx(HandleOf(stream), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0,
                     &place) != 0)
      return true;
    const DWORD error = ::GetLastError();
    if (error != ERROR_LOCK_VIOLATION && error != ERROR_IO_PENDING) return false;
    SleepMs(i < kBriefTries ? 0 : 1);
  }
  return false;
}

void UnlockByte(std::FILE* stream, DWORD byte) {
  OVERLAPPED place = PlaceOf(byte);
  ::UnlockFileEx(HandleOf(stream), 0, 1, 0, &place);
}

// The right to write to a file. The runtime appends by a seek and a write, between which another
// process's write would be lost.
class WriteTurn {
 public:
  explicit WriteTurn(std::FILE* stream)
      : held_(LockByte(stream, kWriteByte, kLongestWriteMs) ? stream : nullptr) {}
  ~WriteTurn() {
    if (held_ != nullptr) UnlockByte(held_, kWriteByte);
  }
  WriteTurn(const WriteTurn&) = delete;
  WriteTurn& operator=(const WriteTurn&) = delete;

 private:
  std::FILE* const held_;
};

// Bytes that wait in the buffer, as long as they will be in the file. None while the stream reads.
std::int64_t PendingIn(std::FILE* stream) {
  return std::max<std::int64_t>(0, ::_ftelli64(stream) - ::_telli64(::_fileno(stream)));
}

// Calls `write`, which puts at most `count` bytes into the stream, so that they stay together.
template <class Write>
auto AppendWhole(std::FILE* stream, std::size_t count, Write write) {
  if (static_cast<std::size_t>(PendingIn(stream)) + count <= kBufferBytes) return write();
  const WriteTurn turn(stream);
  std::fflush(stream);
  const auto result = write();
  if (count > kBufferBytes) std::fflush(stream);
  return result;
}

// "N" keeps the handle from the process's children.
const char* EmptyingMode(AppendMode mode) {
  return mode == AppendMode::kEmptyText ? "wt" : mode == AppendMode::kEmptyBinary ? "wb" : nullptr;
}

// The runtime flushes at the process's end, but without a turn.
std::atomic<std::FILE*> flushed_at_exit{nullptr};

void FlushAtExit() {
  if (std::FILE* const stream = flushed_at_exit) FlushShared(stream);
}

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() {
    if (valid()) ::CloseHandle(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  HANDLE get() const { return handle_; }
  bool valid() const { return handle_ != INVALID_HANDLE_VALUE; }

 private:
  const HANDLE handle_;
};

// Copies from `copied` to the end as it is when the copy gets there. 0 or the system's error code.
int CopyRest(std::FILE* source, HANDLE target, std::int64_t& copied) {
  char block[8192];  // a thread that logs has little stack left
  for (;;) {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(copied);
    place.OffsetHigh = static_cast<DWORD>(copied >> 32);
    DWORD count = 0;
    DWORD written = 0;
    const bool read =
        ::ReadFile(HandleOf(source), block, static_cast<DWORD>(sizeof block), &count, &place) != 0;
    if (!read && ::GetLastError() != ERROR_HANDLE_EOF) return static_cast<int>(::GetLastError());
    if (count == 0) return 0;
    if (::WriteFile(target, block, count, &written, nullptr) == 0)
      return static_cast<int>(::GetLastError());
    if (written != count) return ERROR_DISK_FULL;
    copied += count;
  }
}

// A copy that cannot end would fill what others still need.
bool HasSpaceFor(const char* target, std::int64_t bytes) {
  const std::string path(target);
  const std::size_t slash = path.find_last_of("/\\");
  ULARGE_INTEGER free{};
  return slash == std::string::npos ||
         ::GetDiskFreeSpaceExA(path.substr(0, slash + 1).c_str(), &free, nullptr, nullptr) == 0 ||
         static_cast<std::uint64_t>(bytes) <= free.QuadPart;
}

// What the file holds beyond the copy when nobody can add to it any more, then the emptying.
int SaveRestAndEmpty(std::FILE* stream, HANDLE target, std::int64_t& copied) {
  const WriteTurn turn(stream);
  if (const int error = CopyRest(stream, target, copied); error != 0) return error;
  // A process that waited too long for its turn has saved and emptied the file itself; what it
  // holds now is in no backup.
  return LengthOf(stream) < copied ? 0 : EmptyFile(stream);
}

// With "N" a child process does not inherit the file. Run-time libraries that do not know it refuse
// the mode.
std::FILE* OpenWithoutHeirs(const char* path, const std::string& mode) {
  if (std::FILE* const stream = ::_fsopen(path, (mode + "N").c_str(), _SH_DENYNO)) return stream;
  return errno == EINVAL ? ::_fsopen(path, mode.c_str(), _SH_DENYNO) : nullptr;
}

}  // namespace

std::FILE* OpenShared(const char* path, AppendMode mode) {
  if (const char* const emptying = EmptyingMode(mode)) {
    std::FILE* const emptied = OpenWithoutHeirs(path, emptying);
    if (emptied == nullptr) return nullptr;
    std::fclose(emptied);
  }
  const bool binary = mode == AppendMode::kBinary || mode == AppendMode::kEmptyBinary;
  std::FILE* stream = OpenWithoutHeirs(path, binary ? "a+b" : "a+t");
  if (stream == nullptr) return nullptr;
  std::setvbuf(stream, nullptr, _IOFBF, kBufferBytes);
  ::_fseeki64(stream, 0, SEEK_END);
  static const int registered = std::atexit(FlushAtExit);
  static_cast<void>(registered);
  flushed_at_exit = stream;
  return stream;
}

void CloseShared(std::FILE* stream) {
  if (flushed_at_exit == stream) flushed_at_exit = nullptr;
  FlushShared(stream);
  std::fclose(stream);
}

int LastByte(std::FILE* stream) {
  int last = -1;
  if (::_fseeki64(stream, 0, SEEK_END) == 0 && ::_ftelli64(stream) >= 1 &&
      ::_fseeki64(stream, -1, SEEK_END) == 0)
    last = std::fgetc(stream);
  ::_fseeki64(stream, 0, SEEK_END);
  return last;
}

std::size_t AppendBytes(std::FILE* stream, const void* bytes, std::size_t count) {
  return AppendWhole(
      stream, count, [&] { return std::fwrite(bytes, 1, count, stream); });
}

int AppendWide(std::FILE* stream, const wchar_t* text) {
  constexpr std::size_t kMostBytes = 4;  // that a character takes
  return AppendWhole(stream, kMostBytes * std::wcslen(text),
                     [&] { return std::fputws(text, stream); });
}

void FlushShared(std::FILE* stream) {
  const WriteTurn turn(stream);
  std::fflush(stream);
}

std::int64_t LengthOf(std::FILE* stream) {
  return std::max<std::int64_t>(0, ::_filelengthi64(::_fileno(stream))) + PendingIn(stream);
}

int EmptyFile(std::FILE* stream) { return ::_chsize(::_fileno(stream), 0) == 0 ? 0 : errno; }

RotationTurn::RotationTurn(std::FILE* stream) {
  if (stream != nullptr && LockByte(stream, kRotationByte, kLongestRotationMs)) held_ = stream;
}

RotationTurn::~RotationTurn() {
  if (held_ != nullptr) UnlockByte(held_, kRotationByte);
}

int SaveAndEmpty(std::FILE* stream, const char* target) {
  FlushShared(stream);
  if (!HasSpaceFor(target, LengthOf(stream))) return ERROR_DISK_FULL;
  std::int64_t copied = 0;
  int error = 0;
  {
    const Handle to(::CreateFileA(target, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!to.valid()) return static_cast<int>(::GetLastError());
    error = CopyRest(stream, to.get(), copied);
    if (error == 0) error = SaveRestAndEmpty(stream, to.get(), copied);
  }
  if (error != 0) ::DeleteFileA(target);
  return error;
}

int CopyWholeFile(const char* source, const char* target) {
  return ::CopyFileA(source, target, FALSE) != 0 ? 0 : static_cast<int>(::GetLastError());
}

// While it is open nobody can move or remove it.
bool IsFileAt(std::FILE*, const char*) { return true; }

bool IsDirectory(const char* path) {
  const DWORD attributes = ::GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool MakeDirectory(const char* path) { return ::CreateDirectoryA(path, nullptr) != 0; }

bool RemoveFile(const char* path) { return ::_unlink(path) == 0; }

std::int64_t ModifiedTime(const char* path) {
  struct _stat64i32 status {};
  return ::_stat64i32(path, &status) == 0 ? status.st_mtime : 0;
}

int VisitEntries(const char* directory, const char* pattern,
                 const std::function<int(const char*, bool)>& visit) {
  const std::string wanted = std::string(directory) + "/" + pattern;
  struct _finddata64i32_t entry {};
  const intptr_t search = ::_findfirst64i32(wanted.c_str(), &entry);
  if (search == -1) return errno;
  int result = 0;
  do {
    result = visit(entry.name, (entry.attrib & _A_SUBDIR) != 0);
  } while (result == 0 && ::_findnext64i32(search, &entry) == 0);
  ::_findclose(search);
  return result;
}

}  // namespace zevra
