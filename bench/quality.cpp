// Conversion quality of the resampler transform, with the filter length that the library uses,
// beside soxr HQ and a polyphase filter of our own. Prints a table; exits 1 if the transform misses
// one of its bounds.

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <stdexcept>
#include <vector>

#include "bench/polyphase.h"
#include "platform/api.h"
#include "platform/owners.h"

namespace {

using zevra::ComPtr;
using Signal = std::vector<float>;

constexpr LONG kHalfFilterLength = 60;
constexpr double kAmplitude = 0.5;
constexpr double kSignalSeconds = 1.0;

struct Rates {
  UINT32 input;
  UINT32 output;
  UINT32 Lower() const { return std::min(input, output); }
};
// Rates that fall, then rates that rise. The last of either have no handy common divisor, which
// takes another way through the filter.
constexpr Rates kRatePairs[] = {{48'000, 44'100}, {96'000, 48'000}, {48'000, 16'000},
                                {48'000, 8'000},  {192'000, 8'000}, {88'200, 84'488},
                                {44'100, 48'000}, {48'000, 96'000}, {48'000, 192'000},
                                {8'000, 48'000},  {11'025, 48'000}, {44'101, 48'000}};

// Tones as shares of the lower rate, where a filter leaks if it does: below half of it they leave
// images when the rate rises, as far above half of it they leave aliases when the rate falls.
constexpr double kLeakSweep[] = {0.40, 0.41,  0.42, 0.43,  0.44, 0.45,  0.455, 0.46, 0.465,
                                 0.47, 0.475, 0.48, 0.485, 0.49, 0.495, 0.497, 0.499};

struct Bounds {
  static constexpr double kLowSnrDb = 135;
  static constexpr double kHighSnrDb = 125;
  static constexpr double kLeakDb = -120;
  static constexpr double kRippleDb = 0.1;
  static constexpr double kHeldMs = 1.5;  // at 48 to 44.1 kHz
};

void Require(HRESULT result, const char* what) {
  if (SUCCEEDED(result)) return;
  std::fprintf(stderr, "quality: %s failed with %x\n", what, static_cast<unsigned>(result));
  throw std::runtime_error(what);
}

// A mono converter of 32-bit floats, fed in packets of 10 ms.
class Converter {
 public:
  virtual ~Converter() = default;
  // Gives what the converter delivers for `input`; nothing is drained.
  Signal Convert(const Signal& input) {
    Signal output;
    const std::size_t packet = rates_.input / 100;
    for (std::size_t at = 0; at < input.size(); at += packet) {
      const std::size_t before = output.size();
      ConvertPacket(&input[at], std::min(packet, input.size() - at), &output);
      quiet_packets_ += output.size() == before;
    }
    return output;
  }
  // Packets so far that gave no output.
  int QuietPackets() const { return quiet_packets_; }

 protected:
  explicit Converter(Rates rates) : rates_(rates) {}
  virtual void ConvertPacket(const float* input, std::size_t frames, Signal* output) = 0;
  const Rates rates_;

 private:
  int quiet_packets_ = 0;
};

class TransformConverter final : public Converter {
 public:
  explicit TransformConverter(Rates rates) : Converter(rates) {
    Require(zevra::os::CoCreateInstance(CLSID_CResamplerMediaObject, nullptr, CLSCTX_INPROC_SERVER,
                                        IID_IMFTransform, transform_.PutVoid()),
            "CreateInstance");
    Require(transform_->SetInputType(0, MediaType(rates.input).Get(), 0), "SetInputType");
    Require(transform_->SetOutputType(0, MediaType(rates.output).Get(), 0), "SetOutputType");
    ComPtr<IWMResamplerProps> properties;
    Require(transform_->QueryInterface(IID_IWMResamplerProps, properties.PutVoid()),
            "QueryInterface");
    Require(properties->SetHalfFilterLength(kHalfFilterLength), "SetHalfFilterLength");
  }

  void ConvertPacket(const float* input, std::size_t frames, Signal* output) override {
    const auto sample = MakeSample(frames);
    ComPtr<IMFMediaBuffer> buffer;
    Require(sample->ConvertToContiguousBuffer(buffer.Put()), "ConvertToContiguousBuffer");
    BYTE* data = nullptr;
    Require(buffer->Lock(&data, nullptr, nullptr), "Lock");
    std::memcpy(data, input, frames * sizeof(float));
    Require(buffer->SetCurrentLength(static_cast<DWORD>(frames * sizeof(float))), "length");
    Require(transform_->ProcessInput(0, sample.Get(), 0), "ProcessInput");
    while (Pull(output)) {
    }
  }

