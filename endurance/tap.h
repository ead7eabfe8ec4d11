#ifndef ZEVRA_ENDURANCE_TAP_H
#define ZEVRA_ENDURANCE_TAP_H

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "endurance/board.h"
#include "zevra/zevra.h"

namespace zevra::endurance {

// The one handle of a host, and what its callback must see. A callback gets nothing of the host's
// own, so there is one tap in a process. Every call of it locks the handle: a handle is for one
// thread at a time.
class Tap {
 public:
  explicit Tap(HostBoard& orders);
  ~Tap();
  Tap(const Tap&) = delete;
  Tap& operator=(const Tap&) = delete;

  // A null name for the default endpoint. True once a handle is open.
  bool Open(const ZevraChar* name);
  void Close();
  bool IsOpen();
  // Also from inside the callback, where a handle that another thread uses is left alone.
  bool StartCapture(const ZevraAudioFormat& format);
  void StopCapture();
  bool StartPlay();
  void StopPlay();
  bool HasVolume();

  // Runs inside the callback, with the handle locked for it.
  std::function<void(Tap&)> inside;

  // Keeps what is captured from now on, to the end of the check.
  void Keep(bool on);
  std::vector<std::uint8_t> Kept();

 private:
  static void Deliver(void* reserved, std::uint32_t silent, const std::uint8_t* data,
                      std::uint32_t length);
  void Take(std::uint32_t silent, const std::uint8_t* data, std::uint32_t length);

  HostBoard& orders_;
  std::recursive_mutex handle_mutex_;
  ZevraHandle handle_ = nullptr;
  bool in_callback_ = false;
  // Captures are counted from 1, so that a late callback tells which one it belongs to.
  std::atomic<unsigned> capture_{0}, stopped_{0};
  std::atomic<std::uint32_t> frame_bytes_{1};
  std::mutex kept_mutex_;
  bool keeps_ = false;
  std::vector<std::uint8_t> kept_;
};

// What the driver plays in a check: it counts up on the left and down on the right in steps that 16
// bits hold, so a lost, doubled or changed frame shows.
std::vector<float> CheckRamp();
// The samples of a file or a capture without the silence before and behind them.
std::vector<float> SoundOf(const std::vector<float>& samples);
std::vector<float> SoundIn(const char* file);

}  // namespace zevra::endurance

#endif
