#include "support/log_capture.h"

#include <memory>
#include <mutex>

#include "log/process_logger.h"

namespace zevra::test {
namespace {

std::mutex lines_mutex;
std::vector<std::string> lines;
std::unique_ptr<ProcessLogger> logger;

void Collect(std::uint32_t, const char* line) {
  const std::lock_guard hold(lines_mutex);
  lines.emplace_back(line);
}

}  // namespace

LogCapture::LogCapture(std::uint32_t level) {
  Clear();
  logger = std::make_unique<ProcessLogger>(Collect);
  logger->set_level_mask(level);
  process_logger = logger.get();
}

LogCapture::~LogCapture() {
  process_logger = nullptr;
  logger.reset();
}

std::vector<std::string> LogCapture::Lines() const {
  const std::lock_guard hold(lines_mutex);
  return lines;
}

void LogCapture::Clear() {
  const std::lock_guard hold(lines_mutex);
  lines.clear();
}

}  // namespace zevra::test
