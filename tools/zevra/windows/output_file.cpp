#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"
#include "tools/zevra/writer.h"

namespace zevra::command {
namespace {

constexpr int kStandardOutput = 1;
// What one call takes.
constexpr std::size_t kMostBytes = 1U << 30U;

int Open(const std::string& path) {
  const Utf16 wide = ToUtf16(path);
  return _wopen(wide.c_str(), _O_RDWR | _O_CREAT | _O_TRUNC | _O_BINARY | _O_NOINHERIT,
                _S_IREAD | _S_IWRITE);
}

bool IsRegular(int descriptor) {
  struct _stat64 status {};
  return _fstat64(descriptor, &status) == 0 && (status.st_mode & _S_IFMT) == _S_IFREG;
}

}  // namespace

OutputFile::OutputFile(const std::string& path)
    : path_(path == "-" ? "to standard output" : path),
      descriptor_(path == "-" ? kStandardOutput : Open(path)) {
  if (descriptor_ < 0) {
    error_ = errno;
    Fail();
  }
  if (path == "-")
    _setmode(descriptor_, _O_BINARY);
  else
    seekable_ = IsRegular(descriptor_);
}

OutputFile::~OutputFile() {
  if (descriptor_ != kStandardOutput) _close(descriptor_);
}

bool OutputFile::Write(std::span<const std::uint8_t> bytes) {
  const std::int64_t begin = seekable_ ? _lseeki64(descriptor_, 0, SEEK_CUR) : 0;
  for (std::size_t done = 0; done < bytes.size();) {
    const auto part = static_cast<unsigned>(std::min(bytes.size() - done, kMostBytes));
    const int written = _write(descriptor_, bytes.data() + done, part);
    // The same Ctrl-C has ended the reader.
    if (written < 0 && errno == EPIPE && Interrupted() && !seekable_) return true;
    // A full disk takes nothing, without an error of its own.
    if (written <= 0) {
      if (error_ == 0) error_ = written < 0 ? errno : ENOSPC;
      return seekable_ && TakeBack(begin, static_cast<std::int64_t>(done));
    }
    done += static_cast<std::size_t>(written);
  }
  return true;
}

// Always false. Only at the end: a header is no block to lose.
bool OutputFile::TakeBack(std::int64_t begin, std::int64_t written) const {
  if (_filelengthi64(descriptor_) == begin + written)
    static_cast<void>(_chsize_s(descriptor_, begin) == 0 &&
                      _lseeki64(descriptor_, begin, SEEK_SET) == begin);
  return false;
}

bool OutputFile::WriteHeader(std::span<const std::uint8_t> bytes) {
  const std::int64_t here = _lseeki64(descriptor_, 0, SEEK_CUR);
  const bool done = _lseeki64(descriptor_, 0, SEEK_SET) == 0 &&
                    _write(descriptor_, bytes.data(), static_cast<unsigned>(bytes.size())) ==
                        static_cast<int>(bytes.size());
  if (!done && error_ == 0) error_ = errno;
  return _lseeki64(descriptor_, here, SEEK_SET) == here && done;
}

}  // namespace zevra::command
