#include "support/log_capture.h"

#include <memory>
#include <mutex>
#include <utility>

#include "log/process_logger.h"
#include "log/settings.h"

namespace zevra::test {
namespace {

// A file that is never opened and keeps each text it is given as a line of its own.
class Line_Store final : public Log_IO_FILE {
 public:
  std::vector<std::string> Lines() const {
    const std::lock_guard hold(mutex_);
    return lines_;
  }
  void Clear() {
    const std::lock_guard hold(mutex_);
    lines_.clear();
  }

  int puts(const char* text) override {
    const std::lock_guard hold(mutex_);
    lines_.emplace_back(text);
    return 0;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

// Never destroyed, also not at the end of the process: a thread whose line the test has just seen
// may still look at its logger.
struct Kept {
  Line_Store store;
  std::vector<std::unique_ptr<Process_Logger>> loggers;
};
Kept& kept = *std::make_unique<Kept>().release();

}  // namespace

LogCapture::LogCapture(std::uint32_t level) {
  Clear();
  Log_Settings settings;
  settings.values.level = level;
  settings.values.style = kStyleNone;
  settings.values.locale = "skip";
  auto logger = std::make_unique<Process_Logger>();
  logger->open(&settings, &kept.store, 0);
  process_logger = logger.get();
  kept.loggers.push_back(std::move(logger));
}

LogCapture::~LogCapture() { process_logger = nullptr; }

std::vector<std::string> LogCapture::Lines() const { return kept.store.Lines(); }

void LogCapture::Clear() { kept.store.Clear(); }

}  // namespace zevra::test
