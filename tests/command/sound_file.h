#ifndef ZEVRA_TESTS_COMMAND_SOUND_FILE_H
#define ZEVRA_TESTS_COMMAND_SOUND_FILE_H

#include <cstddef>
#include <filesystem>

namespace zevra::test {

// A sound file as libsndfile reads it.
struct Sound {
  bool readable = false;
  int format = 0;
  int rate = 0;
  int channels = 0;
  std::size_t frames = 0;
  float peak = 0;
};

// Reads it to its end.
Sound ReadSound(const std::filesystem::path& path);

}  // namespace zevra::test

#endif
