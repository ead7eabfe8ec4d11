#ifndef ZEVRA_TESTS_SUPPORT_LOG_CAPTURE_H
#define ZEVRA_TESTS_SUPPORT_LOG_CAPTURE_H

#include <cstdint>
#include <string>
#include <vector>

namespace zevra::test {

// Puts a logger into the process for the life of the object and collects the lines that pass the
// gate, without decoration or line end. One at a time; any thread may log while it stands.
class LogCapture {
 public:
  // `level` is the mask of level bits that pass; the library's default lets errors and warnings by.
  explicit LogCapture(std::uint32_t level = 7);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // The lines so far, oldest first.
  std::vector<std::string> Lines() const;
  void Clear();
};

}  // namespace zevra::test

#endif
