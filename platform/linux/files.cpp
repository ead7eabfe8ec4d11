#include "platform/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <utility>

#include "platform/clock.h"
#include "platform/linux/unicode.h"

namespace zevra {
namespace {

// What a stream has for a buffer before its first write has made it one.
constexpr std::size_t kUsualBuffer = 4096;
constexpr int kTurnTries = 200;

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return descriptor_; }
  bool valid() const { return descriptor_ >= 0; }
  int Release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

std::size_t WriteWhole(int descriptor, const char* bytes, std::size_t count) {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t written = ::write(descriptor, bytes + done, count - done);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;
    done += static_cast<std::size_t>(written);
  }
  return done;
}

// Copies from the begin to the end as it is when the copy gets there.
int CopyContent(int source, int target, off_t& copied) {
  std::array<char, 8192> block{};  // a thread that logs has little stack left
  for (copied = 0;;) {
    const ssize_t count = ::pread(source, block.data(), block.size(), copied);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) return 0;
    errno = 0;
    if (WriteWhole(target, block.data(), static_cast<std::size_t>(count)) !=
        static_cast<std::size_t>(count))
      return errno != 0 ? errno : EIO;
    copied += count;
  }
}

// A copy that cannot end would fill what others still need. Systems that tell no size have 0
// blocks.
bool HasSpaceFor(const char* target, off_t bytes) {
  const std::string path(target);
  const std::size_t slash = path.rfind('/');
  struct statvfs disk {};
  const bool known =
      ::statvfs(slash == std::string::npos ? "." : path.substr(0, slash + 1).c_str(), &disk) == 0;
  return !known || disk.f_blocks == 0 ||
         static_cast<std::uint64_t>(bytes) <= std::uint64_t{disk.f_bavail} * disk.f_frsize;
}

bool IsSame(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

int CopyToFile(int source, const char* target, off_t& copied) {
  struct stat from_status {};
  struct stat to_status {};
  if (::fstat(source, &from_status) != 0) return errno;
  if (::stat(target, &to_status) == 0 && IsSame(from_status, to_status))
    return EEXIST;  // another name of the source: emptying it first would lose everything
  if (!HasSpaceFor(target, from_status.st_size)) return ENOSPC;
  const Descriptor to(::open(target, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK,
                             from_status.st_mode & 0777));
  if (!to.valid()) return errno;
  const int error = CopyContent(source, to.get(), copied);
  if (error != 0) ::unlink(target);
  return error;
}

// "*" stands for any text, "?" for any one byte, nothing else is special.
bool MatchesWildcards(const char* pattern, const char* name) {
  const char* star = nullptr;
  const char* retry = nullptr;
  while (*name != '\0') {
    if (*pattern == '*') {
      star = ++pattern;
      retry = name;
    } else if (*pattern == '?' || *pattern == *name) {
      ++pattern;
      ++name;
    } else if (star != nullptr) {
      pattern = star;
      name = ++retry;
    } else {
      return false;
    }
  }
  while (*pattern == '*') ++pattern;
  return *pattern == '\0';
}

}  // namespace

std::FILE* OpenShared(const char* path, AppendMode mode) {
  const bool keep = mode == AppendMode::kText || mode == AppendMode::kBinary;
  // Appending in the kernel serves every mode: a write lands at the end without a seek before it.
  // A terminal that was stopped takes nothing, and must not wait either.
  const int flags =
      O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | O_RDWR | (keep ? 0 : O_TRUNC);
  Descriptor descriptor(::open(path, flags, 0666));
  struct stat status {};
  if (!descriptor.valid() || ::fstat(descriptor.get(), &status) != 0) return nullptr;
  if (S_ISFIFO(status.st_mode)) {
    errno = ESPIPE;
    return nullptr;
  }
  std::FILE* stream = ::fdopen(descriptor.get(), "a+");
  if (stream != nullptr) descriptor.Release();
  return stream;
}

void CloseShared(std::FILE* stream) { std::fclose(stream); }

int LastByte(std::FILE* stream) {
  unsigned char last = 0;
  const int descriptor = ::fileno(stream);
  const off_t length = ::lseek(descriptor, 0, SEEK_END);
  const bool read = length > 0 && ::pread(descriptor, &last, 1, length - 1) == 1;
  return read ? last : -1;
}

