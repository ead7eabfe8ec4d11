#include <cerrno>
#include <cstring>

#include "log/io.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/text.h"

namespace zevra {
namespace {

AppendMode ToAppendMode(std::int32_t mode) {
  switch (mode) {
    case 1:
      return AppendMode::kBinary;
    case 2:
      return AppendMode::kEmptyText;
    case 3:
      return AppendMode::kEmptyBinary;
    default:
      return AppendMode::kText;
  }
}

// True if an earlier run left its last line unfinished. A line that another process is writing at
// this moment looks the same, but then the file still grows.
bool EndsMidLine(std::FILE* stream) {
  // A write takes microseconds. The rest is for a writer that is preempted during it.
  constexpr std::uint32_t kStandsStillMs = 25;
  const auto inside_line = [stream] {
    const int last = LastByte(stream);
    return last != -1 && last != '\n';
  };
  if (!inside_line()) return false;
  const std::int64_t length = LengthOf(stream);
  SleepMs(kStandsStillMs);
  return LengthOf(stream) == length && inside_line();
}

}  // namespace

Log_IO_FILE::~Log_IO_FILE() { Log_IO_FILE::close(); }

int Log_IO_FILE::open(const char* path, Log_Mutex* lock, std::int32_t mode, std::int64_t) {
  std::FILE* const stream = OpenShared(path, ToAppendMode(mode));
  if (stream == nullptr) return errno;
  // The first line of this run must not continue an unfinished line of an earlier run.
  if (mode == 0 && EndsMidLine(stream)) AppendBytes(stream, "\n", 1);
  stream_ = stream;
  lock_ = lock;
  path_ = path;
  return 0;
}

int Log_IO_FILE::close() {
  if (stream_ != nullptr) {
    CloseShared(stream_);
    stream_ = nullptr;
    is_cut_ = false;
  }
  return 0;
}

int Log_IO_FILE::write(const void* bytes, std::int32_t count) {
  if (stream_ == nullptr || count < 0) return 0;
  return static_cast<int>(AppendBytes(stream_, bytes, static_cast<std::size_t>(count)));
}

int Log_IO_FILE::puts_w(const wchar_t* text) {
  if (stream_ == nullptr) return 0;
  MendLine();
  const int result = AppendWide(stream_, text);
  is_cut_ = is_cut_ || result < 0;
  return result;
}

int Log_IO_FILE::puts(const char* text) {
  if (stream_ == nullptr) return 0;
  MendLine();
  const std::size_t length = std::strlen(text);
  const bool whole = AppendBytes(stream_, text, length) == length;
  is_cut_ = is_cut_ || !whole;
  return whole ? 0 : EOF;
}

// A full disk may have taken half a line. What follows must not continue it.
void Log_IO_FILE::MendLine() {
  if (!is_cut_ && std::ferror(stream_) == 0) return;
  std::clearerr(stream_);
  const int last = LastByte(stream_);
  is_cut_ = last != -1 && last != '\n' && AppendBytes(stream_, "\n", 1) != 1;
}

int Log_IO_FILE::truncate() {
  if (stream_ == nullptr) return -1;
  EmptyFile(stream_);
  return 0;
}

void Log_IO_FILE::flush() {
  if (stream_ != nullptr) FlushShared(stream_);
}

std::int64_t Log_IO_FILE::size() { return stream_ != nullptr ? LengthOf(stream_) : 0; }

int Log_IO_FILE::backup(const char* target) {
  const bool is_itself = SameIgnoringCase(target, path_.c_str());
  if (stream_ == nullptr) return is_itself ? 0 : CopyWholeFile(path_.c_str(), target);
  if (!is_itself) return SaveAndEmpty(stream_, target);
  std::rewind(stream_);
  return EmptyFile(stream_);
}

}  // namespace zevra
