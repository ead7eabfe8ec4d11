#include "support/log_capture.h"

#include <memory>
#include <mutex>
#include <utility>

#include "log/masks.h"
#include "log/process_logger.h"

namespace zevra::test {
namespace {

// A file output that keeps each text it is given as a line of its own.
class Line_Store final : public Log_IO {
 public:
  std::vector<std::string> Lines() const {
    const std::lock_guard hold(mutex_);
    return lines_;
  }
  void Clear() {
    const std::lock_guard hold(mutex_);
    lines_.clear();
  }

  int open(const char*, Log_Mutex*, std::int32_t, std::int64_t) override { return 0; }
  int close() override { return 0; }
  int write(const void*, std::int32_t) override { return 0; }
  int puts_w(const wchar_t*) override { return 0; }
  int puts(const char* text) override {
    const std::lock_guard hold(mutex_);
    lines_.emplace_back(text);
    return 0;
  }
  int truncate() override { return 0; }
  void flush() override {}
  std::int64_t size() override { return 0; }
  int backup(const char*) override { return 0; }
  std::FILE* handle() override { return nullptr; }
  void set_lock(Log_Mutex*) override {}
  Log_Mutex* get_lock() override { return nullptr; }
  void set_cfg(Log_Cfg*) override {}
  Log_Cfg* get_cfg() override { return nullptr; }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

Line_Store store;
// All that were made: a thread that has just written its line may still look at its logger.
std::vector<std::unique_ptr<Process_Logger>> loggers;

}  // namespace

LogCapture::LogCapture(std::uint32_t level) {
  Clear();
  Log_Settings settings;
  settings.values.level = level;
  settings.values.style = kStyleNone;
  settings.values.locale = "skip";
  auto logger = std::make_unique<Process_Logger>();
  logger->open(&settings, &store, 0);
  process_logger = logger.get();
  loggers.push_back(std::move(logger));
}

LogCapture::~LogCapture() { process_logger = nullptr; }

std::vector<std::string> LogCapture::Lines() const { return store.Lines(); }

void LogCapture::Clear() { store.Clear(); }

}  // namespace zevra::test
