#ifndef ZEVRA_TESTS_PULSE_TONE_CAPTURE_H
#define ZEVRA_TESTS_PULSE_TONE_CAPTURE_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "pulse/server_host.h"
#include "pulse/sine_fit.h"
#include "support/eventually.h"

namespace zevra::test {

// One channel of what is played; full scale is 1.0.
struct Tone {
  double hertz;
  double level;
};

// A capture from its start to its end, while others run.
class ToneCapture {
 public:
  // A stream takes a moment until it runs smoothly.
  static constexpr double kSettle = 1.0;

  // The first second that begins between kSettle and `latest` and is unbroken passes: each of
  // `tones` on its channel, at least `snr_db` above the rest, and silence on the other channels.
  ToneCapture(const ZevraChar* name, std::uint32_t flow, const ZevraAudioFormat& format,
              std::vector<Tone> tones, double snr_db, double latest = kSettle)
      : format_(format),
        tones_(std::move(tones)),
        snr_db_(snr_db),
        recording_(BytesOf(latest + kJudged)),
        device_(name, flow) {
    tones_.resize(format.channels, {997, 0});
    EXPECT_EQ(device_.Start(recording_, format_), 0);
  }
  void Judge() const {
    double first = kSettle;
    std::string faults = "too short";
    EXPECT_TRUE(Eventually([&] {
      const bool full = recording_.IsFull();
      for (; recording_.Size() >= BytesOf(first + kJudged); first += kStep)
        if ((faults = FaultsFrom(first)).empty()) return true;
      return full;
    }));
    EXPECT_EQ(faults, "") << format_.bits_per_sample << " bits, " << format_.samples_per_second
                          << " Hz, " << format_.channels << " channels of " << tones_[0].hertz;
    EXPECT_EQ(ZevraStopCapture(device_), 0);
  }

 private:
  static constexpr double kStep = 0.5;
  static constexpr double kJudged = 1.0;

  std::size_t BytesOf(double seconds) const {
    return static_cast<std::size_t>(seconds * format_.samples_per_second) * format_.channels *
           format_.bits_per_sample / 8;
  }
  std::string FaultsFrom(double first) const {
    std::string faults;
    const std::vector<std::uint8_t> bytes = recording_.Bytes();
    for (unsigned channel = 0; channel < format_.channels; ++channel) {
      const auto [hertz, level] = tones_[channel];
      const SineFit fit = FitSine(Channel(bytes, format_, channel, first, kJudged), hertz,
                                  format_.samples_per_second);
      if (std::abs(fit.level - level) > level * 0.01 || (level > 0 && fit.snr_db < snr_db_))
        faults += std::to_string(fit.level) + " at " + std::to_string(fit.snr_db) + " dB; ";
    }
    return faults;
  }

  const ZevraAudioFormat format_;
  std::vector<Tone> tones_;
  const double snr_db_;
  const Recording recording_;
  const Device device_;
};

}  // namespace zevra::test

#endif
