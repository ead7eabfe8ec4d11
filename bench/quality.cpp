// Conversion quality of the resampler transform, with the filter length that the library uses,
// beside soxr HQ and a polyphase filter of our own. Prints a table; exits 1 if the transform misses
// one of its bounds. The curves that a report plots show libswresample without options as well.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <numbers>
#include <string>
#include <vector>

#include "bench/converters.h"
#include "bench/rows.h"
#include "platform/api.h"

namespace {

using zevra::bench::MakeConverter;
using zevra::bench::Rates;
using zevra::bench::Signal;

constexpr double kAmplitude = 0.5;
constexpr double kSignalSeconds = 1.0;

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

Signal Tone(double frequency, std::uint32_t rate) {
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
Measured Measure(const Signal& signal, double frequency, std::uint32_t rate) {
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

Row MeasureRow(MakeConverter make, Rates rates) {
  const auto run = [&](double frequency) {
    return make(rates)->Convert(Tone(frequency, rates.input));
  };
  const double nyquist = rates.Lower() / 2.0;
  Row row{};
  const auto converter = make(rates);
  const Signal low = converter->Convert(Tone(997, rates.input));
  row.quiet_packets = converter->QuietPackets();
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

// Gain, images and aliases by share of the lower rate: a voice recorded at a higher rate, and music
// taken down to what speech recognisers want.
void WriteCurves(const std::string& name, MakeConverter make) {
  constexpr Rates kRising = {8'000, 48'000};
  constexpr Rates kFalling = {48'000, 16'000};
  const auto run = [make](Rates rates) {
    return [make, rates](double frequency) {
      return make(rates)->Convert(Tone(frequency, rates.input));
    };
  };
  for (int step = 0; step < 60; ++step) {
    const double share = 0.38 + 0.002 * step;
    const double inside = share * kFalling.Lower();
    const double gain = Measure(run(kFalling)(inside), inside, kFalling.output).gain_db;
    zevra::bench::WriteRow(name + " gain", share, gain);
    zevra::bench::WriteRow(name + " images", share, LeakOf(run(kRising), share, kRising));
    zevra::bench::WriteRow(name + " aliases", 1 - share, LeakOf(run(kFalling), share, kFalling));
  }
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
    const Row own = MeasureRow(zevra::bench::MakeTransform, rates);
    const bool met = Meets(own, rates);
    all_met = all_met && met;
    Print("zevra", rates, own, met ? "ok" : "BOUND MISSED");
    Print("soxr HQ", rates, MeasureRow(zevra::bench::MakeSoxr, rates), "");
    Print("own", rates, MeasureRow(zevra::bench::MakePolyphase, rates), "");
  }
  return all_met;
}

}  // namespace

int main() {
  ::CoInitialize(nullptr);
  int code = 2;
  try {
    code = PrintTable() ? 0 : 1;
    if (zevra::bench::WantsRows()) {
      WriteCurves("zevra", zevra::bench::MakeTransform);
      WriteCurves("soxr HQ", zevra::bench::MakeSoxr);
      WriteCurves("libswresample", zevra::bench::MakeSwr);
    }
  } catch (const std::exception&) {
    // Require has told what failed.
  }
  ::CoUninitialize();
  return code;
}
