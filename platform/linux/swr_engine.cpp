#include "platform/linux/swr_engine.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <numeric>

#include "platform/linux/channel_mix.h"
#include "platform/linux/sample_packing.h"

namespace zevra::platform {
namespace {

// Frames that are written in one go where the samples are packed here.
constexpr UINT32 kScratchFrames = 2048;

// With a filter of 120 samples these give 136 dB of signal to noise at 0.45 of the rate and keep
// what lies beyond 1.12 of the output's Nyquist frequency below -120 dB; bench/quality.cpp prints
// the whole table.
constexpr double kKaiserBeta = 12;
constexpr double kCutoff = 0.94;

// Between the 1,024 phases of the filter the rate is interpolated, where it does not fall on one.
constexpr int kPhaseShift = 10;
constexpr int kLeastPhaseShift = 4;

// A float carries 24 bits.
bool NeedsDouble(const ResamplerFormat& format) {
  return !format.is_float && format.valid_bits > 24;
}

AVSampleFormat InputSampleFormat(const ResamplerFormat& format) {
  if (format.is_float) return AV_SAMPLE_FMT_FLT;
  if (format.bits == 8) return AV_SAMPLE_FMT_U8;
  return format.bits == 16 ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_S32;
}

// libswresample writes these itself, except that it cuts an integer off where it makes it narrower.
bool WrittenDirectly(const ResamplerFormat& input, const ResamplerFormat& output) {
  if (output.is_float) return true;
  return output.valid_bits == output.bits && output.bits != 24 &&
         (input.is_float || input.bits <= output.bits);
}

struct Filter {
  int size;  // libswresample stretches it by the ratio of the rates times the cutoff
  double cutoff;
  int phase_shift;
};

// The lower the output's rate, the smoother the filter, and the fewer phases give the same
// precision; without this a filter table could take 50 MB.
int PhaseShift(UINT32 input_rate, UINT32 output_rate) {
  const int halvings = static_cast<int>(std::bit_width(input_rate / output_rate)) - 1;
  return std::max(kPhaseShift - std::max(halvings, 0), kLeastPhaseShift);
}

// Between two phases libswresample reads up to the next multiple of eight filter taps, past the
// frames that it was given so far. A filter whose length is such a multiple to begin with has no
// tap there; any other would make the output depend, if only in its last bits, on where a packet
// ended. Size and cutoff move by half a percent at most for a filter of the full length.
void AlignTaps(double ratio, Filter* filter) {
  constexpr double kTaps = 8;
  const double stretch = std::min(ratio * filter->cutoff, 1.0);
  const double taps = std::max(std::round(filter->size / stretch / kTaps), 1.0) * kTaps;
  filter->size = static_cast<int>(std::max(std::round(taps * stretch), 1.0));
  // A trace above the even quotient, because the length is rounded up.
  if (stretch < 1.0) filter->cutoff = filter->size / (ratio * taps) * (1 + 1e-9);
}

Filter FilterFor(UINT32 input_rate, UINT32 output_rate, UINT32 half_length) {
  Filter filter{static_cast<int>(2 * half_length), kCutoff, PhaseShift(input_rate, output_rate)};
  const UINT32 phases = output_rate / std::gcd(input_rate, output_rate);
  const bool falls_on_phases = phases <= 1U << filter.phase_shift;
  if (!falls_on_phases) AlignTaps(static_cast<double>(output_rate) / input_rate, &filter);
  return filter;
}

// Sets options one after the other and remembers whether all were taken.
class Options {
 public:
  explicit Options(SwrContext* context) : context_(context) {}

  void Set(const char* name, std::int64_t value) { Note(av_opt_set_int(context_, name, value, 0)); }
  void SetDouble(const char* name, double value) {
    Note(av_opt_set_double(context_, name, value, 0));
  }
  void SetSampleFormat(const char* name, AVSampleFormat value) {
    Note(av_opt_set_sample_fmt(context_, name, value, 0));
  }
  void SetLayout(const char* name, DWORD mask) {
    AVChannelLayout layout{};
    Note(av_channel_layout_from_mask(&layout, mask));
    Note(av_opt_set_chlayout(context_, name, &layout, 0));
    av_channel_layout_uninit(&layout);
  }
  int Error() const { return error_; }

 private:
  void Note(int result) {
    if (result < 0 && error_ == 0) error_ = result;
  }

