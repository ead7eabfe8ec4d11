#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tools/zevra/terminal.h"
#include "tools/zevra/writer.h"

namespace zevra::command {
namespace {

constexpr mode_t kMode = 0666;

bool IsRegular(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

// A pipe that is opened for reading too never tells that its reader has gone.
int Open(const std::string& path) {
  struct stat status {};
  const bool stream = stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
  return open(path.c_str(), (stream ? O_WRONLY : O_RDWR) | O_CREAT | O_TRUNC | O_CLOEXEC, kMode);
}

}  // namespace

OutputFile::OutputFile(const std::string& path)
    : path_(path == "-" ? "to standard output" : path),
      descriptor_(path == "-" ? STDOUT_FILENO : Open(path)) {
  if (descriptor_ >= 0) {
    seekable_ = path != "-" && IsRegular(descriptor_);
    return;
  }
  error_ = errno;
  Fail();
}

OutputFile::~OutputFile() {
  if (descriptor_ != STDOUT_FILENO) close(descriptor_);
}

bool OutputFile::Write(std::span<const std::uint8_t> bytes) {
  const off_t begin = seekable_ ? lseek(descriptor_, 0, SEEK_CUR) : 0;
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t written = write(descriptor_, bytes.data() + done, bytes.size() - done);
    if (written >= 0) {
      done += static_cast<std::size_t>(written);
    } else if ((errno == EINTR || errno == EPIPE) && Interrupted() && !seekable_) {
      // Whoever should read may never do so again, or the same Ctrl-C has ended it.
      return true;
    } else if (errno != EINTR) {
      if (error_ == 0) error_ = errno;
      return seekable_ && TakeBack(begin, static_cast<off_t>(done));
    }
  }
  return true;
}

// Always false. Only at the end: a header is no block to lose.
bool OutputFile::TakeBack(std::int64_t begin, std::int64_t written) const {
  struct stat status {};
  if (fstat(descriptor_, &status) == 0 && begin + written == status.st_size) {
    static_cast<void>(ftruncate(descriptor_, begin) == 0 &&
                      lseek(descriptor_, begin, SEEK_SET) == begin);
  }
  return false;
}

bool OutputFile::WriteHeader(std::span<const std::uint8_t> bytes) {
  const ssize_t written = pwrite(descriptor_, bytes.data(), bytes.size(), 0);
  if (written == static_cast<ssize_t>(bytes.size())) return true;
  if (error_ == 0) error_ = written < 0 ? errno : ENOSPC;
  return false;
}

}  // namespace zevra::command
