// The C++ interface over the twin, whose endpoints are inside the process.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <zevra/zevra.hpp>

#include "support/eventually.h"

namespace {
thread_local int allocations = 0;
}  // namespace

// The analyzer takes every block for malloc's, and for lost; the sanitizer has operators of its
// own.
#if !defined(__clang_analyzer__) && !defined(__SANITIZE_ADDRESS__)
void* operator new(std::size_t size) {
  ++allocations;
  if (void* const block = std::malloc(size)) return block;
  throw std::bad_alloc();
}
// Inlined, the compiler takes free for the wrong one of a pair.
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
#endif

namespace {

using ::testing::ThrowsMessage;
using zevra::Capture;
using zevra::Device;
using zevra::Error;
using zevra::Packet;
using zevra::Silence;
using zevra::test::Eventually;
using Counter = std::atomic<int>;

const ZevraAudioFormat kSpeech = zevra::MakeFormat(16000, 1, zevra::Sample::kInt16);

// The greatest sample, 1.0 at full scale; the tunes reach half of it.
float PeakOf(const Packet& packet, const ZevraAudioFormat& format) {
  const unsigned bytes = format.bits_per_sample / 8U;
  float peak = 0;
  for (std::size_t at = 0; at < packet.bytes; at += bytes) {
    const unsigned upper = packet.data[at + bytes - 1] ^ (bytes == 1 ? 0x80U : 0);
    float value = static_cast<float>(static_cast<std::int8_t>(upper)) / 128;
    if (format.sample_kind != ZEVRA_SAMPLE_PCM)
      std::memcpy(&value, packet.data + at, sizeof(value));
    peak = std::max(peak, std::abs(value));
  }
  return peak;
}

TEST(CppBinding, EachFormatHasItsSamples) {
  constexpr unsigned kBytes[] = {1, 2, 3, 4, 4};
  for (std::size_t sample = 0; sample < 5; ++sample) {
    SCOPED_TRACE(sample);
    const auto format = zevra::MakeFormat(44'100, 2, static_cast<zevra::Sample>(sample));
    std::atomic<float> peak = 0;
    std::atomic<std::size_t> frames = 0, bytes = 0;
    Capture capture(
        Device(), format,
        [&](const Packet& packet) {
          peak = std::max(peak.load(), PeakOf(packet, format));
          bytes += packet.bytes;
          frames += packet.frames;
        });
    EXPECT_TRUE(Eventually([&] { return peak > 0.3 && frames > 11'025; }));
    capture.Stop();
    EXPECT_LT(peak, 0.75);
    EXPECT_EQ(bytes, frames * 2 * kBytes[sample]);
  }
}

TEST(CppBinding, EndpointsHaveNamesAndFailuresToo) {
  const auto endpoints = zevra::Endpoints();
  ASSERT_EQ(endpoints.size(), 3U);
  EXPECT_EQ(Device(endpoints[2]).Volume(), 0.5F);
  EXPECT_EQ(Device("BUILT-IN SPEAKERS").Volume(), 0.75F);
  EXPECT_THAT([] { Device("Built-in Microphone"); },
              ThrowsMessage<Error>("ZevraOpenDevice: ZEVRA_E_NOT_FOUND (0x80070490)"));
  const std::pair<std::string, std::u16string> texts[] = {
      {"Größe 🎧", u"Größe 🎧"}, {"cut \xF0\x9F\x8E", u"cut \xFFFD"}, {"\xC0\xAF", u"\xFFFD\xFFFD"}};
  for (const auto& [narrow, wide] : texts) EXPECT_EQ(zevra::detail::ToUtf16(narrow), wide);
  EXPECT_EQ(zevra::detail::ToUtf8(u"Größe 🎧 \xD83C"), "Größe 🎧 \xEF\xBF\xBD");
}

TEST(CppBinding, CapturesAtOnceShareNothing) {
  using TwoAtOnce = zevra::BasicCapture<2>;
  const Device speakers, headphones("Built-in Headphones");
  const Silence awake(headphones);
  Counter heard{0}, unheard{0}, packets{0}, allocated{0};
  for (int round = 0; round < 2; ++round) {
    heard = packets = 0;
    const TwoAtOnce one(speakers, kSpeech,
                        [&](const Packet& p) { heard += PeakOf(p, kSpeech) > 0; });
    const TwoAtOnce two(
        headphones, kSpeech,
        [&](const Packet& p) {
          static thread_local int before = 0;
          if (++packets > 10) allocated += allocations - before;
          before = allocations;
          unheard += PeakOf(p, kSpeech) > 0;
        });
    EXPECT_THAT(
        [] { TwoAtOnce(Device(), kSpeech, nullptr); },
        ThrowsMessage<Error>("all 2 callbacks are in use: ZEVRA_E_OUTOFMEMORY (0x8007000E)"));
    EXPECT_TRUE(Eventually([&] { return heard > 5 && packets > 30; }));
  }
  EXPECT_EQ(unheard, 0);
  EXPECT_EQ(allocated, 0);
}

TEST(CppBinding, ACaptureEndsInEveryWay) {
  Counter calls{0};
  std::optional<Device> device(std::in_place);
  // The callback stops its own capture, or destroys it, which it should not.
  for (const bool destroys : {false, true}) {
    std::atomic<std::optional<Capture>*> owner{nullptr};
    std::optional<Capture> own(std::in_place, *device, kSpeech, [&](const Packet&) {
      auto* const capture = owner.exchange(nullptr);
      if (capture == nullptr) return;
      destroys ? capture->reset() : capture->value().Stop();
      ++calls;
    });
    owner = &own;
    EXPECT_TRUE(Eventually([&] { return calls == 1; }));
    Capture next(*device, kSpeech, [&](const Packet&) { ++calls; });
    own.reset();
    EXPECT_TRUE(Eventually([&] { return calls > 3; }) && next.Running());
    EXPECT_THAT([&] { Capture(*device, kSpeech, nullptr); },
                ThrowsMessage<Error>("ZevraStartCapture: ZEVRA_E_NOT_STOPPED (0x88890005)"));
    next.Stop();
    calls = 0;
  }
  Capture thrower(*device, kSpeech, [](const Packet&) { throw std::runtime_error("thrown"); });
  device.reset();
  EXPECT_TRUE(Eventually([&] { return !thrower.Running(); }));
  EXPECT_THAT([&] { thrower.Stop(); }, ThrowsMessage<std::runtime_error>("thrown"));
}

}  // namespace
