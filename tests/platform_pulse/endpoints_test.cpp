#include <array>
#include <thread>

#include "server_host.h"

namespace zevra::test {
namespace {

class PulseEndpoints : public ServerTest {};

TEST_F(PulseEndpoints, TheDefaultIsTheServers) {
  const auto is_default = [](EDataFlow flow, HRESULT result, const std::u16string& name) {
    return Eventually([&] {
      ComPtr<IMMDevice> device;
      const HRESULT found = MakeEnumerator()->GetDefaultAudioEndpoint(flow, eConsole, device.Put());
      return found == result && (device ? NameOf(device.Get()) : u"") == name;
    });
  };
  EXPECT_TRUE(is_default(eAll, E_INVALIDARG, u""));
  EXPECT_TRUE(is_default(eRender, S_OK, u"Zevra Speakers"));
  EXPECT_TRUE(is_default(eCapture, S_OK, u"Zevra Microphone"));
  Shell("pactl set-default-sink zevra_surround; pactl set-default-source zevra_speakers.monitor");
  EXPECT_TRUE(is_default(eRender, S_OK, u"Zevra Surround"));
  EXPECT_TRUE(is_default(eCapture, HresultFromBits(0x80070490), u""));
}

TEST_F(PulseEndpoints, ServeSeveralThreads) {
  const ComPtr<IMMDevice> device = Find(u"Zevra Speakers");
  std::array<std::thread, 4> threads;
  for (std::thread& thread : threads) {
    thread = std::thread([&device] {
      for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(NameOf(device.Get()), u"Zevra Speakers");
        Stream stream(device.Get());
        StartCapture(stream);
        EXPECT_FALSE(Record(stream, milliseconds(200)).empty());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace zevra::test
