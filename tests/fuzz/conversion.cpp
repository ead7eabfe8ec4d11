#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "fuzz.h"
#include "platform/linux/com/com.h"
#include "stream/conversion.h"
#include "stream/wave_format.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// Mostly one that the stage takes.
ZevraAudioFormat AnyFormat(FuzzedDataProvider& choices) {
  ZevraAudioFormat format{};
  if (choices.ConsumeIntegralInRange(0, 15) == 15) {
    choices.ConsumeData(&format, sizeof(format));
    return format;
  }
  format.sample_kind = choices.ConsumeBool() ? ZEVRA_SAMPLE_FLOAT : ZEVRA_SAMPLE_PCM;
  format.channels = choices.ConsumeIntegralInRange<std::uint16_t>(1, 8);
  const std::uint16_t width = choices.PickValueInArray<std::uint16_t>({8, 16, 24, 32});
  format.bits_per_sample = format.sample_kind == ZEVRA_SAMPLE_FLOAT ? 32 : width;
  format.valid_bits_per_sample = format.bits_per_sample;
  if (format.sample_kind == ZEVRA_SAMPLE_PCM && choices.ConsumeBool())
    format.valid_bits_per_sample = choices.ConsumeIntegralInRange<std::uint16_t>(0, width);
  format.samples_per_second =
      choices.ConsumeBool()
          ? choices.PickValueInArray<std::uint32_t>({8'000, 16'000, 44'100, 48'000, 96'000})
          : choices.ConsumeIntegralInRange<std::uint32_t>(4'000, 384'000);
  if (choices.ConsumeBool()) format.channel_mask = choices.ConsumeIntegral<std::uint32_t>();
  return format;
}

// Converts `input` in packets of as many frames as `cuts` say in turn, the last one in a block of
// its own, so that a byte read behind it is seen. Empty if there is no such stage.
Bytes Convert(const ZevraAudioFormat& source, const ZevraAudioFormat& target, const Bytes& input,
              const std::vector<std::size_t>& cuts) {
  zevra::ZevraConversionContext context;
  context.source_format = source;
  context.target_format = target;
  if (FAILED(StartConversion(context))) return {};
  const std::size_t block = zevra::BlockBytes(source);
  Bytes output;
  for (std::size_t at = 0, turn = 0; at < input.size(); ++turn) {
    const std::size_t bytes = std::min(cuts[turn % cuts.size()] * block, input.size() - at);
    const Bytes packet(&input[at], &input[at] + bytes);
    zevra::ZevraConvertedBuffer result;
    Require(ConvertBuffer(context, packet.data(), static_cast<std::uint32_t>(bytes), result) ==
            S_OK);
    Require(result.length % zevra::BlockBytes(target) == 0);
    output.insert(output.end(), result.data.get(), result.data.get() + result.length);
    at += bytes;
  }
  Require(context.frames_in * block == input.size());
  Require(context.frames_out * zevra::BlockBytes(target) == output.size());
  return output;
}

}  // namespace

// However a stream is cut into packets, the same bytes come out: whole frames, as many as the time
// allows, and finite where they are float.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const HRESULT com = CoInitialize(nullptr);
  Require(SUCCEEDED(com));
  FuzzedDataProvider choices(data, size);
  const ZevraAudioFormat source = AnyFormat(choices);
  const ZevraAudioFormat target = AnyFormat(choices);
  const auto wanted_frames = choices.ConsumeIntegralInRange<std::size_t>(1, 3'000);
  std::vector<std::size_t> cuts(choices.ConsumeIntegralInRange<std::size_t>(1, 6));
  for (std::size_t& cut : cuts) cut = choices.ConsumeIntegralInRange<std::size_t>(0, 1'500);
  if (std::all_of(cuts.begin(), cuts.end(), [](std::size_t cut) { return cut == 0; })) return 0;

  const Bytes pattern = choices.ConsumeRemainingBytes<std::uint8_t>();
  if (pattern.empty() || !zevra::CanConvert(source, target)) return 0;
  // Long filters fill, and an input stays short.
  const double ratio = 1.0 * target.samples_per_second / source.samples_per_second;
  const auto frames = std::min(wanted_frames, static_cast<std::size_t>(20'000 / ratio) + 1);
  Bytes input(frames * zevra::BlockBytes(source));
  for (std::size_t i = 0; i < input.size(); ++i) input[i] = pattern[i % pattern.size()];

  const Bytes whole = Convert(source, target, input, {frames});
  Require(whole == Convert(source, target, input, cuts));
  const std::size_t got_frames = whole.size() / zevra::BlockBytes(target);
  Require(static_cast<double>(got_frames) <= static_cast<double>(frames) * ratio + 1);
  if (target.sample_kind == ZEVRA_SAMPLE_PCM) return 0;
  for (std::size_t at = 0; at < whole.size(); at += sizeof(float)) {
    float sample = 0;
    std::memcpy(&sample, &whole[at], sizeof(sample));
    Require(std::isfinite(sample));
  }
  return 0;
}
