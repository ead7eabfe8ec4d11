#include "log/process_logger.h"

#include <array>
#include <memory>

#include "log/paths.h"

namespace zevra {

std::atomic<Process_Logger*> process_logger{nullptr};

std::string anchored_log_file(const char* file, ModuleHandle module) {
  std::array<char, kPathBytes> path{};
  if (is_absolute_path(file) || join_path(module_directory(path.data(), module), file) == nullptr)
    return file;
  return path.data();
}

std::int32_t srlog_create(const Log_Settings& cfg) {
  Log_Win32_Process_Mutex creation;
  creation.open("Korvane_Log_Singleton_Mutex");  // without it the creation goes on unguarded
  const lock_guard hold(&creation);
  if (process_logger_in_use() != nullptr) return -1;
  Log_Settings anchored(cfg);
  anchored.values.file = anchored_log_file(cfg.file(), cfg.module());
  auto logger = std::make_unique<Process_Logger>();
  std::int32_t result = -1;
  try {
    result = logger->open(&anchored, nullptr, 0);
  } catch (...) {  // short of memory: what stands of the logger still serves
  }
  // Only now: another thread that sees the pointer logs at once, and must find nothing half made.
  process_logger.store(logger.release(), std::memory_order_release);
  return result;
}

std::int32_t srlog_open(const Log_Settings* cfg) {
  Log_Settings settings;
  if (cfg != nullptr) settings = *cfg;
  settings.read_log_config("logger", "zevra.cfu");
  settings.values.module = kThisLibrary;
  return srlog_create(settings);
}

void set_up_process_logger() noexcept {
  try {
    const Log_Settings settings("zevra.log", "zevra logging");
    srlog_open(&settings);
  } catch (...) {  // no memory for a logger: the gates stay shut and all else runs the same
  }
}

}  // namespace zevra
