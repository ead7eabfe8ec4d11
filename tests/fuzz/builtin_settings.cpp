#include <bit>
#include <stdexcept>
#include <vector>

#include "builtin/settings.h"
#include "builtin/wave_file.h"
#include "fuzz.h"

using zevra::builtin::EndpointConfig;

// The input as a settings file of the built-in endpoints, and as a WAV file that one of them plays.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const InputFile file("zevra-builtin.cfu", "[speakers]\n" + text);
  const zevra::builtin::Settings settings = zevra::builtin::ReadSettings(file.path);
  Require(settings.endpoints.size() == 3);
  for (const EndpointConfig& endpoint : settings.endpoints) {
    Require(endpoint.rate >= 4'000 && endpoint.rate <= 384'000);
    Require(endpoint.packet_frames == endpoint.rate / 100);
    Require(endpoint.channels == std::popcount(endpoint.channel_mask));
    Require(endpoint.volume >= 0 && endpoint.volume <= 1);
  }
  for (const std::string& complaint : settings.complaints)
    Require(complaint.starts_with(file.path) && complaint.size() < 4'096);

  // A block of its own, so that a byte read behind it is seen.
  const std::vector<std::uint8_t> bytes(data, data + size);
  try {
    const zevra::builtin::WaveFile wave = zevra::builtin::ParseWave(bytes);
    Require(wave.rate > 0 && wave.waveform.channels > 0 && wave.waveform.channels <= 8);
    Require(!wave.waveform.samples.empty() && wave.waveform.samples.size() <= size / 2);
    Require(wave.waveform.samples.size() % wave.waveform.channels == 0);
  } catch (const std::runtime_error&) {
    // It says what is wrong.
  }
  return 0;
}
