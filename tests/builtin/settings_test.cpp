// What a settings file makes of the built-in endpoints.

#include "builtin/settings.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "builtin/builtin_audio.h"

namespace zevra::builtin {
namespace {

using ::testing::ElementsAre;
using ::testing::FloatEq;

// Little-endian numbers of `width` bytes.
std::string Numbers(int width, std::initializer_list<std::uint32_t> numbers) {
  std::string bytes;
  for (const std::uint32_t number : numbers)
    for (int byte = 0; byte < width; ++byte) bytes += static_cast<char>(number >> (8 * byte));
  return bytes;
}

std::string Chunk(const std::string& id, const std::string& body, std::uint32_t more = 0) {
  return id + Numbers(4, {static_cast<std::uint32_t>(body.size()) + more}) + body +
         std::string(body.size() % 2, '\0');
}

std::string Format(std::uint32_t tag, std::uint32_t channels, std::uint32_t bits,
                   std::uint32_t rate = 8000) {
  const std::uint32_t block = channels * bits / 8;
  return Numbers(2, {tag, channels}) + Numbers(4, {rate, rate * block}) + Numbers(2, {block, bits});
}

std::string Wave(const std::string& chunks) { return "RIFF" + Numbers(4, {0}) + "WAVE" + chunks; }

struct BuiltinSettings : testing::Test {
  BuiltinSettings() { std::filesystem::create_directories(folder); }
  ~BuiltinSettings() override { std::filesystem::remove_all(folder); }

  Settings Read(const std::string& settings, const std::string& wave = {}) const {
    std::ofstream(folder / "a.wav", std::ios::binary) << wave;
    std::ofstream(folder / "set.cfu", std::ios::binary) << settings;
    Settings read = ReadSettings(folder / "set.cfu");
    // Each endpoint can be made.
    BuiltinAudio audio(read.endpoints);
    return read;
  }

  const std::filesystem::path folder =
      testing::TempDir() + "builtin_settings" + std::to_string(::getpid());
};

TEST_F(BuiltinSettings, EachKindOfWaveFileIsPlayedToTheLastWholeFrame) {
  const std::string tail("\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 14);
  const struct {
    std::string chunks;
    std::vector<float> samples;
  } cases[] = {
      {Chunk("fmt ", Format(1, 2, 16)) + Chunk("data", Numbers(2, {0x4000, 0x8000})), {0.5, -1}},
      {Chunk("odd ", "abc") + Chunk("fmt ", Format(1, 1, 24)) +
           Chunk("data", Numbers(3, {0x400000, 0xC00000, 1})),
       {0.5, -0.5, 1 / 8388608.0F}},
      {Chunk("data", Numbers(4, {0xE0000000})) + Chunk("fmt ", Format(1, 1, 32)), {-0.25}},
      // Its writer was stopped within a frame.
      {Chunk("fmt ", Format(3, 1, 32)) + Chunk("data", Numbers(4, {0x3F000000}) + "xy", 99), {0.5}},
      {Chunk("fmt ", Format(0xFFFE, 1, 16) + Numbers(2, {22, 16, 4, 0, 1}) + tail) +
           Chunk("data", Numbers(2, {0x2000})),
       {0.25}}};
  for (const auto& c : cases) {
    const Settings read = Read("[microphone]\nplays=a.wav\n", Wave(c.chunks));
    EXPECT_THAT(read.complaints, ElementsAre());
    EXPECT_EQ(read.endpoints[2].rate, 8000U);
    EXPECT_THAT(ReadSettings(folder / "set.cfu").endpoints[2].signal(8000).samples,
                testing::Pointwise(FloatEq(), c.samples));
  }
}

TEST_F(BuiltinSettings, WhatIsWrongIsToldAndLeavesTheRest) {
  const std::string data = Chunk("data", "abcd");
  const std::string fine = Wave(Chunk("fmt ", Format(1, 2, 16)) + data);
  const struct {
    std::string line, wave, complaint;
  } cases[] = {
      {"rate=3999", "", "rate=3999 is ignored: it is no whole number from 4000 to 384000"},
      {"channels=1.5", "", "channels=1.5 is ignored: it is no whole number from 1 to 8"},
      {"volume=50%", "", "volume=50% is ignored: it is no number from 0 to 100"},
      {"plays=tone\nfrequency=24000", "", "it is no whole number from 1 to 23999"},
      {"level=-3", "", "level is ignored: only plays=tone has one"},
      {"channel=2", "", "channel is no key of an endpoint"},
      {"rate=9000\nplays=a.wav", fine, "rate is ignored: a.wav has 8000"},
      {"plays=/dev/zero", "", "there is no such file; the endpoint plays what it does by default"},
      {"plays=a.wav", "RIFF", "it is no RIFF WAVE file; "},
      {"plays=a.wav", Wave(data), "it has no format; "},
      {"plays=a.wav", Wave(Chunk("fmt ", "abc") + data), "its format is cut off; "},
      {"plays=a.wav", Wave(Chunk("fmt ", Format(1, 1, 8)) + data), "float of 32; "},
      {"plays=a.wav", Wave(Chunk("fmt ", Format(1, 9, 16)) + data), "9 channels, not 1 to 8; "},
      {"plays=a.wav", Wave(Chunk("fmt ", Format(1, 2, 32)) + data), "it has no sound; "},
      {"plays=a.wav", Wave(Chunk("fmt ", Format(1, 1, 16, 999)) + data), "from 4000 to 384000; "},
      {"[speaker]", "", "[speaker] is none of [speakers], [headphones] and [microphone]"}};
  for (const auto& c : cases) {
    const Settings read = Read("[microphone]\nvolume=25\n[speakers]\n" + c.line + "\n", c.wave);
    ASSERT_THAT(read.complaints, ElementsAre(testing::HasSubstr(c.complaint))) << c.line;
    EXPECT_THAT(read.complaints[0], testing::StartsWith((folder / "set.cfu").string() + ": ["));
    EXPECT_EQ(read.endpoints[2].volume, 0.25F);
    EXPECT_TRUE(read.endpoints[0].signal);
  }
}

}  // namespace
}  // namespace zevra::builtin
