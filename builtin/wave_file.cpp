#include "builtin/wave_file.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace zevra::builtin {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uintmax_t kLargestFile = 256 << 20;
constexpr std::uint32_t kMostChannels = 8;
constexpr std::size_t kHeaderBytes = 12, kChunkHeaderBytes = 8;
constexpr std::size_t kPlainBytes = 16, kExtensibleBytes = 40;
constexpr std::uint32_t kTagPcm = 1, kTagFloat = 3, kTagExtensible = 0xFFFE;
// Behind the tag, which is its beginning, every sub-format of this kind goes on so.
constexpr std::string_view kSubFormatTail("\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 14);

std::uint32_t Number(Bytes bytes, std::size_t at, std::size_t width) {
  std::uint32_t value = 0;
  for (std::size_t i = width; i > 0; --i) value = value << 8 | bytes[at + i - 1];
  return value;
}

bool IsAt(Bytes bytes, std::size_t at, std::string_view text) {
  return bytes.size() - at >= text.size() && std::memcmp(&bytes[at], text.data(), text.size()) == 0;
}

// What a "fmt " chunk says of the samples.
struct Samples {
  std::uint32_t tag = 0;
  std::uint32_t channels = 0;
  std::uint32_t rate = 0;
  std::uint32_t width = 0;  // bytes of a sample
};

Samples ReadFormat(Bytes chunk) {
  if (chunk.size() < kPlainBytes) throw std::runtime_error("its format is cut off");
  Samples samples{Number(chunk, 0, 2), Number(chunk, 2, 2), Number(chunk, 4, 4), 0};
  const std::uint32_t block_bytes = Number(chunk, 12, 2), bits = Number(chunk, 14, 2);
  if (samples.tag == kTagExtensible && chunk.size() >= kExtensibleBytes &&
      IsAt(chunk, 26, kSubFormatTail))
    samples.tag = Number(chunk, 24, 2);
  const bool known = (samples.tag == kTagPcm && (bits == 16 || bits == 24 || bits == 32)) ||
                     (samples.tag == kTagFloat && bits == 32);
  if (!known)
    throw std::runtime_error("it has samples other than PCM of 16, 24 or 32 bits or float of 32");
  samples.width = bits / 8;
  if (samples.channels == 0 || samples.channels > kMostChannels)
    throw std::runtime_error("it has " + std::to_string(samples.channels) +
                             " channels, not 1 to 8");
  if (samples.rate == 0 || block_bytes != samples.width * samples.channels)
    throw std::runtime_error("its format contradicts itself");
  return samples;
}

float Decode(const Samples& samples, Bytes data, std::size_t at) {
  const std::uint32_t number = Number(data, at, samples.width);
  float value = 0;
  if (samples.tag == kTagFloat) {
    std::memcpy(&value, &number, sizeof(value));
    return value;
  }
  // At the top of 32 bits every width has the same full scale.
  const auto whole = static_cast<std::int32_t>(number << (32 - 8 * samples.width));
  return static_cast<float>(whole) / 2147483648.0F;
}

}  // namespace

WaveFile ParseWave(Bytes bytes) {
  if (bytes.size() < kHeaderBytes || !IsAt(bytes, 0, "RIFF") || !IsAt(bytes, 8, "WAVE"))
    throw std::runtime_error("it is no RIFF WAVE file");
  Samples samples;
  Bytes data;
  for (Bytes rest = bytes.subspan(kHeaderBytes); rest.size() >= kChunkHeaderBytes;) {
    const std::size_t left = rest.size() - kChunkHeaderBytes;
    const std::size_t length = std::min<std::size_t>(Number(rest, 4, 4), left);
    const Bytes chunk = rest.subspan(kChunkHeaderBytes, length);
    if (samples.width == 0 && IsAt(rest, 0, "fmt ")) samples = ReadFormat(chunk);
    if (data.empty() && IsAt(rest, 0, "data")) data = chunk;
    // A chunk of an odd length is followed by a byte that is nobody's.
    rest = rest.subspan(kChunkHeaderBytes + std::min(length + length % 2, left));
  }
  if (samples.width == 0) throw std::runtime_error("it has no format");
  const std::size_t frames = data.size() / samples.width / samples.channels;
  if (frames == 0) throw std::runtime_error("it has no sound");

  WaveFile file{samples.rate, {{}, samples.channels}};
  file.waveform.samples.resize(frames * samples.channels);
  std::size_t at = 0;
  for (float& sample : file.waveform.samples) {
    sample = Decode(samples, data, at);
    at += samples.width;
  }
  return file;
}

WaveFile ReadWaveFile(const std::string& path) {
  // Regular files only: a pipe of that name would hold the reader for ever.
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error))
    throw std::runtime_error("there is no such file");
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (error || size > kLargestFile) throw std::runtime_error("it has more than 256 MiB");
  std::vector<std::uint8_t> bytes(size);
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("it cannot be read");
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
  return ParseWave(Bytes(bytes).first(static_cast<std::size_t>(file.gcount())));
}

}  // namespace zevra::builtin
