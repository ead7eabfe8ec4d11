#include <array>
#include <chrono>
#include <cstring>
#include <limits>
#include <vector>

#include "tools/zevra/writer.h"

namespace zevra::command {
namespace {

using std::chrono::steady_clock;

// What a crash can take from a recording's header.
constexpr std::chrono::seconds kHeaderInterval{1};
// The longest audio whose sizes fit into a header of 32 bits, with everything around it.
constexpr std::uint64_t kMost32 = 0xFFFFFF00U;
constexpr std::uint32_t kUnknown = 0xFFFFFFFFU;

constexpr std::uint16_t kPcm = 1;
constexpr std::uint16_t kFloat = 3;
constexpr std::uint16_t kExtensible = 0xFFFE;
// What follows the kind of samples in the identifier of an extensible format.
constexpr std::array<std::uint8_t, 14> kSubformat = {0, 0, 0,    0, 0x10, 0,    0x80,
                                                     0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};

// Little-endian bytes one after the other.
class Bytes {
 public:
  Bytes& Text(const char* text) {
    bytes_.insert(bytes_.end(), text, text + std::strlen(text));
    return *this;
  }
  template <class Number>
  Bytes& Put(Number number) {
    for (std::size_t i = 0; i < sizeof number; ++i)
      bytes_.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
    return *this;
  }
  template <class Range>
  Bytes& All(const Range& range) {
    bytes_.insert(bytes_.end(), range.begin(), range.end());
    return *this;
  }
  std::vector<std::uint8_t>& Get() { return bytes_; }

 private:
  std::vector<std::uint8_t> bytes_;
};

// Mono and stereo of up to 16 bits have the header that the simplest readers know.
void PutFormat(Bytes& out, const AudioFormat& format) {
  const std::uint16_t kind = format.type == SampleType::kF32 ? kFloat : kPcm;
  const auto bits = static_cast<std::uint16_t>(BytesOf(format.type) * 8);
  const auto frame_bytes = static_cast<std::uint16_t>(format.FrameBytes());
  const bool plain = format.channels <= 2 && bits <= 16;
  out.Text("fmt ").Put(std::uint32_t{plain ? 16U : 40U}).Put(plain ? kind : kExtensible);
  out.Put(format.channels).Put(format.rate).Put(format.rate * frame_bytes);
  out.Put(frame_bytes).Put(bits);
  if (!plain) {
    out.Put(std::uint16_t{22}).Put(bits).Put(SpeakerMask(format.channels));
    out.Put(kind).All(kSubformat);
  }
}

// `data_bytes` of audio so far, kUnknown for a stream. A file that may outgrow 32 bits keeps some
// bytes free in its header, in which it notes the real sizes once it has.
std::vector<std::uint8_t> Header(const AudioFormat& format, std::uint64_t data_bytes, bool stream,
                                 bool may_grow, std::uint64_t tail_bytes) {
  const bool big = !stream && data_bytes > kMost32;
  Bytes rest;
  PutFormat(rest, format);
  const std::uint64_t frames = data_bytes / format.FrameBytes();
  if (format.type == SampleType::kF32) {
    rest.Text("fact").Put(std::uint32_t{4});
    rest.Put(stream || big ? kUnknown : static_cast<std::uint32_t>(frames));
  }
  rest.Text("data").Put(stream || big ? kUnknown : static_cast<std::uint32_t>(data_bytes));
  constexpr std::uint32_t kSizes = 28;
  const std::uint64_t riff_bytes = 4 + (may_grow ? 8 + kSizes : 0) + rest.Get().size() +
                                   data_bytes + data_bytes % 2 + tail_bytes;
  Bytes out;
  out.Text(big ? "RF64" : "RIFF");
  out.Put(stream || big ? kUnknown : static_cast<std::uint32_t>(riff_bytes)).Text("WAVE");
  if (may_grow && big)
    out.Text("ds64").Put(kSizes).Put(riff_bytes).Put(data_bytes).Put(frames).Put(std::uint32_t{0});
  else if (may_grow)
    out.Text("JUNK").Put(kSizes).All(std::array<std::uint8_t, kSizes>{});
  return out.All(rest.Get()).Get();
}

class PlainWriter final : public AudioWriter {
 public:
  explicit PlainWriter(const Target& target)
      : format_(target.format),
        wav_(target.container == Container::kWav),
        may_grow_(!target.seconds ||
                  *target.seconds * format_.rate * static_cast<double>(format_.FrameBytes()) >
                      static_cast<double>(kMost32)),
        begun_(TimeStamp()),
        output_(target.file) {
    if (!wav_) return;
    const bool stream = !output_.IsSeekable();
    if (!output_.Write(Header(format_, 0, stream, may_grow_ && !stream, 0))) output_.Fail();
  }
  ~PlainWriter() override {
    if (!finished_) UpdateHeader();
  }
  PlainWriter(const PlainWriter&) = delete;
  PlainWriter& operator=(const PlainWriter&) = delete;

  void Write(std::span<const std::uint8_t> audio) override {
    if (!output_.Write(audio)) output_.Fail();
    bytes_ += audio.size();
    if (steady_clock::now() - header_time_ < kHeaderInterval) return;
    header_time_ = steady_clock::now();
    UpdateHeader();
  }

  const std::string& File() const override { return output_.path(); }
  void Finish() override {
    finished_ = true;
    if (wav_ && output_.IsSeekable()) {
      Bytes tail;
      if (bytes_ % 2 != 0) tail.Put(std::uint8_t{0});
      // Numbers of bytes are even.
      const auto length = static_cast<std::uint32_t>(begun_.size() / 2 * 2 + 2);
      tail.Text("LIST").Put(length + 12).Text("INFOICRD").Put(length).Text(begun_.c_str());
      tail.Get().resize(tail.Get().size() + length - begun_.size());
      if (output_.Write(tail.Get())) tail_bytes_ = length + 20;
    }
    UpdateHeader();
    if (output_.HasFailed()) output_.Fail();
  }

 private:
  void UpdateHeader() {
    if (wav_ && output_.IsSeekable())
      output_.WriteHeader(Header(format_, bytes_, false, may_grow_, tail_bytes_));
  }

  const AudioFormat format_;
  const bool wav_;
  const bool may_grow_;
  const std::string begun_;
  OutputFile output_;
  bool finished_ = false;
  std::uint64_t bytes_ = 0;
  std::uint64_t tail_bytes_ = 0;
  steady_clock::time_point header_time_ = steady_clock::now();
};

}  // namespace

std::unique_ptr<AudioWriter> OpenPlain(const Target& target) {
  return std::make_unique<PlainWriter>(target);
}

}  // namespace zevra::command