  SwrContext* context_;
  int error_ = 0;
};

int SetMix(SwrContext* context, const ResamplerFormat& input, const ResamplerFormat& output) {
  if (input.channel_mask == output.channel_mask) return 0;
  MixMatrix gains;
  if (!BuildMixMatrix(input.channel_mask, output.channel_mask, &gains)) return AVERROR(EINVAL);
  return swr_set_matrix(context, gains[0].data(), kMixChannels);
}

HRESULT ResultOf(int error) {
  if (error >= 0) return S_OK;
  return error == AVERROR(ENOMEM) ? E_OUTOFMEMORY : E_FAIL;
}

}  // namespace

bool CanConvert(const ResamplerFormat& input, const ResamplerFormat& output) {
  MixMatrix gains;
  return input.channel_mask == output.channel_mask ||
         BuildMixMatrix(input.channel_mask, output.channel_mask, &gains);
}

void SwrEngine::FreeContext::operator()(SwrContext* context) const { swr_free(&context); }

SwrEngine::SwrEngine() = default;
SwrEngine::~SwrEngine() = default;

void SwrEngine::Close() {
  context_.reset();
  unpacked_input_.reset();
  planar_output_.reset();
}

HRESULT SwrEngine::Open(const ResamplerFormat& input, const ResamplerFormat& output,
                        UINT32 half_filter_length) {
  Close();
  if (!CanConvert(input, output)) return MF_E_INVALIDMEDIATYPE;
  input_ = input;
  output_ = output;
  direct_ = WrittenDirectly(input, output);
  double_inside_ = NeedsDouble(input) || NeedsDouble(output);
  context_.reset(swr_alloc());
  if (context_ == nullptr || !MakeScratch()) {
    Close();
    return E_OUTOFMEMORY;
  }
  const HRESULT result = SetUp(half_filter_length);
  if (FAILED(result)) Close();
  return result;
}

bool SwrEngine::MakeScratch() {
  if (!input_.is_float && input_.bits == 24) {
    const std::size_t bytes = std::size_t{kMaxInputFrames} * input_.channels * 4;
    unpacked_input_.reset(static_cast<BYTE*>(TakeBlock(bytes)));
    if (unpacked_input_ == nullptr) return false;
  }
  if (!direct_) {
    const std::size_t bytes = std::size_t{kScratchFrames} * output_.channels * sizeof(double);
    planar_output_.reset(static_cast<BYTE*>(TakeBlock(bytes)));
    if (planar_output_ == nullptr) return false;
  }
  return true;
}

HRESULT SwrEngine::SetUp(UINT32 half_filter_length) {
  const AVSampleFormat inside = double_inside_ ? AV_SAMPLE_FMT_DBLP : AV_SAMPLE_FMT_FLTP;
  Options options(context_.get());
  options.SetLayout("in_chlayout", input_.channel_mask);
  options.SetLayout("out_chlayout", output_.channel_mask);
  options.Set("in_sample_rate", input_.samples_per_second);
  options.Set("out_sample_rate", output_.samples_per_second);
  options.SetSampleFormat("in_sample_fmt", InputSampleFormat(input_));
  options.SetSampleFormat("out_sample_fmt", direct_ ? InputSampleFormat(output_) : inside);
  options.SetSampleFormat("internal_sample_fmt", inside);
  const Filter filter =
      FilterFor(input_.samples_per_second, output_.samples_per_second, half_filter_length);
  options.Set("filter_size", filter.size);
  options.Set("filter_type", SWR_FILTER_TYPE_KAISER);
  options.SetDouble("kaiser_beta", kKaiserBeta);
  options.SetDouble("cutoff", filter.cutoff);
  options.Set("exact_rational", 1);
  options.Set("linear_interp", 1);
  options.Set("phase_shift", filter.phase_shift);
  if (options.Error() < 0) return ResultOf(options.Error());
  if (const int error = SetMix(context_.get(), input_, output_); error < 0) return ResultOf(error);
  return ResultOf(swr_init(context_.get()));
}

HRESULT SwrEngine::Convert(const BYTE* input, UINT32 input_frames, BYTE* output,
                           UINT32 output_frames, UINT32* written) {
  *written = 0;
  if (unpacked_input_ != nullptr) {
    auto* const unpacked = reinterpret_cast<std::int32_t*>(unpacked_input_.get());
    UnpackPcm24(input, std::size_t{input_frames} * input_.channels, unpacked);
    input = unpacked_input_.get();
  }
  if (!direct_) return ConvertPlanar(input, input_frames, output, output_frames, written);
  const std::uint8_t* inputs[] = {input};
  std::uint8_t* outputs[] = {output};
  const int frames = swr_convert(context_.get(), outputs, static_cast<int>(output_frames), inputs,
                                 static_cast<int>(input_frames));
  if (frames < 0) return ResultOf(frames);
  *written = static_cast<UINT32>(frames);
  return S_OK;
}

HRESULT SwrEngine::ConvertPlanar(const BYTE* input, UINT32 input_frames, BYTE* output,
                                 UINT32 output_frames, UINT32* written) {
  const std::size_t sample_bytes = double_inside_ ? sizeof(double) : sizeof(float);
  std::array<std::uint8_t*, kMixChannels> planes{};
  for (UINT32 channel = 0; channel < output_.channels; ++channel) {
    planes[channel] = planar_output_.get() + channel * kScratchFrames * sample_bytes;
  }
  while (*written < output_frames) {
    const UINT32 room = std::min(output_frames - *written, kScratchFrames);
    const std::uint8_t* inputs[] = {input};
    const int frames = swr_convert(context_.get(), planes.data(), static_cast<int>(room), inputs,
                                   static_cast<int>(input_frames));
    if (frames < 0) return ResultOf(frames);
    input_frames = 0;
    BYTE* const packed = output + std::size_t{*written} * output_.BlockBytes();
    const auto count = static_cast<std::size_t>(frames);
    if (double_inside_) {
      PackPcm(reinterpret_cast<const double* const*>(planes.data()), count, output_, packed);
    } else {
      PackPcm(reinterpret_cast<const float* const*>(planes.data()), count, output_, packed);
    }
    *written += static_cast<UINT32>(frames);
    if (static_cast<UINT32>(frames) < room) break;
  }
  return S_OK;
}

}  // namespace zevra::platform
