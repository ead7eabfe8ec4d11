#include "log/process_logger.h"

#include <memory>

#include "log/paths.h"
#include "platform/locks.h"
#include "platform/modules.h"

namespace zevra {

std::atomic<Process_Logger*> process_logger{nullptr};

std::int32_t srlog_create(const Log_Settings& cfg) {
  Log_Win32_Process_Mutex creation;
  creation.open("Korvane_Log_Singleton_Mutex");  // without it the creation goes on unguarded
  const lock_guard hold(&creation);
  if (ProcessLoggerInUse() != nullptr) return -1;
  Log_Settings anchored(cfg);
  anchored.values.file = AnchorAtModule(cfg.file(), cfg.module());
  auto logger = std::make_unique<Process_Logger>();
  std::int32_t result = -1;
  try {
    result = logger->open(&anchored, nullptr, 0);
  } catch (...) {  // out of memory: the logger still serves with what it has
  }
  KeepThisLibrary();
  // Stored last: a thread that sees the pointer logs through it at once.
  process_logger.store(logger.release(), std::memory_order_release);
  AtFork(
      [] {
        if (Process_Logger* const used = ProcessLoggerInUse()) used->BeforeFork();
      },
      [] {
        if (Process_Logger* const used = ProcessLoggerInUse()) used->AfterFork(false);
      },
      [] {
        if (Process_Logger* const used = ProcessLoggerInUse()) used->AfterFork(true);
      });
  return result;
}

std::int32_t srlog_open(const Log_Settings* cfg) {
  Log_Settings settings;
  if (cfg != nullptr) settings = *cfg;
  settings.read_log_config("logger", "zevra.cfu");
  settings.values.module = kThisLibrary;
  return srlog_create(settings);
}

void SetUpProcessLogger() noexcept {
  try {
    const Log_Settings settings("zevra.log", "zevra logging");
    srlog_open(&settings);
  } catch (...) {  // out of memory: nothing is logged and all else works
  }
}

}  // namespace zevra
