// What the conversion of a packet of 10 ms costs, next to libswresample called directly on the same
// data with the same settings in the same run, and what the conversion takes from the heap. Where
// nothing but the rate changes, soxr HQ and a polyphase filter of our own run as well.

#include <benchmark/benchmark.h>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}
#include <soxr.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/medians.h"
#include "bench/polyphase.h"
#include "platform/linux/resampler/engine.h"
#include "platform/linux/resampler/mix.h"
#include "stream/conversion.h"
#include "stream/wave_format.h"
#include "tests/support/counting_heap.h"

namespace {

// The filter is most of the work where the rate changes. Elsewhere the bare call costs next to
// nothing, and what the stage adds to it is bounded by itself. So is what it adds to write packed
// and odd widths, which the bare call does not do.
constexpr double kMostTimesThePeer = 1.10;
constexpr double kMostMoreNs = 300;
constexpr double kMostMorePackedNs = 800;
constexpr UINT32 kHalfFilterLength = 60;
constexpr std::uint32_t kPacketsInSecond = 100;
constexpr std::uint32_t kMono = 0x4;
constexpr std::uint32_t kStereo = 0x3;
constexpr std::uint32_t kSurround = 0x3F;
// As wide as libswresample's widest instructions; without it the peer takes its slow way.
constexpr std::size_t kAlignment = 64;

struct Pair {
  const char* name;
  ZevraAudioFormat source;
  ZevraAudioFormat target;
};

constexpr ZevraAudioFormat Float(std::uint32_t rate, std::uint16_t channels, std::uint32_t mask) {
  return {ZEVRA_SAMPLE_FLOAT, channels, 32, rate, mask, 32, 0};
}
constexpr ZevraAudioFormat Pcm(std::uint16_t bits, std::uint32_t rate, std::uint16_t channels,
                               std::uint32_t mask) {
  return {ZEVRA_SAMPLE_PCM, channels, bits, rate, mask, bits, 0};
}

constexpr ZevraAudioFormat kSource = Float(48'000, 2, kStereo);
constexpr Pair kPairs[] = {
    {"s16 mono 16k", kSource, Pcm(16, 16'000, 1, kMono)},
    {"f32 stereo 44.1k", kSource, Float(44'100, 2, kStereo)},
    {"s16 stereo 44.1k", kSource, Pcm(16, 44'100, 2, kStereo)},
    {"s24 stereo 44.1k", kSource, Pcm(24, 44'100, 2, kStereo)},
    {"s32 stereo 44.1k", kSource, Pcm(32, 44'100, 2, kStereo)},
    {"f32 stereo 96k", kSource, Float(96'000, 2, kStereo)},
    {"44.1k to f32 48k", Float(44'100, 2, kStereo), kSource},
    {"192k to f32 8k", Float(192'000, 2, kStereo), Float(8'000, 2, kStereo)},
    {"5.1 to s16 stereo 16k", Float(48'000, 6, kSurround), Pcm(16, 16'000, 2, kStereo)},
    {"5.1 to f32 stereo 48k", Float(48'000, 6, kSurround), kSource},
    {"s16 mono 48k", kSource, Pcm(16, 48'000, 1, kMono)},
    {"s16 stereo 48k", kSource, Pcm(16, 48'000, 2, kStereo)},
    {"s24 stereo 48k", kSource, Pcm(24, 48'000, 2, kStereo)},
    {"s12 stereo 48k", kSource, {ZEVRA_SAMPLE_PCM, 2, 16, 48'000, kStereo, 12, 0}},
    {"s32 stereo 48k", kSource, Pcm(32, 48'000, 2, kStereo)},
    {"f32 stereo 48k", kSource, kSource},
};

class Bytes {
 public:
  explicit Bytes(std::size_t count)
      : bytes_(static_cast<std::uint8_t*>(::operator new (count, std::align_val_t{kAlignment}))) {}
  ~Bytes() { ::operator delete (bytes_, std::align_val_t{kAlignment}); }
  Bytes(const Bytes&) = delete;
  Bytes& operator=(const Bytes&) = delete;
  std::uint8_t* Get() const { return bytes_; }

 private:
  std::uint8_t* bytes_;
};

// Noise, so that no sample is cheaper than another.
class Packet {
 public:
  explicit Packet(const ZevraAudioFormat& format)
      : frames_(format.samples_per_second / kPacketsInSecond),
        bytes_(frames_ * zevra::BlockBytes(format)),
        memory_(bytes_) {
    std::minstd_rand random(1);  // NOLINT(cert-msc51-cpp): the same noise in every run
    std::uniform_real_distribution<float> level(-0.5F, 0.5F);
    auto* const samples = reinterpret_cast<float*>(memory_.Get());
    for (std::size_t i = 0; i < bytes_ / sizeof(float); ++i) samples[i] = level(random);
  }
  const std::uint8_t* Data() const { return memory_.Get(); }
  std::uint32_t Frames() const { return frames_; }
  std::uint32_t Size() const { return bytes_; }

 private:
  std::uint32_t frames_;
  std::uint32_t bytes_;
  Bytes memory_;
};

// By all packets together, once each conversion has warmed up.
long heap_blocks_taken = 0;

void Zevra(benchmark::State& state, const Pair& pair) {
  const Packet packet(pair.source);
  zevra::ZevraConversionContext context;
  context.source_format = pair.source;
  context.target_format = pair.target;
  if (FAILED(zevra::StartConversion(context))) state.SkipWithError("no conversion");
  zevra::ZevraConvertedBuffer converted;
  const auto convert = [&] {
    zevra::ConvertBuffer(context, packet.Data(), packet.Size(), converted);
    benchmark::DoNotOptimize(converted.data.get());
    converted.Clear();
  };
  // Until the filter is full and every block is in its cache.
  for (int i = 0; i < 20; ++i) convert();
  const long before = zevra::test::Allocations();
  for ([[maybe_unused]] auto _ : state) convert();
  heap_blocks_taken += zevra::test::Allocations() - before;
}

struct FreeSwr {
  void operator()(SwrContext* context) const { swr_free(&context); }
};
using Swr = std::unique_ptr<SwrContext, FreeSwr>;

void SetSide(SwrContext* context, const std::string& side, const ZevraAudioFormat& format) {
  AVChannelLayout layout{};
  av_channel_layout_from_mask(&layout, format.channel_mask);
  av_opt_set_chlayout(context, (side + "_chlayout").c_str(), &layout, 0);
  av_channel_layout_uninit(&layout);
  av_opt_set_int(context, (side + "_sample_rate").c_str(), format.samples_per_second, 0);
  // libswresample has no packed 24-bit samples; 32 bits are its nearest.
  const AVSampleFormat samples = format.sample_kind != ZEVRA_SAMPLE_PCM ? AV_SAMPLE_FMT_FLT
                                 : format.bits_per_sample == 16         ? AV_SAMPLE_FMT_S16
                                                                        : AV_SAMPLE_FMT_S32;
  av_opt_set_sample_fmt(context, (side + "_sample_fmt").c_str(), samples, 0);
}

Swr OpenSwr(const Pair& pair) {
  Swr swr(swr_alloc());
  SetSide(swr.get(), "in", pair.source);
  SetSide(swr.get(), "out", pair.target);
  const zevra::SwrFilter filter = zevra::FilterFor(
      pair.source.samples_per_second, pair.target.samples_per_second, kHalfFilterLength);
  av_opt_set_sample_fmt(swr.get(), "internal_sample_fmt", AV_SAMPLE_FMT_FLTP, 0);
  av_opt_set_int(swr.get(), "filter_size", filter.filter_size, 0);
  av_opt_set_int(swr.get(), "filter_type", SWR_FILTER_TYPE_KAISER, 0);
  av_opt_set_double(swr.get(), "kaiser_beta", filter.kaiser_beta, 0);
  av_opt_set_double(swr.get(), "cutoff", filter.cutoff, 0);
  av_opt_set_int(swr.get(), "exact_rational", 1, 0);
  av_opt_set_int(swr.get(), "linear_interp", 1, 0);
  av_opt_set_int(swr.get(), "phase_shift", filter.phase_shift, 0);
  if (pair.source.channel_mask != pair.target.channel_mask) {
    const zevra::MixMatrix gains =
        zevra::BuildMixMatrix({pair.source.channels, pair.source.channel_mask},
                              {pair.target.channels, pair.target.channel_mask});
    swr_set_matrix(swr.get(), gains[0].data(), zevra::kMixChannels);
  }
  return swr_init(swr.get()) >= 0 ? std::move(swr) : nullptr;
}

void Libswresample(benchmark::State& state, const Pair& pair) {
  const Packet packet(pair.source);
  const Swr swr = OpenSwr(pair);
  if (swr == nullptr) {
    state.SkipWithError("no conversion");
    return;
  }
  // The capacity that the stage offers, too; 32 bits a sample.
  const std::uint32_t capacity = pair.target.samples_per_second / kPacketsInSecond + 17;
  const Bytes output(std::size_t{capacity} * pair.target.channels * 4);
  const std::uint8_t* in[] = {packet.Data()};
  std::uint8_t* out[] = {output.Get()};
  const auto convert = [&] {
    benchmark::DoNotOptimize(swr_convert(swr.get(), out, static_cast<int>(capacity), in,
                                         static_cast<int>(packet.Frames())));
  };
  for (int i = 0; i < 20; ++i) convert();
  for ([[maybe_unused]] auto _ : state) convert();
}

bool OnlyTheRateChanges(const Pair& pair) {
  return pair.target.sample_kind == ZEVRA_SAMPLE_FLOAT &&
         pair.source.channels == pair.target.channels &&
         pair.source.samples_per_second != pair.target.samples_per_second;
}

void Soxr(benchmark::State& state, const Pair& pair) {
  const Packet packet(pair.source);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
  const std::unique_ptr<soxr, decltype(&soxr_delete)> soxr(
      soxr_create(pair.source.samples_per_second, pair.target.samples_per_second,
                  pair.target.channels, nullptr, nullptr, &quality, nullptr),
      soxr_delete);
  const std::size_t most = pair.target.samples_per_second / 5;  // it delivers in lumps
  const Bytes output(most * pair.target.channels * sizeof(float));
  const auto convert = [&] {
    std::size_t made = 0;
    soxr_process(soxr.get(), packet.Data(), packet.Frames(), nullptr, output.Get(), most, &made);
    benchmark::DoNotOptimize(made);
  };
  for (int i = 0; i < 20; ++i) convert();
  for ([[maybe_unused]] auto _ : state) convert();
}

void Own(benchmark::State& state, const Pair& pair) {
  const Packet packet(pair.source);
  zevra::bench::Polyphase kernel(pair.source.samples_per_second, pair.target.samples_per_second,
                                 pair.target.channels);
  const Bytes output(std::size_t{pair.target.samples_per_second} / 50 * pair.target.channels *
                     sizeof(float));
  const auto convert = [&] {
    benchmark::DoNotOptimize(kernel.Convert(reinterpret_cast<const float*>(packet.Data()),
                                            packet.Frames(),
                                            reinterpret_cast<float*>(output.Get())));
  };
  for (int i = 0; i < 20; ++i) convert();
  for ([[maybe_unused]] auto _ : state) convert();
}

std::string NameOf(const char* who, const Pair& pair) { return who + std::string("/") + pair.name; }

struct Verdict {
  char bound[32] = {};
  bool met = false;
};

Verdict Judge(const Pair& pair, double own, double peer) {
  Verdict verdict;
  const bool packed = pair.target.sample_kind == ZEVRA_SAMPLE_PCM &&
                      (pair.target.bits_per_sample == 24 ||
                       pair.target.valid_bits_per_sample != pair.target.bits_per_sample);
  if (!packed && pair.source.samples_per_second != pair.target.samples_per_second) {
    std::snprintf(verdict.bound, sizeof verdict.bound, "%.2f times", kMostTimesThePeer);
    verdict.met = own <= kMostTimesThePeer * peer;
    return verdict;
  }
  const double most = packed ? kMostMorePackedNs : kMostMoreNs;
  std::snprintf(verdict.bound, sizeof verdict.bound, "%.0f ns more", most);
  verdict.met = own - peer <= most;
  return verdict;
}

void PrintRatios(const zevra::bench::Medians& medians) {
  std::printf("\n48 kHz float stereo, or what is named, to:\n");
  std::printf("%-24s %9s %14s %9s %7s   %s\n", "", "zevra, ns", "libswresample", "more, ns",
              "times", "bound: at most");
  for (const Pair& pair : kPairs) {
    const double own = medians.Of(NameOf("Zevra", pair)).cpu;
    const double peer = medians.Of(NameOf("Libswresample", pair)).cpu;
    if (own == 0 || peer == 0) continue;
    const Verdict verdict = Judge(pair, own, peer);
    std::printf("%-24s %9.0f %14.0f %9.0f %7.2f   %-12s %s\n", pair.name, own, peer, own - peer,
                own / peer, verdict.bound, verdict.met ? "ok" : "BOUND MISSED");
  }
  std::printf("\n%-24s %14s %9s %9s\n", "the rate alone, ns", "libswresample", "soxr HQ", "own");
  for (const Pair& pair : kPairs) {
    if (!OnlyTheRateChanges(pair)) continue;
    std::printf("%-24s %14.0f %9.0f %9.0f\n", pair.name,
                medians.Of(NameOf("Libswresample", pair)).cpu, medians.Of(NameOf("Soxr", pair)).cpu,
                medians.Of(NameOf("Own", pair)).cpu);
  }
  std::printf("\nblocks taken from the heap: %ld   (bound: 0)   %s\n", heap_blocks_taken,
              heap_blocks_taken == 0 ? "ok" : "BOUND MISSED");
}

}  // namespace

int main(int argc, char** argv) {
  ::CoInitialize(nullptr);
  for (const Pair& pair : kPairs) {
    benchmark::RegisterBenchmark(NameOf("Zevra", pair).c_str(), Zevra, pair);
    benchmark::RegisterBenchmark(NameOf("Libswresample", pair).c_str(), Libswresample, pair);
    if (!OnlyTheRateChanges(pair)) continue;
    benchmark::RegisterBenchmark(NameOf("Soxr", pair).c_str(), Soxr, pair);
    benchmark::RegisterBenchmark(NameOf("Own", pair).c_str(), Own, pair);
  }
  PrintRatios(zevra::bench::RunForMedians(argc, argv));
  ::CoUninitialize();
  return 0;
}
