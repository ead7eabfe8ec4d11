#ifndef ZEVRA_TESTS_FAULT_INJECTION_CAPTURE_HOST_H
#define ZEVRA_TESTS_FAULT_INJECTION_CAPTURE_HOST_H

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "support/host.h"

namespace zevra::test {

using Lines = std::vector<std::string>;

struct Delivery {
  std::uint32_t silent;
  std::vector<std::uint8_t> bytes;
  bool null_data;
  bool operator==(const Delivery&) const = default;
};

inline std::mutex deliveries_mutex;
inline std::vector<Delivery> deliveries;

inline void Collect(void* reserved, std::uint32_t silent, const std::uint8_t* data,
                    std::uint32_t length) {
  EXPECT_EQ(reserved, nullptr);
  const std::lock_guard hold(deliveries_mutex);
  CurrentScript().Fails("callback");
  deliveries.push_back({silent, {data, data + length}, data == nullptr});
}

inline const std::string kInfo =
    "ZevraImpl::LoopBackCapture | IsFormatSupported | info | 0 | nChannels is 2, nSamplesPerSec is "
    "48000, nBlockAlign is 8, nAvgBytesPerSec is 384000, wFormatTag is 65534, wBitsPerSample is 32";
inline const std::string kStartFailed = "::ZevraStartCapture | error | StartCapture 80004005";

// A host that captures three packets of the script.
class CaptureHost : public ScriptedHost {
 protected:
  CaptureHost() {
    for (const DWORD flags : {DWORD{0}, DWORD{AUDCLNT_BUFFERFLAGS_SILENT}, DWORD{1}})
      script.packets.push_back({480, flags, std::vector<BYTE>(3840, 0x11)});
    script.pulls = {{1, 2, 3, 4}, {5, 6}};
  }

  // Opens, captures until all packets are taken or the thread has ended, stops and closes.
  std::int32_t Capture(const ZevraAudioFormat& format = SpeechFormat()) {
    ZevraHandle const handle = OpenDefault();
    log.Clear();
    deliveries.clear();
    const std::int32_t result = ZevraStartCapture(handle, &format, Collect, this);
    if (result == 0) EXPECT_TRUE(Eventually(Parked));
    EXPECT_EQ(ZevraStopCapture(handle), 0);
    EXPECT_EQ(ZevraCloseDevice(handle), 0);
    return result;
  }

  // The stream's thread waits for the timer or has left.
  static bool Parked() {
    const auto counts = CurrentScript().Counts();
    return counts.count("stream:WaitForMultipleObjects") + counts.count("stream:CoUninitialize") >
           0;
  }
};

}  // namespace zevra::test

#endif
