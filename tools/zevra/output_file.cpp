#include "tools/zevra/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace zevra::command {
namespace {

constexpr mode_t kMode = 0666;

}  // namespace

OutputFile::OutputFile(const std::string& path)
    : descriptor_(open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, kMode)) {
  if (descriptor_ < 0) error_ = errno;
}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) close(descriptor_);
}

SNDFILE* OutputFile::Open(SF_INFO& info) {
  SF_VIRTUAL_IO operations = Operations();
  return error_ != 0 ? nullptr : sf_open_virtual(&operations, SFM_WRITE, &info, this);
}

SF_VIRTUAL_IO OutputFile::Operations() {
  SF_VIRTUAL_IO operations{};
  operations.get_filelen = [](void* self) -> sf_count_t {
    struct stat status {};
    return fstat(static_cast<OutputFile*>(self)->descriptor_, &status) == 0 ? status.st_size : -1;
  };
  operations.seek = [](sf_count_t offset, int whence, void* self) -> sf_count_t {
    return lseek(static_cast<OutputFile*>(self)->descriptor_, offset, whence);
  };
  operations.tell = [](void* self) -> sf_count_t {
    return lseek(static_cast<OutputFile*>(self)->descriptor_, 0, SEEK_CUR);
  };
  operations.read = [](void* data, sf_count_t length, void* self) -> sf_count_t {
    return read(static_cast<OutputFile*>(self)->descriptor_, data,
                static_cast<std::size_t>(length));
  };
  operations.write = [](const void* data, sf_count_t length, void* self) -> sf_count_t {
    return static_cast<OutputFile*>(self)->Write(data, length);
  };
  return operations;
}

sf_count_t OutputFile::Write(const void* data, sf_count_t length) {
  const auto* const bytes = static_cast<const std::uint8_t*>(data);
  const off_t begin = lseek(descriptor_, 0, SEEK_CUR);
  for (sf_count_t done = 0; done < length;) {
    const ssize_t written =
        write(descriptor_, bytes + done, static_cast<std::size_t>(length - done));
    if (written >= 0) {
      done += written;
    } else if (errno != EINTR) {
      if (error_ == 0) error_ = errno;
      // What of it came in is taken back, but only at the end: a header is no block to lose.
      struct stat status {};
      if (fstat(descriptor_, &status) == 0 && begin + done == status.st_size) {
        static_cast<void>(ftruncate(descriptor_, begin) == 0 &&
                          lseek(descriptor_, begin, SEEK_SET) == begin);
      }
      return 0;
    }
  }
  return length;
}

}  // namespace zevra::command
