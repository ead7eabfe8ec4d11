// The twelve functions on the built-in machine, with time that passes faster than life.

#include <array>
#include <cstring>

#include "tests/builtin/machine_fixture.h"
#include "zevra/zevra.h"

namespace zevra::builtin {
namespace {

// What one stream's callback has seen. The library passes a callback nothing of the host's, so each
// stream has a function of its own.
struct Heard {
  std::uint64_t frames = 0;
  std::uint64_t breaks = 0;
  std::int16_t next = 0;
};

constexpr std::size_t kStreams = 64;
std::array<Heard, kStreams> heard;

template <std::size_t kStream>
void OnAudio(void*, std::uint32_t, const std::uint8_t* data, std::uint32_t length) {
  Heard& mine = heard[kStream];
  for (std::uint32_t at = 0; at < length; at += sizeof(std::int16_t)) {
    std::int16_t sample = 0;
    std::memcpy(&sample, data + at, sizeof(sample));
    if (mine.frames > 0 && sample != mine.next) ++mine.breaks;
    mine.next = static_cast<std::int16_t>(sample + 1);
    ++mine.frames;
  }
}

template <std::size_t... kStream>
constexpr std::array<ZevraCaptureCallback, sizeof...(kStream)> Callbacks(
    std::index_sequence<kStream...>) {
  return {OnAudio<kStream>...};
}

ZevraAudioFormat Mono16() {
  ZevraAudioFormat format{};
  format.channels = 1;
  format.bits_per_sample = 16;
  format.valid_bits_per_sample = 16;
  format.samples_per_second = 48000;
  return format;
}

class HostTest : public MachineTest {
 protected:
  HostTest() {
    heard = {};
    EXPECT_EQ(ZevraInitialize(), ZEVRA_OK);
  }
  ~HostTest() override { ZevraUninitialize(); }
};

TEST_F(HostTest, SixtyFourCapturesGetEveryFrame) {
  auto endpoint = MakeEndpoint(u"ramp", eRender, Ramp());
  endpoint.channels = 1;
  endpoint.channel_mask = SPEAKER_FRONT_CENTER;
  Build({endpoint});
  const auto registration = machine_->Register();
  const auto callbacks = Callbacks(std::make_index_sequence<kStreams>());
  const ZevraAudioFormat format = Mono16();
  std::array<ZevraHandle, kStreams> handles{};
  for (std::size_t i = 0; i < kStreams; ++i) {
    ASSERT_EQ(ZevraOpenDevice(&handles[i], nullptr, ZEVRA_FLOW_RENDER), ZEVRA_OK);
    ASSERT_EQ(ZevraStartCapture(handles[i], &format, callbacks[i], nullptr), ZEVRA_OK);
  }
  clock_->Advance(seconds(2));
  for (std::size_t i = 0; i < kStreams; ++i) {
    ZevraStopCapture(handles[i]);
    ZevraCloseDevice(handles[i]);
    // But for the packet that ran at the start, and what the converter holds back.
    EXPECT_GE(heard[i].frames, 96000U - 480 - 480) << i;
    EXPECT_EQ(heard[i].breaks, 0U) << i;
  }
}

TEST_F(HostTest, TheSilentStreamKeepsAnEndpointDeliveringAndItsStopLetsTimePass) {
  Build({MakeEndpoint(u"quiet", eRender)});
  const auto registration = machine_->Register();
  const ZevraAudioFormat format = Mono16();
  constexpr ZevraChar kName[] = {'Q', 'U', 'I', 'E', 'T', 0};
  ZevraHandle handle = nullptr;
  ASSERT_EQ(ZevraOpenDevice(&handle, kName, ZEVRA_FLOW_RENDER), ZEVRA_OK);
  ASSERT_EQ(ZevraStartCapture(handle, &format, OnAudio<0>, nullptr), ZEVRA_OK);
  clock_->Advance(seconds(1));
  EXPECT_EQ(heard[0].frames, 0U);
  ASSERT_EQ(ZevraStartPlay(handle), ZEVRA_OK);
  clock_->Advance(seconds(20));
  const std::uint64_t while_playing = heard[0].frames;
  EXPECT_NEAR(static_cast<double>(while_playing), 960000, 960);
  EXPECT_EQ(ZevraStopPlay(handle), ZEVRA_OK);
  clock_->Advance(seconds(5));
  EXPECT_LT(heard[0].frames, while_playing + 48000);
  ZevraStopCapture(handle);
  ZevraCloseDevice(handle);
}

}  // namespace
}  // namespace zevra::builtin
