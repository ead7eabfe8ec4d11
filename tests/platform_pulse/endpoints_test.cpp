#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

#include "platform/linux/utf16.h"
#include "server_host.h"

namespace zevra::test {
namespace {

using ::testing::ElementsAre;

constexpr HRESULT kNotFound = HresultFromBits(0x80070490);

class PulseEndpoints : public ServerTest {};

// The descriptions that the server's own tool shows, in the order of the index.
std::vector<std::u16string> ToolNames(const std::string& kind) {
  std::vector<std::pair<int, std::u16string>> found;
  std::istringstream lines(Shell("LC_ALL=C.UTF-8 pactl list " + kind));
  const auto after = [](const std::string& line, const char* mark) {
    const std::size_t at = line.find(mark);
    return at == std::string::npos ? "" : line.substr(at + std::strlen(mark));
  };
  for (std::string line; std::getline(lines, line);) {
    if (const std::string index = after(line, " #"); line[0] == 'S') {
      found.emplace_back(std::stoi(index), u"");
    } else if (const std::string text = after(line, "\tDescription: "); !text.empty()) {
      found.back().second = platform::Utf16FromUtf8(text);
    }
  }
  std::erase_if(found, [](const auto& one) { return one.second.starts_with(u"Monitor of "); });
  std::sort(found.begin(), found.end());
  std::vector<std::u16string> names;
  for (auto& one : found) names.push_back(std::move(one.second));
  return names;
}

TEST_F(PulseEndpoints, AreThoseOfTheServersOwnTool) {
  const NullSink twin_one("twin_one", "mono", 1, "Zwilling \u00e4\u00f6\u00fc \U0001F3A7");
  const NullSink twin_two("twin_two", "mono", 1, "Zwilling \u00e4\u00f6\u00fc \U0001F3A7");
  const auto sinks = ToolNames("sinks");
  const auto sources = ToolNames("sources");
  ASSERT_EQ(sinks.size(), 4u);
  EXPECT_EQ(sinks.back(), u"Zwilling \u00e4\u00f6\u00fc \U0001F3A7");
  EXPECT_EQ(Names(eRender), sinks);
  EXPECT_EQ(Names(eCapture), sources);
  auto both = sinks;
  both.insert(both.end(), sources.begin(), sources.end());
  EXPECT_EQ(Names(eAll), both);
}

TEST_F(PulseEndpoints, AListDoesNotChange) {
  NullSink extra("extra", "mono", 1);
  ComPtr<IMMDeviceCollection> devices;
  ASSERT_EQ(MakeEnumerator()->EnumAudioEndpoints(eRender, DEVICE_STATE_ACTIVE, devices.Put()),
            S_OK);
  extra.Unload();
  UINT count = 0;
  EXPECT_EQ(devices->GetCount(&count), S_OK);
  EXPECT_EQ(count, 3u);
  ComPtr<IMMDevice> device;
  EXPECT_EQ(devices->Item(3, device.Put()), E_INVALIDARG);
  ASSERT_EQ(devices->Item(2, device.Put()), S_OK);
  EXPECT_EQ(NameOf(device.Get()), u"Extra");
  for (const IID& iid : {IID_IAudioClient, IID_IAudioEndpointVolume}) {
    ComPtr<IUnknown> object;
    EXPECT_EQ(device->Activate(iid, CLSCTX_ALL, nullptr, object.PutVoid()),
              AUDCLNT_E_DEVICE_INVALIDATED);
  }
  ComPtr<IUnknown> object;
  EXPECT_EQ(device->Activate(IID_IPropertyStore, CLSCTX_ALL, nullptr, object.PutVoid()),
            E_NOINTERFACE);
}

TEST_F(PulseEndpoints, TheDefaultIsTheServers) {
  const auto name_of_default = [](EDataFlow flow) -> std::u16string {
    ComPtr<IMMDevice> device;
    const HRESULT result = MakeEnumerator()->GetDefaultAudioEndpoint(flow, eConsole, device.Put());
    EXPECT_EQ(static_cast<bool>(device), SUCCEEDED(result));
    if (result == kNotFound) return u"none";
    return SUCCEEDED(result) ? NameOf(device.Get()) : u"failure";
  };
  const auto becomes = [&](EDataFlow flow, const std::u16string& name) {
    return Eventually(std::chrono::seconds(5), [&] { return name_of_default(flow) == name; });
  };
  EXPECT_EQ(name_of_default(eRender), u"Zevra Speakers");
  EXPECT_EQ(name_of_default(eCapture), u"Zevra Microphone");
  EXPECT_EQ(name_of_default(eAll), u"failure");
  Shell("pactl set-default-sink zevra_surround");
  EXPECT_TRUE(becomes(eRender, u"Zevra Surround"));
  Shell("pactl set-default-source zevra_speakers.monitor");
  EXPECT_TRUE(becomes(eCapture, u"none"));
  Shell("pactl set-default-sink zevra_speakers; pactl set-default-source zevra_microphone");
  EXPECT_TRUE(becomes(eCapture, u"Zevra Microphone"));
}

TEST_F(PulseEndpoints, RefuseWhatTheyDoNotKnow) {
  const struct {
    int flow;
    DWORD states;
    HRESULT result;
  } cases[] = {{3, 1, E_INVALIDARG},    {-1, 1, E_INVALIDARG}, {0, 0, E_INVALIDARG},
               {0, 0x10, E_INVALIDARG}, {2, 0xF, S_OK},        {2, 8, S_OK}};
  for (const auto& one : cases) {
    ComPtr<IMMDeviceCollection> devices;
    EXPECT_EQ(MakeEnumerator()->EnumAudioEndpoints(static_cast<EDataFlow>(one.flow), one.states,
                                                   devices.Put()),
              one.result);
    UINT count = 0;
    if (devices) {
      EXPECT_EQ(devices->GetCount(&count), S_OK);
      EXPECT_EQ(count, one.states == 8 ? 0u : 3u);
    }
  }
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
    // PipeWire answers a new volume only after the graph has taken it.
    EXPECT_TRUE(Eventually(std::chrono::seconds(2),
                           [&] {
                             return volume->GetMasterVolumeLevelScalar(&level) == S_OK &&
                                    std::abs(level - one.level) < 0.001F;
                           }))
        << one.command << ": " << level;
  }
  Shell(
      "pactl set-sink-mute zevra_speakers 0; pactl set-sink-volume zevra_speakers 100%;"
      "pactl set-source-volume zevra_microphone 100%");
}

}  // namespace
}  // namespace zevra::test
