// The C++ interface over the twin, whose endpoints are inside the process, and over the library
// itself beside a sound server.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <zevra/zevra.hpp>

#include "support/eventually.h"
#include "support/linux/sound_server.h"

namespace {
thread_local int allocations = 0;
}  // namespace

#ifndef __clang_analyzer__  // it takes every block for malloc's, and for lost
void* operator new(std::size_t size) {
  ++allocations;
  if (void* const block = std::malloc(size)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
#endif

namespace {

using zevra::Capture;
using zevra::Device;
using zevra::Packet;
using zevra::Silence;
using zevra::test::Eventually;
using Counter = std::atomic<int>;

const ZevraAudioFormat kSpeech = zevra::MakeFormat(16000, 1, zevra::Sample::kInt16);

std::string FailureOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "none";
}

// The greatest sample, 1.0 at full scale.
double PeakOf(const Packet& packet, const ZevraAudioFormat& format) {
  const unsigned bytes = format.bits_per_sample / 8U;
  double peak = 0;
  for (std::size_t at = 0; at < packet.bytes; at += bytes) {
    std::uint32_t raw = 0;
    std::memcpy(reinterpret_cast<char*>(&raw) + 4 - bytes, packet.data + at, bytes);
    if (bytes == 1) raw ^= 0x80000000U;
    float value = 0;
    std::memcpy(&value, &raw, sizeof(value));
    if (format.sample_kind == ZEVRA_SAMPLE_PCM)
      value = static_cast<float>(static_cast<std::int32_t>(raw)) * 0x1p-31F;
    peak = std::max(peak, std::abs(double{value}));
  }
  return peak;
}

TEST(CppBuiltin, EachFormatHasItsSamples) {
  const std::string names[] = {"uint8", "int16", "int24", "int32", "float32"};
  std::ifstream table(ZEVRA_TEST_FORMATS);
  std::string name;
  std::uint32_t rate = 0;
  std::uint16_t bits = 0, channels = 0;
  std::getline(table, name);
  while (table >> name >> bits >> rate >> channels) {
    SCOPED_TRACE(name);
    const auto sample = static_cast<zevra::Sample>(std::find(names, names + 5, name) - names);
    const ZevraAudioFormat format = zevra::MakeFormat(rate, channels, sample);
    std::atomic<double> peak = 0;
    std::atomic<std::size_t> frames = 0, bytes = 0;
    Capture capture(Device(), format, [&](const Packet& packet) {
      peak = std::max(peak.load(), PeakOf(packet, format));
      bytes += packet.bytes;
      frames += packet.frames;
    });
    // The tune's peak is half of full scale; mixed down to fewer channels it may be higher.
    EXPECT_TRUE(Eventually([&] { return peak > 0.3 && frames > rate / 4; }));
    capture.Stop();
    EXPECT_LT(peak, 0.75);
    EXPECT_EQ(bytes, frames * bits / 8 * channels);
  }
  EXPECT_EQ(name, "float32");
}

TEST(CppBuiltin, EndpointsHaveNamesAndFailuresToo) {
  const auto endpoints = zevra::Endpoints();
  ASSERT_EQ(endpoints.size(), 3U);
  EXPECT_EQ(Device(endpoints[2]).Volume(), 0.5F);
  EXPECT_EQ(Device("BUILT-IN SPEAKERS").Volume(), 0.75F);
  EXPECT_EQ(FailureOf([] { Device("Built-in Microphone"); }),
            "ZevraOpenDevice: ZEVRA_E_NOT_FOUND (0x80070490)");
  const Device device;
  const Capture capture(
      device, kSpeech, [](const Packet&) {});
  EXPECT_EQ(FailureOf([&] { Capture(device, kSpeech, nullptr); }),
            "ZevraStartCapture: ZEVRA_E_NOT_STOPPED (0x88890005)");
  const std::pair<std::string, std::u16string> texts[] = {
      {"Größe 🎧", u"Größe 🎧"}, {"cut \xF0\x9F\x8E", u"cut \xFFFD"}, {"\xC0\xAF", u"\xFFFD\xFFFD"}};
  for (const auto& [narrow, wide] : texts) EXPECT_EQ(zevra::detail::ToUtf16(narrow), wide);
  EXPECT_EQ(zevra::detail::ToUtf8(u"Größe 🎧 \xD83C"), "Größe 🎧 \xEF\xBF\xBD");
}

TEST(CppBuiltin, ThePoolRunsOutAndMixesNothingUp) {
  using TwoAtOnce = zevra::BasicCapture<2>;
  const Device speakers, headphones("Built-in Headphones");
  const Silence awake(headphones);
  Counter heard{0}, unheard{0}, packets{0};
  for (int round = 0; round < 3; ++round) {
    const TwoAtOnce first(speakers, kSpeech,
                          [&](const Packet& p) { heard += PeakOf(p, kSpeech) > 0; });
    const TwoAtOnce second(
        headphones, kSpeech,
        [&](const Packet& p) {
          unheard += PeakOf(p, kSpeech) > 0;
          ++packets;
        });
    EXPECT_EQ(FailureOf([&] { TwoAtOnce(Device(), kSpeech, nullptr); }),
              "all 2 callbacks are in use: ZEVRA_E_OUTOFMEMORY (0x8007000E)");
    EXPECT_TRUE(Eventually([&] { return heard > 5 * round && packets > 5 * round; }));
  }
  EXPECT_EQ(unheard, 0);
}

TEST(CppBuiltin, ACaptureEndsInEveryWay) {
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
    next.Stop();
    calls = 0;
  }
  Capture thrower(*device, kSpeech, [](const Packet&) { throw std::runtime_error("thrown"); });
  device.reset();
  EXPECT_TRUE(Eventually([&] { return !thrower.Running(); }));
  EXPECT_EQ(FailureOf([&] { thrower.Stop(); }), "thrown");
}

TEST(CppBuiltin, SilenceEndsAloneAndNothingIsAllocatedMeanwhile) {
  const Device headphones("Built-in Headphones");
  Counter packets{0}, allocated{0};
  Capture capture(headphones, kSpeech, [&](const Packet&) {
    static thread_local int before = 0;
    if (++packets > 10) allocated += allocations - before;
    before = allocations;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_EQ(packets, 0);
  const Silence kept(headphones);
  { const Silence ended((Device())); }
  const int now = packets;
  // More than the second that was queued when the other silence ended.
  EXPECT_TRUE(Eventually([&] { return packets > now + 250; }));
  capture.Stop();
  EXPECT_EQ(allocated, 0);
}

// A sink whose name has characters of every length in UTF-8.
TEST(CppServer, CapturesByAnyName) {
  const std::string name = "Größe € 🎧";
  const zevra::test::NullSink sink("binding", name);
  Counter packets{0};
  const auto endpoints = zevra::Endpoints(zevra::Flow::kRender);
  const auto found = std::find_if(endpoints.begin(), endpoints.end(),
                                  [&](const zevra::Endpoint& e) { return e.name == name; });
  ASSERT_NE(found, endpoints.end());
  const Device device(*found);
  const Silence awake(device);
  const Capture capture(
      device, kSpeech, [&](const Packet&) { ++packets; });
  EXPECT_TRUE(Eventually([&] { return packets > 10; }));
}

}  // namespace