 private:
  static ComPtr<IMFMediaType> MediaType(UINT32 rate) {
    ComPtr<IMFMediaType> type;
    Require(MFCreateMediaType(type.Put()), "MFCreateMediaType");
    type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Audio);
    type->SetGUID(MF_MT_SUBTYPE, MFAudioFormat_Float);
    type->SetUINT32(MF_MT_AUDIO_NUM_CHANNELS, 1);
    type->SetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, rate);
    type->SetUINT32(MF_MT_AUDIO_BLOCK_ALIGNMENT, 4);
    type->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, 32);
    return type;
  }
  static ComPtr<IMFSample> MakeSample(std::size_t frames) {
    ComPtr<IMFSample> sample;
    ComPtr<IMFMediaBuffer> buffer;
    Require(MFCreateSample(sample.Put()), "MFCreateSample");
    Require(MFCreateMemoryBuffer(static_cast<DWORD>(frames * sizeof(float)), buffer.Put()),
            "MFCreateMemoryBuffer");
    Require(sample->AddBuffer(buffer.Get()), "AddBuffer");
    return sample;
  }
  bool Pull(Signal* output) {
    const auto sample = MakeSample(rates_.output / 50);
    MFT_OUTPUT_DATA_BUFFER request{0, sample.Get(), 0, nullptr};
    DWORD status = 0;
    const HRESULT result = transform_->ProcessOutput(0, 1, &request, &status);
    if (result == MF_E_TRANSFORM_NEED_MORE_INPUT) return false;
    Require(result, "ProcessOutput");
    ComPtr<IMFMediaBuffer> buffer;
    Require(sample->ConvertToContiguousBuffer(buffer.Put()), "ConvertToContiguousBuffer");
    BYTE* data = nullptr;
    DWORD bytes = 0;
    Require(buffer->Lock(&data, nullptr, &bytes), "Lock");
    const std::size_t before = output->size();
    output->resize(before + bytes / sizeof(float));
    std::memcpy(output->data() + before, data, bytes);
    return true;
  }

  ComPtr<IMFTransform> transform_;
};

class SoxrConverter final : public Converter {
 public:
  explicit SoxrConverter(Rates rates) : Converter(rates), block_(rates.output / 5) {
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    soxr_ = soxr_create(rates.input, rates.output, 1, nullptr, nullptr, &quality, nullptr);
    if (soxr_ == nullptr) Require(E_FAIL, "soxr_create");
  }
  ~SoxrConverter() override { soxr_delete(soxr_); }
  SoxrConverter(const SoxrConverter&) = delete;
  SoxrConverter& operator=(const SoxrConverter&) = delete;

  void ConvertPacket(const float* input, std::size_t frames, Signal* output) override {
    std::size_t made = 0;
    soxr_process(soxr_, input, frames, nullptr, block_.data(), block_.size(), &made);
    output->insert(output->end(), block_.data(), block_.data() + made);
  }

 private:
  soxr_t soxr_;
  Signal block_;
};

class PolyphaseConverter final : public Converter {
 public:
  explicit PolyphaseConverter(Rates rates)
      : Converter(rates), kernel_(rates.input, rates.output, 1), block_(rates.output / 5) {}

  void ConvertPacket(const float* input, std::size_t frames, Signal* output) override {
    const std::size_t made = kernel_.Convert(input, frames, block_.data());
    output->insert(output->end(), block_.data(), block_.data() + made);
  }

 private:
  zevra::bench::Polyphase kernel_;
  Signal block_;
};

Signal Tone(double frequency, UINT32 rate) {
  Signal tone(static_cast<std::size_t>(kSignalSeconds * rate));
  for (std::size_t i = 0; i < tone.size(); ++i) {
    const double cycles = frequency * static_cast<double>(i) / rate;
    tone[i] = static_cast<float>(kAmplitude *
                                 std::sin(2 * std::numbers::pi * (cycles - std::floor(cycles))));
  }
  return tone;
}

struct Measured {
  double gain_db;   // of the tone
  double snr_db;    // the tone against all else
  double level_db;  // of all together, against the tone that went in
};

// Fits a sine of `frequency` to the middle of `signal` by least squares.
Measured Measure(const Signal& signal, double frequency, UINT32 rate) {
  const std::size_t first = signal.size() / 4;
  const std::size_t last = signal.size() - signal.size() / 8;
  double ss = 0, cc = 0, sc = 0, sy = 0, cy = 0, yy = 0;
  const auto phase = [&](std::size_t i) {
    return 2 * std::numbers::pi * frequency * static_cast<double>(i) / rate;
  };
  for (std::size_t i = first; i < last; ++i) {
    const double s = std::sin(phase(i)), c = std::cos(phase(i)), y = static_cast<double>(signal[i]);
    ss += s * s, cc += c * c, sc += s * c, sy += s * y, cy += c * y, yy += y * y;
  }
  const double determinant = ss * cc - sc * sc;
  const double a = (sy * cc - cy * sc) / determinant;
  const double b = (cy * ss - sy * sc) / determinant;
  double tone = 0, rest = 0;
  for (std::size_t i = first; i < last; ++i) {
    const double fitted = a * std::sin(phase(i)) + b * std::cos(phase(i));
    const double error = static_cast<double>(signal[i]) - fitted;
    tone += fitted * fitted, rest += error * error;
  }
  const double put_in = kAmplitude * kAmplitude / 2 * static_cast<double>(last - first);
  // Nothing at all is told from a very small rest by the smallest float.
  constexpr double kFloor = 1e-30;
  return {20 * std::log10(std::hypot(a, b) / kAmplitude), 10 * std::log10(tone / (rest + kFloor)),
          10 * std::log10((yy + kFloor) / put_in)};
}

