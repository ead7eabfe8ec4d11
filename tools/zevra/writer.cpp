#include "tools/zevra/writer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

// A file that libsndfile writes through, so that a full disk leaves whole blocks: what does not fit
// as a whole is not written at all. A FLAC file then ends with its last whole frame and not in the
// middle of one.
class OutputFile {
 public:
  // Makes the file or empties it; look at error().
  explicit OutputFile(const std::string& path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Null where libsndfile does not take the format; then error() is 0.
  SNDFILE* Open(SF_INFO& info);
  // The error number of the first operation that failed, or 0.
  int error() const { return error_; }

 private:
  static SF_VIRTUAL_IO Operations();
  sf_count_t Write(const void* data, sf_count_t length);

  int descriptor_;
  int error_ = 0;
};

constexpr mode_t kMode = 0666;

using std::chrono::steady_clock;

// Above this, FLAC's frame headers can tell a rate in tens of hertz only.
constexpr std::uint32_t kFlacFineRates = 65535;
// What a crash can take from a recording's header.
constexpr std::chrono::seconds kHeaderInterval{1};

enum class Container { kRaw, kWav, kFlac, kUnknown };

Container ContainerOf(const std::string& path) {
  if (path == "-") return Container::kRaw;
  const std::size_t dot = path.rfind('.');
  const std::string ending = dot == std::string::npos ? "" : path.substr(dot);
  if (EqualIgnoringCase(ending, ".wav")) return Container::kWav;
  if (EqualIgnoringCase(ending, ".flac")) return Container::kFlac;
  return Container::kUnknown;
}

int Subtype(Container container, SampleType type) {
  switch (type) {
    case SampleType::kU8:
      return container == Container::kFlac ? SF_FORMAT_PCM_S8 : SF_FORMAT_PCM_U8;
    case SampleType::kS16:
      return SF_FORMAT_PCM_16;
    case SampleType::kS24:
      return SF_FORMAT_PCM_24;
    case SampleType::kS32:
      return SF_FORMAT_PCM_32;
    default:
      return SF_FORMAT_FLOAT;
  }
}

// What a plain WAV can hold, less some for its header.
constexpr double kWavBytes = 4e9;

// RF64 grows beyond that and becomes a WAV at the end if it did not, but always with the extensible
// header, which readers of the simplest kind do not know.
int FileFormat(Container container, const AudioFormat& format, std::optional<double> seconds) {
  if (container == Container::kFlac) return SF_FORMAT_FLAC;
  const auto second_bytes = static_cast<double>(format.FrameBytes()) * format.rate;
  if (!seconds || *seconds * second_bytes > kWavBytes) return SF_FORMAT_RF64;
  const bool plain = format.channels <= 2 && BytesOf(format.type) <= 2;
  return plain ? SF_FORMAT_WAV : SF_FORMAT_WAVEX;
}

// The speakers in the order of the mask's bits, as libsndfile names them.
constexpr int kSpeakers[] = {
    SF_CHANNEL_MAP_LEFT,
    SF_CHANNEL_MAP_RIGHT,
    SF_CHANNEL_MAP_CENTER,
    SF_CHANNEL_MAP_LFE,
    SF_CHANNEL_MAP_REAR_LEFT,
    SF_CHANNEL_MAP_REAR_RIGHT,
    SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER,
    SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER,
    SF_CHANNEL_MAP_REAR_CENTER,
    SF_CHANNEL_MAP_SIDE_LEFT,
    SF_CHANNEL_MAP_SIDE_RIGHT,
};

std::vector<int> SpeakersOf(std::uint16_t channels) {
  std::vector<int> speakers;
  for (std::size_t bit = 0; bit < std::size(kSpeakers); ++bit)
    if ((SpeakerMask(channels) >> bit & 1U) != 0) speakers.push_back(kSpeakers[bit]);
  return speakers;
}

[[noreturn]] void FailWriting(const std::string& path, const std::string& reason) {
  throw Failure("can't write " + path + ": " + reason);
}

class FileWriter final : public AudioWriter {
 public:
  FileWriter(std::string path, Container container, const AudioFormat& format,
             std::optional<double> seconds)
      : path_(std::move(path)), container_(container), format_(format), output_(path_) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(format.rate);
    info.channels = format.channels;
    info.format = FileFormat(container, format, seconds) | Subtype(container, format.type);
    file_ = output_.Open(info);
    if (file_ == nullptr) FailWriting(path_, Reason());
    sf_command(file_, SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
    std::vector<int> speakers = SpeakersOf(format.channels);
    sf_command(file_, SFC_SET_CHANNEL_MAP_INFO, speakers.data(),
               static_cast<int>(speakers.size() * sizeof(int)));
  }
  ~FileWriter() override {
    if (file_ != nullptr) sf_close(file_);
  }
  FileWriter(const FileWriter&) = delete;
  FileWriter& operator=(const FileWriter&) = delete;

  void Write(std::span<const std::uint8_t> audio) override {
    if (!(container_ == Container::kFlac ? WriteSamples(audio) : WriteBytes(audio)))
      FailWriting(path_, Reason());
    if (steady_clock::now() - header_time_ < kHeaderInterval) return;
    header_time_ = steady_clock::now();
    sf_command(file_, SFC_UPDATE_HEADER_NOW, nullptr, 0);
  }

  void Finish() override {
    if (sf_close(std::exchange(file_, nullptr)) != 0 || output_.error() != 0)
      FailWriting(path_, Reason());
  }

