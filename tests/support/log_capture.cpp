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
  // Gives the lines, which the caller may replace.
  std::vector<std::string> Exchange(bool keep) {
    const std::lock_guard hold(mutex_);
    return keep ? lines_ : std::exchange(lines_, {});
  }
  int puts(const char* text) override {
    const std::lock_guard hold(mutex_);
    lines_.emplace_back(text);
    return 0;
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

// Never destroyed, also not at the end of the process: a thread whose line the test has just seen
// may still look at its logger.
Line_Store& store = *new Line_Store;
auto& loggers = *new std::vector<std::unique_ptr<Process_Logger>>;

}  // namespace

LogCapture::LogCapture(std::uint32_t level) {
  Clear();
  Log_Settings settings;
  settings.values.level = level;
  settings.values.style = kStyleNone;
  settings.values.locale = "skip";
  Process_Logger& logger = *loggers.emplace_back(std::make_unique<Process_Logger>());
  logger.open(&settings, &store, 0);
  process_logger = &logger;
}

LogCapture::~LogCapture() { process_logger = nullptr; }

std::vector<std::string> LogCapture::Lines() const { return store.Exchange(true); }

void LogCapture::Clear() { store.Exchange(false); }

}  // namespace zevra::test
