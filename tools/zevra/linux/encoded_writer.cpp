#include <fmt/format.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <initializer_list>
#include <utility>
#include <vector>

#include "tools/zevra/text.h"
#include "tools/zevra/writer.h"

namespace zevra::command {
namespace {

using std::chrono::steady_clock;

// Above this, FLAC's frame headers can tell a rate in tens of hertz only.
constexpr std::uint32_t kFlacFineRates = 65535;
constexpr std::uint32_t kVorbisRates = 200'000;
// What a crash can take from a recording's header.
constexpr std::chrono::seconds kHeaderInterval{1};

int FileFormat(const Target& target) {
  switch (target.container) {
    case Container::kVorbis:
      return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
    case Container::kOpus:
      return SF_FORMAT_OGG | SF_FORMAT_OPUS;
    case Container::kMp3:
      return SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
    default:
      break;
  }
  switch (target.format.type) {
    case SampleType::kU8:
      return SF_FORMAT_FLAC | SF_FORMAT_PCM_S8;
    case SampleType::kS16:
      return SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    default:
      return SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
  }
}

SF_INFO Info(const Target& target) {
  SF_INFO info{};
  info.samplerate = static_cast<int>(target.format.rate);
  info.channels = target.format.channels;
  info.format = FileFormat(target);
  return info;
}

SF_VIRTUAL_IO Operations() {
  SF_VIRTUAL_IO operations{};
  operations.get_filelen = [](void* file) -> sf_count_t {
    struct stat status {};
    return fstat(static_cast<OutputFile*>(file)->descriptor(), &status) == 0 ? status.st_size : -1;
  };
  operations.seek = [](sf_count_t offset, int whence, void* file) -> sf_count_t {
    return lseek(static_cast<OutputFile*>(file)->descriptor(), offset, whence);
  };
  operations.tell = [](void* file) -> sf_count_t {
    return lseek(static_cast<OutputFile*>(file)->descriptor(), 0, SEEK_CUR);
  };
  operations.read = [](void* data, sf_count_t length, void* file) -> sf_count_t {
    return read(static_cast<OutputFile*>(file)->descriptor(), data,
                static_cast<std::size_t>(length));
  };
  // A block comes in whole or not at all, so that a file ends with its last whole frame.
  operations.write = [](const void* data, sf_count_t length, void* file) -> sf_count_t {
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    return static_cast<OutputFile*>(file)->Write({bytes, static_cast<std::size_t>(length)}) ? length
                                                                                            : 0;
  };
  return operations;
}

// What libsndfile encodes.
class EncodedWriter final : public AudioWriter {
 public:
  explicit EncodedWriter(const Target& target)
      : format_(target.format),
        lossless_(target.container == Container::kFlac),
        output_(target.file) {
    if (!output_.IsSeekable()) output_.Fail("it is no file; give it a name that ends in .wav");
    SF_INFO info = Info(target);
    SF_VIRTUAL_IO operations = Operations();
    file_ = sf_open_virtual(&operations, SFM_WRITE, &info, &output_);
    if (file_ == nullptr) output_.Fail(sf_strerror(nullptr));
    sf_set_string(file_, SF_STR_DATE, TimeStamp().c_str());
    sf_set_string(file_, SF_STR_SOFTWARE, "zevra");
  }
  ~EncodedWriter() override {
    if (file_ != nullptr) sf_close(file_);
  }
  EncodedWriter(const EncodedWriter&) = delete;
  EncodedWriter& operator=(const EncodedWriter&) = delete;

  void Write(std::span<const std::uint8_t> audio) override {
    if (!(lossless_ ? WriteWhole(audio) : WriteFloat(audio))) output_.Fail(sf_strerror(file_));
    // The others are made of pages or frames that need no header.
    if (!lossless_ || steady_clock::now() - header_time_ < kHeaderInterval) return;
    header_time_ = steady_clock::now();
    sf_command(file_, SFC_UPDATE_HEADER_NOW, nullptr, 0);
  }

  const std::string& File() const override { return output_.path(); }
  void Finish() override {
    if (sf_close(std::exchange(file_, nullptr)) != 0 || output_.HasFailed())
      output_.Fail("its end could not be encoded");
  }

 private:
  // The encoder takes samples in the upper bits of 32.
  bool WriteWhole(std::span<const std::uint8_t> audio) {
    whole_.resize(audio.size() / BytesOf(format_.type));
    Widen(format_.type, audio, whole_);
    const auto count = static_cast<sf_count_t>(whole_.size());
    return sf_write_int(file_, whole_.data(), count) == count;
  }
  bool WriteFloat(std::span<const std::uint8_t> audio) {
    float_.resize(audio.size() / BytesOf(format_.type));
    Decode(format_.type, audio, float_);
    const auto count = static_cast<sf_count_t>(float_.size());
    return sf_write_float(file_, float_.data(), count) == count;
  }

  const AudioFormat format_;
  const bool lossless_;
  OutputFile output_;
  SNDFILE* file_ = nullptr;
  std::vector<std::int32_t> whole_;
  std::vector<float> float_;
  steady_clock::time_point header_time_ = steady_clock::now();
};

void CheckFlac(const AudioFormat& format) {
  if (format.type == SampleType::kS32 || format.type == SampleType::kF32) {
    throw BadArgument("FLAC has no " + NameOf(format.type) +
                      " samples; choose --format u8, s16 or s24, or a .wav file");
  }
  if (format.rate > kFlacFineRates && format.rate % 10 != 0) {
    throw BadArgument(
        fmt::format("FLAC has no rate of {} Hz; choose one in tens or a .wav file", format.rate));
  }
}

void CheckLossy(const Target& target, std::initializer_list<std::uint32_t> rates,
                std::uint16_t most_channels, const char* what) {
  const AudioFormat& format = target.format;
  if (format.channels > most_channels ||
      std::find(rates.begin(), rates.end(), format.rate) == rates.end())
    throw BadArgument(what);
}

}  // namespace

void CheckEncodable(const Target& target) {
  if (target.container == Container::kFlac) CheckFlac(target.format);
  if (target.container == Container::kVorbis && target.format.rate > kVorbisRates)
    throw BadArgument("Vorbis takes rates up to 200000 Hz");
  if (target.container == Container::kOpus) {
    CheckLossy(target, {8000, 12000, 16000, 24000, 48000}, 8,
               "Opus takes rates of 8000, 12000, 16000, 24000 and 48000 Hz");
  }
  if (target.container == Container::kMp3) {
    CheckLossy(target, {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000}, 2,
               "MP3 takes 1 or 2 channels at 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100 "
               "or 48000 Hz");
  }
}

std::unique_ptr<AudioWriter> OpenEncoded(const Target& target) {
  return std::make_unique<EncodedWriter>(target);
}

std::string FileEndings() { return ".wav, .flac, .ogg, .opus or .mp3"; }

}  // namespace zevra::command
