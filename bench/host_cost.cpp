// What a host of the library itself waits for and pays for, by the same program on each system: the
// time from ZevraInitialize to the first packet, and the processor time that its process uses for a
// second of 16 kHz 16-bit mono.
//
//   host_cost         what the default render endpoint plays
//   host_cost NAME    the capture endpoint with this name, of ASCII letters: for Wine, which has no
//                     loopback but the sound server's monitors

#include <atomic>
#include <chrono>
#include <cstdio>
#include <semaphore>
#include <string>
#include <thread>

#include "bench/processor_time.h"
#include "zevra/zevra.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongestWait{10};
constexpr std::chrono::seconds kMeasured{10};

// Of packets with data: a stream without a converter delivers others at no cost.
std::atomic<std::uint32_t> packets{0};
std::binary_semaphore first_packet{0};

void OnAudio(void*, std::uint32_t, const std::uint8_t* data, std::uint32_t length) {
  if (data != nullptr && length != 0 && packets++ == 0) first_packet.release();
}

double MillisecondsSince(Clock::time_point begun) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begun).count();
}

// False if the host gets nothing.
bool Measure(const std::basic_string<ZevraChar>& name) {
  const ZevraAudioFormat format = {ZEVRA_SAMPLE_PCM, 1, 16, 16'000, 0, 16, 0};
  ZevraHandle device = nullptr;
  const auto begun = Clock::now();
  if (ZevraInitialize() < 0 ||
      ZevraOpenDevice(&device, name.empty() ? nullptr : name.c_str(),
                      name.empty() ? ZEVRA_FLOW_RENDER : ZEVRA_FLOW_CAPTURE) < 0 ||
      ZevraStartCapture(device, &format, OnAudio, nullptr) != ZEVRA_OK)
    return false;
  if (!first_packet.try_acquire_for(kLongestWait)) return false;
  const double first_packet_ms = MillisecondsSince(begun);
  const double used_before = zevra::bench::ProcessorMs();
  const auto running = Clock::now();
  std::this_thread::sleep_for(kMeasured);
  const double used_ms = zevra::bench::ProcessorMs() - used_before;
  const double seconds = MillisecondsSince(running) / 1e3;
  const auto delivered = static_cast<double>(packets.load());
  ZevraStopCapture(device);
  ZevraCloseDevice(device);
  ZevraUninitialize();
  std::printf("first packet after %.1f ms; %.2f ms of processor time a second, in %.0f packets\n",
              first_packet_ms, used_ms / seconds, delivered / seconds);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  // Options are for the other benchmarks, which a run of all of them hands to each.
  const std::string name = argc > 1 && argv[1][0] != '-' ? argv[1] : "";
  if (Measure({name.begin(), name.end()})) return 0;
  std::fputs("host_cost: the capture did not start, or brought nothing\n", stderr);
  return 1;
}
