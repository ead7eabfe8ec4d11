#ifndef ZEVRA_PLATFORM_LINUX_RESAMPLER_ENGINE_H
#define ZEVRA_PLATFORM_LINUX_RESAMPLER_ENGINE_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

#include "platform/linux/com/block_pool.h"
#include "platform/linux/resampler/mix.h"
#include "platform/linux/resampler/samples.h"

struct SwrContext;

namespace zevra {

// The options of libswresample's filter, named as it names them.
struct SwrFilter {
  int filter_size;
  double kaiser_beta;
  double cutoff;  // as a share of the output's Nyquist frequency
  int phase_shift;
};

// The filter between two rates in Hz; `half_length` counts samples of the lower rate on each side.
SwrFilter FilterFor(UINT32 input_rate, UINT32 output_rate, UINT32 half_length);

// One conversion by libswresample: rate, channels and sample format. The signal goes on from call
// to call. One thread at a time.
class SwrEngine {
 public:
  // The most input frames that one call takes, which bounds what the engine ever holds.
  static constexpr UINT32 kMaxInputFrames = 2048;

  SwrEngine();
  ~SwrEngine();
  SwrEngine(const SwrEngine&) = delete;
  SwrEngine& operator=(const SwrEngine&) = delete;

  // Sets the engine up anew; nothing that it held is kept. `half_filter_length` counts samples of
  // the lower of both rates on each side of the filter. E_OUTOFMEMORY where it applies.
  HRESULT Open(const ResamplerFormat& input, const ResamplerFormat& output,
               UINT32 half_filter_length);
  void Close();
  bool IsOpen() const { return is_open_; }

  // The most input frames that one call of Convert takes when it may write `output_frames`.
  UINT32 MostInput(UINT32 output_frames) const {
    return passes_ || only_mixes_ ? std::min(output_frames, kMaxInputFrames) : kMaxInputFrames;
  }

  // Takes `input_frames` frames, 0 to what MostInput says, and writes at most `output_frames`, 1 to
  // INT32_MAX; what does not fit is kept for the next call. `*written` below `output_frames` means
  // that nothing is kept that could be written yet. `input` must not be null, also for 0 frames.
  HRESULT Convert(const BYTE* input, UINT32 input_frames, BYTE* output, UINT32 output_frames,
                  UINT32* written);

 private:
  struct FreeContext {
    void operator()(SwrContext* context) const;
  };
  struct FreeBlock {
    void operator()(BYTE* block) const { zevra::FreeBlock(block); }
  };
  using Context = std::unique_ptr<SwrContext, FreeContext>;
  using Block = std::unique_ptr<BYTE, FreeBlock>;
  // A pointer for each channel; of Frames also one alone, to interleaved frames.
  using Planes = std::array<std::uint8_t*, kMixChannels>;
  using Frames = std::array<const std::uint8_t*, kMixChannels>;

  HRESULT SetUp(UINT32 half_filter_length);
  bool MakeScratch();
  // libswresample by itself would change the rate of every channel first and throw away those that
  // there are fewer of afterwards.
  bool MixesFirst() const {
    return output_.channels < input_.channels &&
           output_.samples_per_second != input_.samples_per_second;
  }
  Planes PlanesOf(const Block& block) const;
  HRESULT ConvertPrepared(const BYTE* input, UINT32 input_frames, BYTE* output,
                          UINT32 output_frames, UINT32* written);
  const BYTE* Prepare(const BYTE* input, UINT32 frames) const;
  HRESULT Mix(Frames* frames, UINT32 count);
  int Run(Frames input, UINT32 input_frames, std::uint8_t** output, UINT32 output_frames);
  void Write(const BYTE* unpacked, UINT32 frames, BYTE* output) const;
  HRESULT ConvertAndPack(const Frames& input, UINT32 input_frames, BYTE* output,
                         UINT32 output_frames, UINT32* written);

  ResamplerFormat input_;
  ResamplerFormat output_;
  MixMatrix gains_{};
  bool mixes_ = false;
  bool is_open_ = false;
  bool passes_ = false;  // samples as they come; nothing is left to do for libswresample
  // Float frames to fewer channels, one or two, at the same rate: mixed here at once, where
  // libswresample would take every channel apart first. Wild samples are looked for in what comes
  // out, which is less.
  bool only_mixes_ = false;
  bool direct_ = false;  // libswresample writes the output's own layout
  bool double_inside_ = false;
  Context mixer_;  // only where MixesFirst
  Context context_;
  Block prepared_input_;
  Block mixed_input_;
  Block unpacked_output_;
};

}  // namespace zevra

#endif