struct Row {
  double low_snr_db, high_snr_db, leak_db, ripple_db, edge_db, held_ms;
  int quiet_packets;
};

// All that a tone leaves but itself, in dB against what went in.
template <class Run>
double LeakOf(const Run& run, double share, Rates rates) {
  const double inside = share * rates.Lower();
  if (rates.output < rates.input) {
    const Signal aliases = run(rates.output - inside);
    return Measure(aliases, inside, rates.output).level_db;
  }
  const Measured tone = Measure(run(inside), inside, rates.output);
  return tone.gain_db - tone.snr_db;
}

template <class Made>
Row MeasureRow(Rates rates) {
  const auto run = [&](double frequency) {
    return Made(rates).Convert(Tone(frequency, rates.input));
  };
  const double nyquist = rates.Lower() / 2.0;
  Row row{};
  Made converter(rates);
  const Signal low = converter.Convert(Tone(997, rates.input));
  row.quiet_packets = converter.QuietPackets();
  row.low_snr_db = Measure(low, 997, rates.output).snr_db;
  row.held_ms = 1000 * (kSignalSeconds - static_cast<double>(low.size()) / rates.output);
  row.high_snr_db = Measure(run(0.9 * nyquist), 0.9 * nyquist, rates.output).snr_db;
  row.leak_db = -1000;
  for (const double share : kLeakSweep) {
    // Where the rates are close together, the input has no such tones.
    if ((1 - share) * rates.output >= 0.5 * rates.input && rates.output < rates.input) continue;
    row.leak_db = std::max(row.leak_db, LeakOf(run, share, rates));
  }
  row.edge_db = Measure(run(0.47 * rates.Lower()), 0.47 * rates.Lower(), rates.output).gain_db;
  for (int step = 1; step <= 18; ++step) {
    const double frequency = 0.05 * step * nyquist;
    const double gain = Measure(run(frequency), frequency, rates.output).gain_db;
    row.ripple_db = std::max(row.ripple_db, std::abs(gain));
  }
  return row;
}

bool Meets(const Row& row, Rates rates) {
  const bool held_bound = rates.input == 48'000 && rates.output == 44'100;
  return row.low_snr_db >= Bounds::kLowSnrDb && row.high_snr_db >= Bounds::kHighSnrDb &&
         row.leak_db <= Bounds::kLeakDb && row.ripple_db <= Bounds::kRippleDb &&
         (!held_bound || row.held_ms <= Bounds::kHeldMs);
}

void Print(const char* name, Rates rates, const Row& row, const char* verdict) {
  std::printf("%-8s %6u -> %6u %10.1f %10.1f %10.1f %10.4f %10.2f %9.2f %6d  %s\n", name,
              rates.input, rates.output, row.low_snr_db, row.high_snr_db, row.leak_db,
              row.ripple_db, row.edge_db, row.held_ms, row.quiet_packets, verdict);
}

// True if every bound is met.
bool PrintTable() {
  std::printf(
      "Bounds: SNR at 997 Hz >= %.0f dB, at 0.45 of the lower rate >= %.0f dB; images and aliases"
      " of tones\n0.001 to 0.1 of the lower rate beside half of it <= %.0f dB; gain flat within"
      " %.1f dB to 0.45 of the rate;\nat most %.1f ms held back at 48 to 44.1 kHz. 32-bit float in"
      " and out.\nQuiet: packets of the first second that gave no output.\n\n",
      Bounds::kLowSnrDb, Bounds::kHighSnrDb, Bounds::kLeakDb, Bounds::kRippleDb, Bounds::kHeldMs);
  std::printf("%-8s %16s %10s %10s %10s %10s %10s %9s %6s\n", "", "rates, Hz", "SNR 997 Hz",
              "SNR 0.45", "leak dB", "ripple dB", "gain 0.47", "held ms", "quiet");
  bool all_met = true;
  for (const Rates rates : kRatePairs) {
    const Row own = MeasureRow<TransformConverter>(rates);
    const bool met = Meets(own, rates);
    all_met = all_met && met;
    Print("zevra", rates, own, met ? "ok" : "BOUND MISSED");
    Print("soxr HQ", rates, MeasureRow<SoxrConverter>(rates), "");
    Print("own", rates, MeasureRow<PolyphaseConverter>(rates), "");
  }
  return all_met;
}

}  // namespace

int main() {
  ::CoInitialize(nullptr);
  int code = 2;
  try {
    code = PrintTable() ? 0 : 1;
  } catch (const std::exception&) {
    // Require has told what failed.
  }
  ::CoUninitialize();
  return code;
}
