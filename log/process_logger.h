#ifndef ZEVRA_LOG_PROCESS_LOGGER_H
#define ZEVRA_LOG_PROCESS_LOGGER_H

#include <atomic>
#include <cstdint>

namespace zevra {

// Stand-in until the logger lands: the two masks of the gate and four front ends that hand each
// finished line to `write_line`.
class ProcessLogger {
 public:
  using WriteLine = void (*)(std::uint32_t level, const char* line);

  explicit ProcessLogger(WriteLine write_line) : write_line_(write_line) {}

  std::uint32_t output_mask() const { return output_.load(std::memory_order_relaxed); }
  std::uint32_t level_mask() const { return level_.load(std::memory_order_relaxed); }
  void set_output_mask(std::uint32_t mask) { output_ = mask; }
  void set_level_mask(std::uint32_t mask) { level_ = mask; }

  [[gnu::format(printf, 2, 3)]] void log_error(const char* format, ...);
  [[gnu::format(printf, 2, 3)]] void log_warn(const char* format, ...);
  [[gnu::format(printf, 2, 3)]] void log_verbose(const char* format, ...);
  [[gnu::format(printf, 2, 3)]] void log_trace(const char* format, ...);

 private:
  WriteLine write_line_;
  std::atomic<std::uint32_t> output_{1};
  std::atomic<std::uint32_t> level_{7};
};

// Null until the first ZevraInitialize; changes once and is never reset.
extern std::atomic<ProcessLogger*> process_logger;

inline ProcessLogger* process_logger_in_use() {
  return process_logger.load(std::memory_order_acquire);
}

// Creates the process logger if there is none. Any thread; never fails its caller.
void set_up_process_logger() noexcept;

}  // namespace zevra

#endif
