#ifndef ZEVRA_TOOLS_ZEVRA_METER_H
#define ZEVRA_TOOLS_ZEVRA_METER_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/zevra/sample_format.h"
#include "tools/zevra/spectrum.h"
#include "tools/zevra/terminal.h"

namespace zevra::command {

// Peak and mean power of each channel, over any stretch of audio. Values are amplitudes, 1.0 is
// full scale.
class Levels {
 public:
  explicit Levels(std::uint16_t channels) : peaks_(channels), squares_(channels) {}

  // Interleaved whole frames.
  void Add(std::span<const float> samples);
  void Clear();

  std::uint16_t channels() const { return static_cast<std::uint16_t>(peaks_.size()); }
  float Peak(std::uint16_t channel) const { return peaks_[channel]; }
  float Peak() const;
  // Over all channels.
  double Rms() const;

 private:
  std::vector<float> peaks_;
  std::vector<double> squares_;
  std::uint64_t frames_ = 0;
};

// Decibels of full scale; minus infinity for 0.
double Decibels(double amplitude);
// "-12.3", or "-inf" for silence.
std::string DecibelText(double amplitude);

// Lets sound through and holds silence back, with a moment of what is around the sound, so that no
// word is cut.
class SoundGate {
 public:
  // In decibels of full scale, what counts as sound. Without `closes` everything follows the first
  // sound.
  SoundGate(double threshold, bool closes, const AudioFormat& format)
      : threshold_(threshold), closes_(closes), format_(format) {}

  // Whole frames, and the same as samples; gives what of them and of what was held back goes on,
  // valid until the next call.
  std::span<const std::uint8_t> Pass(std::span<const std::uint8_t> audio,
                                     std::span<const float> samples);
  bool HasOpened() const { return opened_; }

 private:
  const double threshold_;
  const bool closes_;
  const AudioFormat format_;
  std::vector<std::uint8_t> out_;
  std::vector<std::uint8_t> held_;
  bool open_ = false;
  bool opened_ = false;
  std::uint64_t quiet_frames_ = 0;
};

// Shows how a capture goes: on a terminal the time and a bar for each channel, some fifteen times a
// second; elsewhere a line now and then.
class MeterView {
 public:
  // `total_seconds` turns the time into progress; `spectrum` stands between it and the bars.
  MeterView(Terminal& terminal, std::uint16_t channels, std::optional<double> total_seconds,
            std::optional<Spectrum> spectrum);

  // Interleaved whole frames that have arrived.
  void Add(std::span<const float> samples);
  // Shows what is due; `seconds` of sound have passed. Cheap when nothing is due.
  void Show(double seconds);

 private:
  using Clock = std::chrono::steady_clock;

  void Draw(double seconds, double since_last);
  std::string TimeLine(double seconds, std::size_t width) const;
  std::string BarLine(std::uint16_t channel, std::size_t width) const;
  std::string PlainLine(double seconds) const;

  Terminal& terminal_;
  const std::optional<double> total_seconds_;
  Levels levels_;
  std::optional<Spectrum> spectrum_;
  // What a bar shows and where its mark of the last peak stands, in decibels.
  std::vector<double> shown_;
  std::vector<double> held_;
  std::vector<Clock::time_point> held_since_;
  Clock::time_point drawn_;
  std::uint64_t lines_ = 0;
};

// "1:02:03.4", "02:03.4".
std::string TimeText(double seconds);

}  // namespace zevra::command

#endif
