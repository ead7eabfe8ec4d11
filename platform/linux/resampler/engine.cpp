#include "platform/linux/resampler/engine.h"

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

#include "platform/linux/resampler/samples.h"

namespace zevra {
namespace {

// In either direction a filter of 120 samples of the lower rate then gives 130 dB of signal to
// noise at 0.45 of that rate, takes 0.07 dB there, and keeps images and aliases of what lies 0.001
// or more beside half of it below -121 dB. The length allows no narrower band between the two: a
// cutoff of 0.941 leaves -117 dB, one of 0.938 takes 0.1 dB. bench/quality.cpp prints the whole
// table.
constexpr double kKaiserBeta = 12.4;
constexpr double kCutoff = 0.94;

// Between the 1,024 phases of the filter the rate is interpolated, where it does not fall on one.
constexpr int kPhaseShift = 10;
constexpr int kLeastPhaseShift = 4;

// The lower the output's rate, the smoother the filter, and the fewer phases give the same
// precision; without this a filter table could take 50 MB.
int PhaseShift(UINT32 input_rate, UINT32 output_rate) {
  const int halvings = static_cast<int>(std::bit_width(input_rate / output_rate)) - 1;
  return std::max(kPhaseShift - std::max(halvings, 0), kLeastPhaseShift);
}

// Between two phases libswresample reads up to the next multiple of eight filter taps, past the
// frames that it was given so far. A filter whose length is such a multiple to begin with has no
// tap there; any other would make the output depend, if only in its last bits, on where a packet
// ended. libswresample makes size / stretch taps, rounded up. Of the sizes a little above the
// wanted one, that is taken which lowers the cutoff least, mostly not at all.
void AlignTaps(double ratio, SwrFilter* filter) {
  constexpr double kTaps = 8;
  const double stretch = ratio * filter->cutoff;
  const int wanted_size = filter->filter_size;
  double best = 0;
  for (int size = wanted_size; size <= wanted_size + wanted_size / 10; ++size) {
    // The margins keep clear of what libswresample's own division rounds.
    const double taps = std::ceil((size / stretch + 1e-6) / kTaps) * kTaps;
    const double reached = std::min(stretch, size / (taps - 1) * (1 - 1e-9));
    if (reached <= best) continue;
    best = reached;
    filter->filter_size = size;
  }
  filter->cutoff = best / ratio;
}

// Frames of the scratch blocks: of what is taken in one go, and of what is written in one go where
// the samples are packed here.
constexpr UINT32 kScratchFrames = SwrEngine::kMaxInputFrames;

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
  // Positions do not matter to libswresample where it has a matrix.
  void SetChannels(const char* name, UINT32 channels) {
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, static_cast<int>(channels));
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

HRESULT ResultOf(int error) {
  if (error >= 0) return S_OK;
  return error == AVERROR(ENOMEM) ? E_OUTOFMEMORY : E_FAIL;
}

// One side of a libswresample context.
struct Side {
  UINT32 channels;
  UINT32 rate;
  AVSampleFormat samples;
};

// Channels are mixed by `gains`; null leaves each as it is.
HRESULT Start(SwrContext* context, const Side& input, const Side& output, const MixMatrix* gains,
              AVSampleFormat inside, UINT32 half_filter_length) {
  const SwrFilter filter = FilterFor(input.rate, output.rate, half_filter_length);
  Options options(context);
  options.SetChannels("in_chlayout", input.channels);
  options.SetChannels("out_chlayout", output.channels);
  options.Set("in_sample_rate", input.rate);
  options.Set("out_sample_rate", output.rate);
  options.SetSampleFormat("in_sample_fmt", input.samples);
  options.SetSampleFormat("out_sample_fmt", output.samples);
  options.SetSampleFormat("internal_sample_fmt", inside);
  options.Set("filter_size", filter.filter_size);
  options.Set("filter_type", SWR_FILTER_TYPE_KAISER);
  options.SetDouble("kaiser_beta", filter.kaiser_beta);
  options.SetDouble("cutoff", filter.cutoff);
  options.Set("exact_rational", 1);
  options.Set("linear_interp", 1);
  options.Set("phase_shift", filter.phase_shift);
  if (options.Error() < 0) return ResultOf(options.Error());
  const int error =
      gains != nullptr ? swr_set_matrix(context, (*gains)[0].data(), kMixChannels) : 0;
  if (error < 0) return ResultOf(error);
  return ResultOf(swr_init(context));
}

}  // namespace

SwrFilter FilterFor(UINT32 input_rate, UINT32 output_rate, UINT32 half_length) {
  const double ratio = static_cast<double>(output_rate) / input_rate;
  // libswresample takes the cutoff as a share of the output's Nyquist frequency also where the
  // input's is the lower one.
  SwrFilter filter{static_cast<int>(2 * half_length), kKaiserBeta, kCutoff / std::max(ratio, 1.0),
                   PhaseShift(input_rate, output_rate)};
  const UINT32 phases = output_rate / std::gcd(input_rate, output_rate);
  const bool falls_on_phases = phases <= 1U << filter.phase_shift;
  if (!falls_on_phases) AlignTaps(ratio, &filter);
  return filter;
}

void SwrEngine::FreeContext::operator()(SwrContext* context) const { swr_free(&context); }

SwrEngine::SwrEngine() = default;
SwrEngine::~SwrEngine() = default;

void SwrEngine::Close() {
  is_open_ = false;
  mixer_.reset();
  context_.reset();
  prepared_input_.reset();
  mixed_input_.reset();
  unpacked_output_.reset();
}

HRESULT SwrEngine::Open(const ResamplerFormat& input, const ResamplerFormat& output,
                        UINT32 half_filter_length) {
  Close();
  input_ = input;
  output_ = output;
  gains_ =
      BuildMixMatrix({input.channels, input.channel_mask}, {output.channels, output.channel_mask});
  mixes_ = input.channels != output.channels || !IsIdentity(gains_, input.channels);
  const bool rate_changes = input.samples_per_second != output.samples_per_second;
  direct_ = WrittenDirectly(input, output);
  // What PackPcm takes and what float output is: libswresample would only copy it.
  passes_ = input.is_float && !rate_changes && !mixes_ && (output.is_float || !direct_);
  only_mixes_ = input.is_float && !rate_changes && mixes_ && output.is_float &&
                output.channels <= std::min(input.channels, 2U);
  // The filter's own noise lies above the last bits that a double would add.
  double_inside_ = !passes_ && !rate_changes && (NeedsDouble(input) || NeedsDouble(output));
  const HRESULT result = SetUp(half_filter_length);
  if (FAILED(result)) Close();
  is_open_ = SUCCEEDED(result);
  return result;
}

HRESULT SwrEngine::SetUp(UINT32 half_filter_length) {
  if (!MakeScratch()) return E_OUTOFMEMORY;
  if (passes_ || only_mixes_) return S_OK;
  const AVSampleFormat inside = double_inside_ ? AV_SAMPLE_FMT_DBLP : AV_SAMPLE_FMT_FLTP;
  context_.reset(swr_alloc());
  if (MixesFirst()) mixer_.reset(swr_alloc());
  if (context_ == nullptr || (MixesFirst() && mixer_ == nullptr)) return E_OUTOFMEMORY;
  Side input{input_.channels, input_.samples_per_second, InputSampleFormat(input_)};
  const MixMatrix* gains = mixes_ ? &gains_ : nullptr;
  if (MixesFirst()) {
    const Side mixed{output_.channels, input.rate, inside};
    const HRESULT result = Start(mixer_.get(), input, mixed, gains, inside, half_filter_length);
    if (FAILED(result)) return result;
    input = mixed;
    gains = nullptr;
  }
  const Side output{output_.channels, output_.samples_per_second,
                    direct_          ? InputSampleFormat(output_)
                    : double_inside_ ? AV_SAMPLE_FMT_DBL
                                     : AV_SAMPLE_FMT_FLT};
  return Start(context_.get(), input, output, gains, inside, half_filter_length);
}

bool SwrEngine::MakeScratch() {
  const auto make = [](std::size_t sample_bytes, UINT32 channels, Block* block) {
    block->reset(static_cast<BYTE*>(AllocateBlock(sample_bytes * kScratchFrames * channels)));
    return *block != nullptr;
  };
  const bool prepares = input_.is_float || input_.bits == 24;
  return (!prepares || make(sizeof(float), input_.channels, &prepared_input_)) &&
         (!MixesFirst() || make(sizeof(double), output_.channels, &mixed_input_)) &&
         (direct_ || passes_ || make(sizeof(double), output_.channels, &unpacked_output_));
}

// The output's channels in a scratch block.
SwrEngine::Planes SwrEngine::PlanesOf(const Block& block) const {
  const std::size_t sample_bytes = double_inside_ ? sizeof(double) : sizeof(float);
  Planes planes{};
  for (UINT32 channel = 0; channel < output_.channels; ++channel)
    planes[channel] = block.get() + sample_bytes * kScratchFrames * channel;
  return planes;
}

// Without a change of rate every frame that goes in comes out.
HRESULT SwrEngine::Mix(Frames* frames, UINT32 count) {
  Planes mixed = PlanesOf(mixed_input_);
  const auto wanted = static_cast<int>(count);
  const int made = swr_convert(mixer_.get(), mixed.data(), wanted, frames->data(), wanted);
  std::copy(mixed.begin(), mixed.end(), frames->begin());
  if (made < 0) return ResultOf(made);
  return made == wanted ? S_OK : E_UNEXPECTED;
}

// What libswresample can take: packed samples unpacked, and wild ones tamed, which are rare.
const BYTE* SwrEngine::Prepare(const BYTE* input, UINT32 frames) const {
  const std::size_t samples = std::size_t{frames} * input_.channels;
  BYTE* const prepared = prepared_input_.get();
  if (!input_.is_float && input_.bits == 24)
    UnpackPcm24(input, samples, reinterpret_cast<std::int32_t*>(prepared));
  else if (input_.is_float && IsWild(reinterpret_cast<const float*>(input), samples))
    Tame(reinterpret_cast<const float*>(input), samples, reinterpret_cast<float*>(prepared));
  else
    return input;
  return prepared;
}

HRESULT SwrEngine::Convert(const BYTE* input, UINT32 input_frames, BYTE* output,
                           UINT32 output_frames, UINT32* written) {
  if (only_mixes_) {
    const HRESULT result = ConvertPrepared(input, input_frames, output, output_frames, written);
    const std::size_t samples = std::size_t{*written} * output_.channels;
    if (FAILED(result) || !IsWild(reinterpret_cast<const float*>(output), samples)) return result;
  }
  return ConvertPrepared(Prepare(input, input_frames), input_frames, output, output_frames,
                         written);
}

HRESULT SwrEngine::ConvertPrepared(const BYTE* input, UINT32 input_frames, BYTE* output,
                                   UINT32 output_frames, UINT32* written) {
  *written = 0;
  if (passes_) {
    Write(input, input_frames, output);
    *written = input_frames;
    return S_OK;
  }
  if (only_mixes_) {
    MixFrames(gains_, reinterpret_cast<const float*>(input), input_.channels,
              reinterpret_cast<float*>(output), output_.channels, input_frames);
    *written = input_frames;
    return S_OK;
  }
  Frames frames = {input};
  if (mixer_ != nullptr && input_frames > 0) {
    if (const HRESULT result = Mix(&frames, input_frames); FAILED(result)) return result;
  }
  if (!direct_) return ConvertAndPack(frames, input_frames, output, output_frames, written);
  std::uint8_t* outputs[] = {output};
  const int count = Run(frames, input_frames, outputs, output_frames);
  if (count < 0) return ResultOf(count);
  *written = static_cast<UINT32>(count);
  return S_OK;
}

int SwrEngine::Run(Frames input, UINT32 input_frames, std::uint8_t** output, UINT32 output_frames) {
  return swr_convert(context_.get(), output, static_cast<int>(output_frames), input.data(),
                     static_cast<int>(input_frames));
}

// Interleaved float or double samples to the output's.
void SwrEngine::Write(const BYTE* unpacked, UINT32 frames, BYTE* output) const {
  const auto count = std::size_t{frames} * output_.channels;
  if (output_.is_float)
    std::copy_n(unpacked, count * sizeof(float), output);
  else if (double_inside_)
    PackPcm(reinterpret_cast<const double*>(unpacked), count, output_, output);
  else
    PackPcm(reinterpret_cast<const float*>(unpacked), count, output_, output);
}

HRESULT SwrEngine::ConvertAndPack(const Frames& input, UINT32 input_frames, BYTE* output,
                                  UINT32 output_frames, UINT32* written) {
  std::uint8_t* unpacked[] = {unpacked_output_.get()};
  while (*written < output_frames) {
    const UINT32 wanted = std::min(output_frames - *written, kScratchFrames);
    const int frames = Run(input, input_frames, unpacked, wanted);
    if (frames < 0) return ResultOf(frames);
    input_frames = 0;
    Write(unpacked_output_.get(), static_cast<UINT32>(frames),
          output + std::size_t{*written} * output_.BlockBytes());
    *written += static_cast<UINT32>(frames);
    if (static_cast<UINT32>(frames) < wanted) break;
  }
  return S_OK;
}

}  // namespace zevra
