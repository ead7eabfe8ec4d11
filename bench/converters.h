#ifndef ZEVRA_BENCH_CONVERTERS_H
#define ZEVRA_BENCH_CONVERTERS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zevra::bench {

using Signal = std::vector<float>;

struct Rates {
  std::uint32_t input;
  std::uint32_t output;
  std::uint32_t Lower() const { return std::min(input, output); }
};

// A mono converter of 32-bit floats, fed in packets of 10 ms. What the converter refuses is told on
// the standard error and thrown as std::runtime_error.
class Converter {
 public:
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  virtual ~Converter() = default;
  // Gives what the converter delivers for `input`; nothing is drained.
  Signal Convert(const Signal& input);
  // Packets so far that gave no output.
  int QuietPackets() const { return quiet_packets_; }

 protected:
  explicit Converter(Rates rates) : rates_(rates) {}
  virtual void ConvertPacket(const float* input, std::size_t frames, Signal* output) = 0;
  const Rates rates_;

 private:
  int quiet_packets_ = 0;
};

using MakeConverter = std::unique_ptr<Converter> (*)(Rates rates);

// The transform of the library, with the filter length that it uses. Needs COM.
std::unique_ptr<Converter> MakeTransform(Rates rates);
std::unique_ptr<Converter> MakeSoxr(Rates rates);  // its quality HQ
std::unique_ptr<Converter> MakePolyphase(Rates rates);
std::unique_ptr<Converter> MakeSwr(Rates rates);  // libswresample with no option set

}  // namespace zevra::bench

#endif
