#include "platform/files.h"

#include <windows.h>

#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <cerrno>
#include <cwchar>
#include <string>

#include "platform/clock.h"

namespace zevra {
namespace {

constexpr int kTurnTries = 200;

HANDLE HandleOf(std::FILE* stream) {
  return reinterpret_cast<HANDLE>(::_get_osfhandle(::_fileno(stream)));
}

// One byte that no log file ever reaches: the turn must not stand in the way of a plain write.
OVERLAPPED TurnByte() {
  OVERLAPPED place{};
  place.OffsetHigh = 0x40000000;
  return place;
}

// "N" keeps the handle from the process's children.
const char* ModeText(AppendMode mode) {
  switch (mode) {
    case AppendMode::kBinary:
      return "a+bN";
    case AppendMode::kEmptyText:
      return "wtN";
    case AppendMode::kEmptyBinary:
      return "wbN";
    default:
      return "a+tN";
  }
}

}  // namespace

std::FILE* OpenShared(const char* path, AppendMode mode) {
  std::FILE* stream = ::_fsopen(path, ModeText(mode), _SH_DENYNO);
  if (stream != nullptr) ::_fseeki64(stream, 0, SEEK_END);
  return stream;
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
  ::_fseeki64(stream, 0, SEEK_END);
  return std::fwrite(bytes, 1, count, stream);
}

int AppendWide(std::FILE* stream, const wchar_t* text) {
  ::_fseeki64(stream, 0, SEEK_END);
  return std::fputws(text, stream);
}

std::int64_t LengthOf(std::FILE* stream) {
  const std::int64_t before = ::_ftelli64(stream);
  ::_fseeki64(stream, 0, SEEK_END);
  const std::int64_t length = ::_ftelli64(stream);
  if (length != before) ::_fseeki64(stream, before, SEEK_SET);
  return length < 0 ? 0 : length;
}

int EmptyFile(std::FILE* stream) { return ::_chsize(::_fileno(stream), 0) == 0 ? 0 : errno; }

RotationTurn::RotationTurn(std::FILE* stream) {
  for (int i = 0; stream != nullptr && held_ == nullptr && i < kTurnTries; ++i) {
    OVERLAPPED place = TurnByte();
    if (::LockFileEx(HandleOf(stream), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0,
                     &place) != 0)
      held_ = stream;
    else if (const DWORD error = ::GetLastError();
             error != ERROR_LOCK_VIOLATION && error != ERROR_IO_PENDING)
      return;
    else
      SleepMs(1);
  }
}

RotationTurn::~RotationTurn() {
  if (held_ != nullptr) {
    OVERLAPPED place = TurnByte();
    ::UnlockFileEx(HandleOf(held_), 0, 1, 0, &place);
  }
}

int CopyWholeFile(const char* source, const char* target) {
  return ::CopyFileA(source, target, FALSE) != 0 ? 0 : static_cast<int>(::GetLastError());
}

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
