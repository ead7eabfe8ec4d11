#ifndef ZEVRA_TESTS_FUZZ_FUZZ_H
#define ZEVRA_TESTS_FUZZ_FUZZ_H

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
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

// A file in a folder of this process; both go with the object.
class InputFile {
 public:
  InputFile(const char* name, const std::string& content) : path(folder_ / name) {
    std::filesystem::create_directories(folder_);
    Require((std::ofstream(path, std::ios::binary) << content).flush().good());
  }
  ~InputFile() { std::filesystem::remove_all(folder_); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

 private:
  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("zevra_fuzz_" + std::to_string(::getpid()));

 public:
  const std::string path;
};

#endif
