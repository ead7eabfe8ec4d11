#ifndef ZEVRA_LOG_IMPL_COMMON_H
#define ZEVRA_LOG_IMPL_COMMON_H

// What the parts of Log_Impl_T's code share.

#include <cstddef>

#include "log/log_impl.h"
#include "log/masks.h"

#define ZEVRA_LOG_TEMPLATE template <class IO, class LOCK, class CFG>
#define ZEVRA_LOG_CLASS Log_Impl_T<IO, LOCK, CFG>

namespace zevra::log_detail {

constexpr std::size_t kTimeBytes = 133;

// What an output fails at must not keep the next one from its turn, nor reach the caller.
template <class Work>
void whatever_happens(Work work) noexcept {
  try {
    work();
  } catch (...) {  // the log has no place to tell its own failures
  }
}

}  // namespace zevra::log_detail

#endif
