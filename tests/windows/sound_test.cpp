// A host of zevra.dll as it is shipped, on Wine's endpoints, which are those of a sound server.
// sound_test.sh plays what is heard here, and registers the tests' own resampler (class_server.h).

#include <gmock/gmock.h>
#include <windows.h>

#include <objbase.h>

#include <algorithm>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "pulse/tone_capture.h"
#include "windows/class_server.h"

namespace zevra::test {
namespace {

using UniqueHandle = std::unique_ptr<void, decltype([](HANDLE handle) { ::CloseHandle(handle); })>;

struct Case {
  ZevraAudioFormat format;
  double snr_db;
};
// What Wine's converter leaves of the tones: it dithers 16-bit samples, and its filter is not the
// one that is asked for. One frame lost in a second leaves some 60 dB at most.
const Case kCases[] = {
    {MakeFormat(ZEVRA_SAMPLE_FLOAT, 32, 48'000, 2), 100},
    {MakeFormat(ZEVRA_SAMPLE_PCM, 16, 48'000, 2), 75},
    {MakeFormat(ZEVRA_SAMPLE_FLOAT, 32, 44'100, 2), 100},
    {MakeFormat(ZEVRA_SAMPLE_PCM, 16, 16'000, 1), 75},
};

// A busy machine may take a stream out of step later.
constexpr double kLatest = 6.0;

using Captures = std::list<ToneCapture>;

void Start(Captures& captures, const wchar_t* name, std::uint32_t flow, const Case& wanted,
           Tone tone) {
  captures.emplace_back(name, flow, wanted.format, std::vector<Tone>(wanted.format.channels, tone),
                        wanted.snr_db, kLatest);
  EXPECT_EQ(ServedFilterLength(), 60);
}

// What sound_test.sh plays.
constexpr Tone kPlayed{997, 0.5};
constexpr const wchar_t* kMonitor = L"Monitor of Zevra Speakers";

// Where there is no loopback either.
using Monitor = ServerTest;

TEST_F(Monitor, TheListsAreThoseOfTheServer) {
  const Names played = NamesIn(ZevraGetInnerRecordDeviceList);
  const Names recorded = NamesIn(ZevraGetOutRecordDeviceList);
  EXPECT_THAT(played, ::testing::IsSupersetOf({"Zevra Speakers", "Zevra Surround"}));
  EXPECT_THAT(recorded, ::testing::IsSupersetOf({"Monitor of Zevra Speakers", "Zevra Microphone"}));
  EXPECT_EQ(NamesIn(ZevraGetDeviceList).size(),
            std::min<std::size_t>(8, played.size() + recorded.size()));
  EXPECT_EQ(Device(L"zevra speakers").Result(), 0);
  EXPECT_EQ(Device(kMonitor).Result(), ZEVRA_E_NOT_FOUND) << "it plays nothing";
  float volume = 0;
  EXPECT_EQ(ZevraGetVolume(Device(kMonitor, ZEVRA_FLOW_ALL), &volume), 0);
  EXPECT_EQ(volume, 1) << "Wine has no other";
}

TEST_F(Monitor, ATonePassesUnbrokenInEveryFormat) {
  Captures captures;
  for (const Case& wanted : kCases) Start(captures, kMonitor, ZEVRA_FLOW_CAPTURE, wanted, kPlayed);
  for (const ToneCapture& capture : captures) capture.Judge();
}

// The system gives the lowest handle that is free, so lost ones move up what it gives; the first
// few of these fall where handles of the rounds were.
std::uintptr_t FreeHandle() {
  std::vector<UniqueHandle> events(1000);
  for (UniqueHandle& event : events) event.reset(::CreateEventA(nullptr, FALSE, FALSE, nullptr));
  return reinterpret_cast<std::uintptr_t>(events.back().get());
}

// The pauses of the silent streams run side by side.
void StartAndStop(int rounds_each) {
  std::vector<std::jthread> hosts(20);
  for (std::jthread& host : hosts) {
    host = std::jthread([=] {
      EXPECT_GE(ZevraInitialize(), 0);
      {
        const Device speakers;
        const Device monitor(kMonitor, ZEVRA_FLOW_CAPTURE);
        const ZevraAudioFormat format = MakeFormat(ZEVRA_SAMPLE_PCM, 16, 16'000, 1);
        for (int round = 0; round < rounds_each; ++round) {
          EXPECT_EQ(ZevraStartCapture(monitor, &format, nullptr, nullptr), 0);
          EXPECT_EQ(ZevraStartPlay(speakers), 0);
          EXPECT_EQ(ZevraStopCapture(monitor), 0);
          EXPECT_EQ(ZevraStopPlay(speakers), 0);
        }
      }
      EXPECT_EQ(ZevraUninitialize(), 0);
    });
  }
}

TEST_F(Monitor, AThousandStartsAndStopsLeaveNoHandle) {
  StartAndStop(1);
  const std::uintptr_t before = FreeHandle();
  StartAndStop(50);
  EXPECT_LT(FreeHandle(), before + 1000);
}

TEST_F(Monitor, AMultithreadedApartmentDoes) {
  std::jthread([] {
    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(ZevraInitialize(), ZEVRA_E_CHANGED_MODE);
    const Recording recording;
    const Device monitor(kMonitor, ZEVRA_FLOW_CAPTURE);
    EXPECT_TRUE(monitor.Start(recording) == 0 && recording.Goes());
  });
}

// Where Wine has loopback.
using Loopback = ServerTest;

TEST_F(Loopback, OfTheDefaultEndpointAndOfOneByName) {
  Captures captures;
  for (const Case& wanted : kCases) {
    Start(captures, nullptr, ZEVRA_FLOW_RENDER, wanted, kPlayed);
    Start(captures, L"zevra headphones", ZEVRA_FLOW_RENDER, wanted, {1501, 0.25});
  }
  // Silence adds nothing to the tone.
  const Device device;
  EXPECT_EQ(ZevraStartPlay(device), 0);
  for (const ToneCapture& capture : captures) capture.Judge();
  EXPECT_EQ(ZevraStartPlay(device), ZEVRA_E_NOT_STOPPED);
  EXPECT_EQ(ZevraStopPlay(device), 0);
}

}  // namespace
}  // namespace zevra::test