 private:
  bool WriteBytes(std::span<const std::uint8_t> audio) {
    const auto length = static_cast<sf_count_t>(audio.size());
    return sf_write_raw(file_, audio.data(), length) == length;
  }
  // The encoder takes samples in the upper bits of 32.
  bool WriteSamples(std::span<const std::uint8_t> audio) {
    samples_.resize(audio.size() / BytesOf(format_.type));
    Widen(format_.type, audio, samples_);
    const auto count = static_cast<sf_count_t>(samples_.size());
    return sf_write_int(file_, samples_.data(), count) == count;
  }
  std::string Reason() const {
    return output_.error() != 0 ? SystemText(output_.error()) : sf_strerror(file_);
  }

  const std::string path_;
  const Container container_;
  const AudioFormat format_;
  OutputFile output_;
  SNDFILE* file_ = nullptr;
  std::vector<std::int32_t> samples_;
  steady_clock::time_point header_time_ = steady_clock::now();
};

class StandardOutputWriter final : public AudioWriter {
 public:
  void Write(std::span<const std::uint8_t> audio) override {
    while (!audio.empty()) {
      const ssize_t written = write(STDOUT_FILENO, audio.data(), audio.size());
      if (written >= 0) {
        audio = audio.subspan(static_cast<std::size_t>(written));
      } else if (errno == EPIPE) {
        throw Failure("whoever read standard output has gone");
      } else if (errno != EINTR) {
        FailWriting("to standard output", SystemText(errno));
      } else if (Interrupted()) {
        // Whoever should read may never do so again.
        return;
      }
    }
  }
  void Finish() override {}
};

OutputFile::OutputFile(const std::string& path)
    : descriptor_(open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, kMode)) {
  if (descriptor_ < 0) error_ = errno;
}

OutputFile::~OutputFile() {
  if (descriptor_ >= 0) close(descriptor_);
}

SNDFILE* OutputFile::Open(SF_INFO& info) {
  SF_VIRTUAL_IO operations = Operations();
  return error_ != 0 ? nullptr : sf_open_virtual(&operations, SFM_WRITE, &info, this);
}

SF_VIRTUAL_IO OutputFile::Operations() {
  SF_VIRTUAL_IO operations{};
  operations.get_filelen = [](void* self) -> sf_count_t {
    struct stat status {};
    return fstat(static_cast<OutputFile*>(self)->descriptor_, &status) == 0 ? status.st_size : -1;
  };
  operations.seek = [](sf_count_t offset, int whence, void* self) -> sf_count_t {
    return lseek(static_cast<OutputFile*>(self)->descriptor_, offset, whence);
  };
  operations.tell = [](void* self) -> sf_count_t {
    return lseek(static_cast<OutputFile*>(self)->descriptor_, 0, SEEK_CUR);
  };
  operations.read = [](void* data, sf_count_t length, void* self) -> sf_count_t {
    return read(static_cast<OutputFile*>(self)->descriptor_, data,
                static_cast<std::size_t>(length));
  };
  operations.write = [](const void* data, sf_count_t length, void* self) -> sf_count_t {
    return static_cast<OutputFile*>(self)->Write(data, length);
  };
  return operations;
}

sf_count_t OutputFile::Write(const void* data, sf_count_t length) {
  const auto* const bytes = static_cast<const std::uint8_t*>(data);
  const off_t begin = lseek(descriptor_, 0, SEEK_CUR);
  for (sf_count_t done = 0; done < length;) {
    const ssize_t written =
        write(descriptor_, bytes + done, static_cast<std::size_t>(length - done));
    if (written >= 0) {
      done += written;
    } else if (errno != EINTR) {
      if (error_ == 0) error_ = errno;
      // What of it came in is taken back, but only at the end: a header is no block to lose.
      struct stat status {};
      if (fstat(descriptor_, &status) == 0 && begin + done == status.st_size) {
        static_cast<void>(ftruncate(descriptor_, begin) == 0 &&
                          lseek(descriptor_, begin, SEEK_SET) == begin);
      }
      return 0;
    }
  }
  return length;
}

}  // namespace

void CheckWritable(const std::string& path, const AudioFormat& format) {
  const Container container = ContainerOf(path);
  if (container == Container::kUnknown) {
    throw BadArgument(
        "can't tell what to write into " + path +
        ": end the name in .wav or .flac, or give - for raw audio on standard output");
  }
  if (container == Container::kRaw && isatty(STDOUT_FILENO) == 1) {
    throw BadArgument(
        "samples say nothing on a terminal: send standard output to a program or a file, or name a "
        "file");
  }
  if (container != Container::kFlac) return;
  if (format.type == SampleType::kS32 || format.type == SampleType::kF32) {
    throw BadArgument("FLAC has no " + NameOf(format.type) +
                      " samples; choose --format u8, s16 or s24, or a .wav file");
  }
  if (format.rate > kFlacFineRates && format.rate % 10 != 0) {
    throw BadArgument(
        fmt::format("FLAC has no rate of {} Hz; choose one in tens or a .wav file", format.rate));
  }
}

std::unique_ptr<AudioWriter> OpenWriter(const std::string& path, const AudioFormat& format,
                                        std::optional<double> seconds) {
  CheckWritable(path, format);
  const Container container = ContainerOf(path);
  if (container == Container::kRaw) return std::make_unique<StandardOutputWriter>();
  return std::make_unique<FileWriter>(path, container, format, seconds);
}

}  // namespace zevra::command
