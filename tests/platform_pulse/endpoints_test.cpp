#include <gmock/gmock.h>

#include <array>
#include <sstream>
#include <thread>

#include "platform/linux/utf16.h"
#include "server_host.h"

namespace zevra::test {
namespace {

class PulseEndpoints : public ServerTest {};

// The descriptions that the server's own tool shows.
std::vector<std::u16string> ToolNames(const std::string& kind) {
  std::istringstream lines(Shell("LC_ALL=C.UTF-8 pactl list " + kind +
                                 " | sed -n '/Description: Monitor of/d; s/^\tDescription: //p'"));
  std::vector<std::u16string> names;
  for (std::string line; std::getline(lines, line);) names.push_back(platform::Utf16FromUtf8(line));
  return names;
}

TEST_F(PulseEndpoints, AreThoseOfTheServersOwnTool) {
  const std::string name = "Zwilling \u00e4\u00f6\u00fc \U0001F3A7";
  const NullSink twins[] = {{"twin_one", "mono", 1, name}, {"twin_two", "mono", 1, name}};
  const auto names = [](EDataFlow flow) {
    std::vector<std::u16string> all;
    for (const Listed& endpoint : List(flow)) all.push_back(endpoint.name);
    return all;
  };
  auto both = ToolNames("sinks");
  const auto sources = ToolNames("sources");
  EXPECT_EQ(names(eRender), both);
  EXPECT_EQ(names(eCapture), sources);
  EXPECT_EQ(both.size(), 4u);
  EXPECT_EQ(sources.size(), 1u);
  both.insert(both.end(), sources.begin(), sources.end());
  EXPECT_EQ(names(eAll), both);
}

TEST_F(PulseEndpoints, TheDefaultIsTheServers) {
  const auto is_default = [](EDataFlow flow, HRESULT result, const std::u16string& name) {
    return Eventually(std::chrono::seconds(5), [&] {
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

TEST_F(PulseEndpoints, VolumeIsTheMixers) {
  const struct {
    const char* command;
    const char16_t* name;
    float level;
  } cases[] = {
      {"set-sink-volume zevra_speakers 30%", u"Zevra Speakers", 0.3F},
      {"set-sink-mute zevra_speakers 1", u"Zevra Speakers", 0.3F},
      {"set-sink-volume zevra_speakers 20% 60%", u"Zevra Speakers", 0.4F},
      {"set-sink-volume zevra_speakers 0%", u"Zevra Speakers", 0.0F},
      {"set-sink-volume zevra_speakers 150%", u"Zevra Speakers", 1.0F},
      {"set-source-volume zevra_microphone 45%", u"Zevra Microphone", 0.45F},
  };
  for (const auto& one : cases) {
    ComPtr<IAudioEndpointVolume> volume;
    ASSERT_EQ(
        Find(one.name)->Activate(IID_IAudioEndpointVolume, CLSCTX_ALL, nullptr, volume.PutVoid()),
        S_OK);
    Shell(std::string("pactl ") + one.command);
    float level = -1;
    // PipeWire tells a new volume only after its graph has taken it.
    EXPECT_TRUE(Eventually(milliseconds(2000),
                           [&] {
                             return volume->GetMasterVolumeLevelScalar(&level) == S_OK &&
                                    std::abs(level - one.level) < 0.001F;
                           }))
        << one.command << ": " << level;
  }
}

}  // namespace
}  // namespace zevra::test
