#include "tests/builtin/machine_fixture.h"

#include <cmath>
#include <numbers>
#include <stdexcept>

#include "platform/builtin/wave_format.h"

namespace zevra::builtin {
namespace {

using testing::ElementsAre;

constexpr auto kNotFound = static_cast<HRESULT>(0x80070490);

TEST_F(MachineTest, ListsTheActiveEndpointsOfAFlowInOrder) {
  const std::u16string odd = u"\u00e9\xD83D mid";  // an unpaired surrogate stays as it is
  Build({MakeEndpoint(u"Out", eRender), MakeEndpoint(odd, eCapture), MakeEndpoint(u"", eRender)});
  const auto names = [this](EDataFlow flow) {
    std::vector<std::u16string> found;
    for (const auto& device : Devices(flow)) found.push_back(NameOf(*device.Get()));
    return found;
  };
  EXPECT_THAT(names(eAll), ElementsAre(u"Out", odd, u""));
  EXPECT_THAT(names(eRender), ElementsAre(u"Out", u""));
  EXPECT_THAT(names(eCapture), ElementsAre(odd));
  machine_->Remove(0);
  EXPECT_THAT(names(eAll), ElementsAre(odd, u""));

  ComPtr<IMMDeviceCollection> none;
  ComPtr<IMMDevice> device;
  ASSERT_EQ(Enumerator()->EnumAudioEndpoints(eAll, 0, none.Put()), S_OK);
  EXPECT_EQ(none->Item(0, device.Put()), E_INVALIDARG);
}

TEST_F(MachineTest, TheDefaultIsTheMarkedEndpointThenTheFirstThenNone) {
  Build({MakeEndpoint(u"first", eRender), MakeEndpoint(u"marked", eRender)});
  auto marked = MakeEndpoint(u"marked", eRender);
  marked.is_default = true;
  const auto default_name = [this](EDataFlow flow, HRESULT expected) {
    ComPtr<IMMDevice> device;
    EXPECT_EQ(Enumerator()->GetDefaultAudioEndpoint(flow, eConsole, device.Put()), expected);
    return device ? NameOf(*device.Get()) : u"";
  };
  EXPECT_EQ(default_name(eRender, S_OK), u"first");
  EXPECT_EQ(default_name(eCapture, kNotFound), u"");
  EXPECT_EQ(default_name(eAll, E_INVALIDARG), u"");
  Build({MakeEndpoint(u"first", eRender), marked});
  EXPECT_EQ(default_name(eRender, S_OK), u"marked");
  machine_->Remove(1);
  EXPECT_EQ(default_name(eRender, S_OK), u"first");
  machine_->Remove(0);
  EXPECT_EQ(default_name(eRender, kNotFound), u"");
}

TEST_F(MachineTest, StandsInForTheSystemWhileItIsRegistered) {
  Build({MakeEndpoint(u"ours", eRender)});
  const auto registration = machine_->Register();
  ComPtr<IMMDeviceEnumerator> enumerator;
  const auto create = [&enumerator] {
    return platform::CreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_ALL,
                                    IID_IMMDeviceEnumerator, enumerator.PutVoid());
  };
  EXPECT_EQ(create(), CO_E_NOTINITIALIZED);
  ASSERT_EQ(CoInitialize(nullptr), S_OK);
  ASSERT_EQ(create(), S_OK);
  machine_.reset();  // what it gave out lives on
  ComPtr<IMMDevice> device;
  ASSERT_EQ(enumerator->GetDefaultAudioEndpoint(eRender, eConsole, device.Put()), S_OK);
  EXPECT_EQ(NameOf(*device.Get()), u"ours");
  CoUninitialize();
}

TEST_F(MachineTest, ReportsTheVolumeUntilTheEndpointIsGone) {
  Build({MakeEndpoint(u"out", eRender)});
  const auto device = Device(0);
  ComPtr<IAudioEndpointVolume> control;
  float level = -1;
  ASSERT_EQ(device->Activate(IID_IAudioEndpointVolume, CLSCTX_ALL, nullptr, control.PutVoid()),
            S_OK);
  machine_->SetVolume(0, 0.25F);
  EXPECT_EQ(control->GetMasterVolumeLevelScalar(&level), S_OK);
  EXPECT_EQ(level, 0.25F);
  machine_->Remove(0);
  EXPECT_EQ(control->GetMasterVolumeLevelScalar(&level), AUDCLNT_E_DEVICE_INVALIDATED);
  EXPECT_EQ(device->Activate(IID_IAudioEndpointVolume, CLSCTX_ALL, nullptr, control.PutVoid()),
            AUDCLNT_E_DEVICE_INVALIDATED);
}

TEST_F(MachineTest, TakesFloatAnd16BitAtTheMixRateAndOffersTheMixFormatForAllElse) {
  auto plain = MakeEndpoint(u"plain", eRender);
  plain.channel_mask = 0;
  Build({MakeEndpoint(u"extensible", eRender), plain});
  for (const std::size_t endpoint : {0U, 1U}) {
    const auto client = ClientOf(*Device(endpoint).Get());
    platform::TaskMemory<WAVEFORMATEX> mix;
    ASSERT_EQ(client->GetMixFormat(mix.Put()), S_OK);
    EXPECT_EQ(mix->wFormatTag, endpoint == 0 ? WAVE_FORMAT_EXTENSIBLE : WAVE_FORMAT_IEEE_FLOAT);

    const WAVEFORMATEX wanted[] = {
        {WAVE_FORMAT_IEEE_FLOAT, 2, 48000, 384000, 8, 32, 0},
        {WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0},
        {WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0},
        {WAVE_FORMAT_PCM, 1, 48000, 96000, 2, 16, 0},
        {WAVE_FORMAT_PCM, 2, 48000, 192000, 8, 16, 0},
        {WAVE_FORMAT_PCM, 2, 48000, 288000, 6, 24, 0},
        {WAVE_FORMAT_EXTENSIBLE, 2, 48000, 384000, 8, 32, 0},
    };
    for (std::size_t i = 0; i < std::size(wanted); ++i) {
      platform::TaskMemory<WAVEFORMATEX> closest;
      const HRESULT result =
          client->IsFormatSupported(AUDCLNT_SHAREMODE_SHARED, &wanted[i], closest.Put());
      EXPECT_EQ(result, i < 2 ? S_OK : S_FALSE) << i;
      EXPECT_EQ(static_cast<bool>(closest), i >= 2) << i;
      if (i < 2) continue;
      EXPECT_EQ(client->Initialize(AUDCLNT_SHAREMODE_SHARED, 0, 0, 0, &wanted[i], nullptr),
                AUDCLNT_E_UNSUPPORTED_FORMAT);
    }
    platform::TaskMemory<WAVEFORMATEX> closest;
    EXPECT_EQ(client->IsFormatSupported(AUDCLNT_SHAREMODE_SHARED, mix.Get(), closest.Put()), S_OK);
    EXPECT_EQ(client->IsFormatSupported(AUDCLNT_SHAREMODE_EXCLUSIVE, mix.Get(), closest.Put()),
              AUDCLNT_E_UNSUPPORTED_FORMAT);
  }
}

TEST(WaveFormat, RoundsAndHolds16BitSamplesAtFullScale) {
  const float in[] = {-2.0F, -1.0F, -0.5F, 0.4F / 32768, 0.6F / 32768, 1.0F, 2.0F};
  std::int16_t out[std::size(in)];
  ToClient(SampleKind::kInt16, in, reinterpret_cast<BYTE*>(out));
  EXPECT_THAT(out, ElementsAre(-32768, -32768, -16384, 0, 1, 32767, 32767));
}

TEST(Programmes, RepeatWithoutAStep) {
  // 997.3 Hz has no whole number of cycles in a second of frames.
  const Loop sine = Sine(997.3, 0.5)(48000);
  std::vector<float> played(96000);
  const std::uint64_t first = sine.Frames() - 24000;
  sine.Play(first, 48000, 2, played.data());
  for (std::size_t frame = 0; frame < 48000; ++frame) {
    const double cycles = 997.3 * static_cast<double>(first + frame) / 48000;
    const double expected = 0.5 * std::sin(2 * std::numbers::pi * (cycles - std::floor(cycles)));
    ASSERT_NEAR(played[frame * 2], expected, 1e-6) << frame;
    ASSERT_EQ(played[frame * 2], played[frame * 2 + 1]);
  }
  for (const Tune tune : {Tune::kOdeToJoy, Tune::kFrereJacques}) {
    const Loop melody = Melody(tune)(8000);
    const auto [low, high] = std::minmax_element(melody.samples.begin(), melody.samples.end());
    EXPECT_GT(*high, 0.2F);
    EXPECT_LE(std::max(*high, -*low), 0.5F);
    EXPECT_NEAR(melody.samples.front(), 0, 1e-3);
    EXPECT_NEAR(melody.samples.back(), 0, 1e-3);
  }
}

TEST(Programmes, ThatDoNotFitTheirEndpointAreRefused) {
  const auto build = [](WORD channels, UINT32 packet_frames, Programme programme) {
    auto config = MakeEndpoint(u"", eRender, std::move(programme));
    config.channels = channels;
    config.packet_frames = packet_frames;
    const Machine machine({config});
  };
  EXPECT_NO_THROW(build(2, 480, Samples({0, 0, 0, 0}, 2, 48000)));
  EXPECT_NO_THROW(build(6, 480, Samples({0, 0, 0}, 1, 48000)));
  EXPECT_THROW(build(6, 480, Samples({0, 0}, 2, 48000)), std::invalid_argument);
  EXPECT_THROW(build(2, 480, Samples({0, 0, 0}, 2, 48000)), std::invalid_argument);
  EXPECT_THROW(build(2, 480, Samples({0, 0}, 2, 44100)), std::invalid_argument);
  EXPECT_THROW(build(0, 480, {}), std::invalid_argument);
  EXPECT_THROW(build(2, 0, {}), std::invalid_argument);
}

}  // namespace
}  // namespace zevra::builtin