std::size_t AppendBytes(std::FILE* stream, const void* bytes, std::size_t count) {
  const std::size_t own = ::__fbufsize(stream);
  const std::size_t capacity = own != 0 ? own : kUsualBuffer;
  // A line that straddled two writes could be torn by another process's line in between.
  if (::__fpending(stream) + count > capacity) std::fflush(stream);
  if (count <= capacity) return std::fwrite(bytes, 1, count, stream);
  return WriteWhole(::fileno(stream), static_cast<const char*>(bytes), count);
}

int AppendWide(std::FILE* stream, const wchar_t* text) {
  // A stream of the C library is narrow or wide for good, and this one takes both.
  const std::string narrow = WideToUtf8(text);
  return AppendBytes(stream, narrow.data(), narrow.size()) == narrow.size() ? 0 : EOF;
}

std::int64_t LengthOf(std::FILE* stream) {
  const auto pending = static_cast<std::int64_t>(::__fpending(stream));
  // Measured: asking for the end costs less than half of fstat, but moves the position, which only
  // a stream that was not last written to still needs.
  if (::__fwriting(stream) != 0) {
    const off_t end = ::lseek(::fileno(stream), 0, SEEK_END);
    return end < 0 ? pending : end + pending;
  }
  struct stat status {};
  return ::fstat(::fileno(stream), &status) == 0 ? status.st_size + pending : pending;
}

void FlushShared(std::FILE* stream) { std::fflush(stream); }

int EmptyFile(std::FILE* stream) { return ::ftruncate(::fileno(stream), 0) == 0 ? 0 : errno; }

RotationTurn::RotationTurn(std::FILE* stream) {
  if (stream == nullptr) return;
  for (int i = 0; i < kTurnTries; ++i) {
    if (::flock(::fileno(stream), LOCK_EX | LOCK_NB) == 0) {
      held_ = stream;
      return;
    }
    if (errno != EWOULDBLOCK && errno != EINTR) return;
    SleepMs(1);
  }
}

RotationTurn::~RotationTurn() {
  if (held_ != nullptr) ::flock(::fileno(held_), LOCK_UN);
}

int SaveAndEmpty(std::FILE* stream, const char* target) {
  std::fflush(stream);
  // By the stream and not by its name, which may be another file's by now.
  off_t copied = 0;
  int error = CopyToFile(::fileno(stream), target, copied);
  if (error != 0) return error;
  struct stat status {};
  // A process that waited too long for its turn has saved and emptied the file itself; what it
  // holds now is in no backup.
  if (::fstat(::fileno(stream), &status) != 0 || status.st_size < copied) return 0;
  error = EmptyFile(stream);
  if (error != 0) ::unlink(target);
  return error;
}

int CopyWholeFile(const char* source, const char* target) {
  const Descriptor from(::open(source, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  off_t copied = 0;
  return from.valid() ? CopyToFile(from.get(), target, copied) : errno;
}

bool IsFileAt(std::FILE* stream, const char* path) {
  struct stat open_status {};
  struct stat named_status {};
  return ::fstat(::fileno(stream), &open_status) == 0 && ::stat(path, &named_status) == 0 &&
         IsSame(open_status, named_status);
}

bool IsDirectory(const char* path) {
  struct stat status {};
  return ::stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

bool MakeDirectory(const char* path) { return ::mkdir(path, 0777) == 0; }

bool RemoveFile(const char* path) { return ::unlink(path) == 0; }

std::int64_t ModifiedTime(const char* path) {
  struct stat status {};
  return ::stat(path, &status) == 0 ? status.st_mtim.tv_sec : 0;
}

int VisitEntries(const char* directory, const char* pattern,
                 const std::function<int(const char*, bool)>& visit) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(directory), ::closedir);
  if (entries == nullptr) return errno;
  bool any = false;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the directory stream is this call's own
  while (const dirent* entry = ::readdir(entries.get())) {
    if (!MatchesWildcards(pattern, entry->d_name)) continue;
    any = true;
    struct stat status {};
    // A link to a directory is an entry of its own: following it could lead around in a circle.
    const bool is_directory =
        ::fstatat(::dirfd(entries.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISDIR(status.st_mode);
    if (const int result = visit(entry->d_name, is_directory); result != 0) return result;
  }
  return any ? 0 : ENOENT;
}

}  // namespace zevra
