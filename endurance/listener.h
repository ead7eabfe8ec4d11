#ifndef ZEVRA_ENDURANCE_LISTENER_H
#define ZEVRA_ENDURANCE_LISTENER_H

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "zevra/zevra.h"

namespace zevra::endurance {

// A tone, of whole hertz so that each second of it is the same, and its level.
struct Tone {
  int hertz;
  double level;
};

// What a capture of 16-bit frames hears: it counts them, and compares the first channel with the
// sum of tones. The phase of the tones is measured in the first second; from then on each sample is
// known, however late it comes.
class Listener {
 public:
  Listener(unsigned rate, unsigned channels, std::vector<Tone> tones)
      : rate_(rate), channels_(channels), tones_(std::move(tones)) {}

  ZevraAudioFormat Format() const;
  // Called by the capture's callback.
  void Take(const std::uint8_t* data, std::uint32_t length);
  // A new capture begins. Call it while none runs.
  void Begin();
  // Compares from now on.
  void Compare(bool on) { compares_ = on; }

  std::uint64_t Frames() const { return frames_; }
  std::uint64_t Compared() const { return compared_; }
  // The largest difference from the tones, in steps of 16 bits.
  double LargestError() const { return largest_error_; }
  // What is wrong with the level of a tone in the first second; empty if nothing is.
  std::string WrongLevel() const;

 private:
  void MakeReference();

  const unsigned rate_, channels_;
  const std::vector<Tone> tones_;
  std::atomic<std::uint64_t> frames_{0}, compared_{0};
  std::atomic<bool> compares_{false};
  std::atomic<double> largest_error_{0};
  // The second second of a capture, in which the filter has settled, and what each one must be.
  std::vector<double> second_, reference_, levels_;
};

}  // namespace zevra::endurance

#endif
