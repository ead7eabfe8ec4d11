#ifndef ZEVRA_TESTS_SUPPORT_LOG_CAPTURE_H
#define ZEVRA_TESTS_SUPPORT_LOG_CAPTURE_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "log/process_logger.h"
#include "log/settings.h"

namespace zevra::test {

// Puts a logger into the process for the life of the object and collects the lines that pass the
// gate, without decoration or line end. One at a time; any thread may log while it stands.
class LogCapture {
 public:
  // `level` is the mask of level bits that pass; the library's default lets errors and warnings by.
  explicit LogCapture(std::uint32_t level = 7) {
    Log_Settings settings;
    settings.values.level = level;
    settings.values.style = kStyleNone;
    settings.values.locale = "skip";
    store_.logger.open(&settings, &store_, 0);
    process_logger = &store_.logger;
  }
  ~LogCapture() { process_logger = nullptr; }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // The lines so far, oldest first.
  std::vector<std::string> Lines() const {
    const std::lock_guard hold(store_.mutex);
    return store_.lines;
  }
  void Clear() {
    const std::lock_guard hold(store_.mutex);
    store_.lines.clear();
  }

 private:
  // A file that is never opened and keeps each text it is given as a line of its own.
  struct Store final : Log_IO_FILE {
    int puts(const char* text) override {
      const std::lock_guard hold(mutex);
      lines.emplace_back(text);
      return 0;
    }
    std::mutex mutex;
    std::vector<std::string> lines;
    Process_Logger logger;
  };
  // Never destroyed: a thread whose line the test has just seen may still look at its logger.
  static Store& NewStore() {
    static auto& stores = *new std::vector<std::unique_ptr<Store>>;
    return *stores.emplace_back(std::make_unique<Store>());
  }

  Store& store_ = NewStore();
};

}  // namespace zevra::test

#endif
