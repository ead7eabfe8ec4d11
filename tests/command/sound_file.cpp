#include "tests/command/sound_file.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace zevra::test {

Sound ReadSound(const std::filesystem::path& path) {
  Sound sound;
  SF_INFO info{};
  SNDFILE* const file = sf_open(path.c_str(), SFM_READ, &info);
  if (file == nullptr) return sound;
  std::vector<float> samples;
  std::vector<float> some(std::size_t{4096} * static_cast<std::size_t>(info.channels));
  while (const auto count =
             sf_read_float(file, some.data(), static_cast<sf_count_t>(some.size()))) {
    for (sf_count_t i = 0; i < count; ++i)
      sound.peak = std::max(sound.peak, std::fabs(some[static_cast<std::size_t>(i)]));
    sound.frames += static_cast<std::size_t>(count / info.channels);
  }
  sound.readable = sf_error(file) == SF_ERR_NO_ERROR;
  sf_close(file);
  sound.format = info.format;
  sound.rate = info.samplerate;
  sound.channels = info.channels;
  return sound;
}

}  // namespace zevra::test
