#ifndef ZEVRA_TESTS_FUZZ_FUZZ_H
#define ZEVRA_TESTS_FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// A broken promise ends the run with its input saved.
inline void Require(bool holds) {
  if (!holds) std::abort();
}

// The input as a C text: up to its first zero byte.
inline std::string Text(const std::uint8_t* data, std::size_t size) {
  const std::string all(reinterpret_cast<const char*>(data), size);
  return all.substr(0, all.find('\0'));
}

#endif
