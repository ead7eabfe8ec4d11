#ifndef ZEVRA_TESTS_SUPPORT_EVENTUALLY_H
#define ZEVRA_TESTS_SUPPORT_EVENTUALLY_H

#include <chrono>
#include <functional>
#include <thread>

namespace zevra::test {

// Waits until the condition holds; false after a minute, which no sound run comes near.
inline bool Eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace zevra::test

#endif
