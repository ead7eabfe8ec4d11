#ifndef ZEVRA_BUILTIN_WAVE_FILE_H
#define ZEVRA_BUILTIN_WAVE_FILE_H

#include <cstdint>
#include <span>
#include <string>

#include "builtin/signal.h"

namespace zevra::builtin {

struct WaveFile {
  std::uint32_t rate = 0;  // frames a second; 1 or more
  Waveform waveform;       // one frame or more
};

// The sound of a RIFF WAVE file: PCM of 16, 24 or 32 bits, or float of 32, in 1 to 8 channels,
// plain or extensible. 16- and 24-bit samples keep every bit. A data chunk that claims more bytes
// than there are, as one has whose writer was stopped, ends with the file; a frame that was cut is
// left out. std::runtime_error with what is wrong with the file, as the end of a sentence.
WaveFile ParseWave(std::span<const std::uint8_t> bytes);

// The same for the regular file at `path`, of 256 MiB at most.
WaveFile ReadWaveFile(const std::string& path);

}  // namespace zevra::builtin

#endif
