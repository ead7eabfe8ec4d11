#include "bench/converters.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}
#include <soxr.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "bench/polyphase.h"
#include "platform/api.h"
#include "platform/owners.h"

namespace zevra::bench {
namespace {

constexpr LONG kHalfFilterLength = 60;

void Require(HRESULT result, const char* what) {
  if (SUCCEEDED(result)) return;
  std::fprintf(stderr, "bench: %s failed with %x\n", what, static_cast<unsigned>(result));
  throw std::runtime_error(what);
}

class TransformConverter final : public Converter {
 public:
  explicit TransformConverter(Rates rates) : Converter(rates) {
    Require(os::CoCreateInstance(CLSID_CResamplerMediaObject, nullptr, CLSCTX_INPROC_SERVER,
                                 IID_IMFTransform, transform_.PutVoid()),
            "CreateInstance");
    Require(transform_->SetInputType(0, MediaType(rates.input).Get(), 0), "SetInputType");
    Require(transform_->SetOutputType(0, MediaType(rates.output).Get(), 0), "SetOutputType");
    ComPtr<IWMResamplerProps> properties;
    Require(transform_->QueryInterface(IID_IWMResamplerProps, properties.PutVoid()),
            "QueryInterface");
    Require(properties->SetHalfFilterLength(kHalfFilterLength), "SetHalfFilterLength");
  }

  void ConvertPacket(const float* input, std::size_t frames, Signal* output) override {
    const auto sample = MakeSample(frames);
    ComPtr<IMFMediaBuffer> buffer;
    Require(sample->ConvertToContiguousBuffer(buffer.Put()), "ConvertToContiguousBuffer");
    BYTE* data = nullptr;
    Require(buffer->Lock(&data, nullptr, nullptr), "Lock");
    std::memcpy(data, input, frames * sizeof(float));
    Require(buffer->SetCurrentLength(static_cast<DWORD>(frames * sizeof(float))), "length");
    Require(transform_->ProcessInput(0, sample.Get(), 0), "ProcessInput");
    while (Pull(output)) {
    }
  }

 private:
  static ComPtr<IMFMediaType> MediaType(UINT32 rate) {
    ComPtr<IMFMediaType> type;
    Require(MFCreateMediaType(type.Put()), "MFCreateMediaType");
    type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Audio);
    type->SetGUID(MF_MT_SUBTYPE, MFAudioFormat_Float);
    type->SetUINT32(MF_MT_AUDIO_NUM_CHANNELS, 1);
    type->SetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, rate);
    type->SetUINT32(MF_MT_AUDIO_BLOCK_ALIGNMENT, 4);
    type->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, 32);
    return type;
  }
  static ComPtr<IMFSample> MakeSample(std::size_t frames) {
    ComPtr<IMFSample> sample;
    ComPtr<IMFMediaBuffer> buffer;
    Require(MFCreateSample(sample.Put()), "MFCreateSample");
    Require(MFCreateMemoryBuffer(static_cast<DWORD>(frames * sizeof(float)), buffer.Put()),
            "MFCreateMemoryBuffer");
    Require(sample->AddBuffer(buffer.Get()), "AddBuffer");
    return sample;
  }
  bool Pull(Signal* output) {
    const auto sample = MakeSample(rates_.output / 50);
    MFT_OUTPUT_DATA_BUFFER request{0, sample.Get(), 0, nullptr};
    DWORD status = 0;
    const HRESULT result = transform_->ProcessOutput(0, 1, &request, &status);
    if (result == MF_E_TRANSFORM_NEED_MORE_INPUT) return false;
    Require(result, "ProcessOutput");
    ComPtr<IMFMediaBuffer> buffer;
    Require(sample->ConvertToContiguousBuffer(buffer.Put()), "ConvertToContiguousBuffer");
    BYTE* data = nullptr;
    DWORD bytes = 0;
    Require(buffer->Lock(&data, nullptr, &bytes), "Lock");
    const std::size_t before = output->size();
    output->resize(before + bytes / sizeof(float));
    std::memcpy(output->data() + before, data, bytes);
    return true;
  }

  ComPtr<IMFTransform> transform_;
};

class SoxrConverter final : public Converter {
 public:
  explicit SoxrConverter(Rates rates) : Converter(rates), block_(rates.output / 5) {
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    soxr_ = soxr_create(rates.input, rates.output, 1, nullptr, nullptr, &quality, nullptr);
    if (soxr_ == nullptr) Require(E_FAIL, "soxr_create");
  }
  ~SoxrConverter() override { soxr_delete(soxr_); }
  SoxrConverter(const SoxrConverter&) = delete;
  SoxrConverter& operator=(const SoxrConverter&) = delete;

  void ConvertPacket(const float* input, std::size_t frames, Signal* output) override {
    std::size_t made = 0;
    soxr_process(soxr_, input, frames, nullptr, block_.data(), block_.size(), &made);
    output->insert(output->end(), block_.data(), block_.data() + made);
  }

 private:
  soxr_t soxr_;
  Signal block_;
};

class PolyphaseConverter final : public Converter {
 public:
  explicit PolyphaseConverter(Rates rates)
      : Converter(rates), kernel_(rates.input, rates.output, 1), block_(rates.output / 5) {}

  void ConvertPacket(const float* input, std::size_t frames, Signal* output) override {
    const std::size_t made = kernel_.Convert(input, frames, block_.data());
    output->insert(output->end(), block_.data(), block_.data() + made);
  }

 private:
  Polyphase kernel_;
  Signal block_;
};

// libswresample as it is for a caller that sets no option.
class SwrConverter final : public Converter {
 public:
  explicit SwrConverter(Rates rates) : Converter(rates), block_(rates.output / 5) {
    AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
    SwrContext* made = nullptr;
    const int set =
        swr_alloc_set_opts2(&made, &mono, AV_SAMPLE_FMT_FLT, static_cast<int>(rates.output), &mono,
                            AV_SAMPLE_FMT_FLT, static_cast<int>(rates.input), 0, nullptr);
    swr_.reset(made);
    if (set < 0 || swr_init(made) < 0) Require(E_FAIL, "swr_init");
  }

  void ConvertPacket(const float* input, std::size_t frames, Signal* output) override {
    auto* out = reinterpret_cast<std::uint8_t*>(block_.data());
    const auto* in = reinterpret_cast<const std::uint8_t*>(input);
    const int made = swr_convert(swr_.get(), &out, static_cast<int>(block_.size()), &in,
                                 static_cast<int>(frames));
    output->insert(output->end(), block_.data(), block_.data() + std::max(made, 0));
  }

 private:
  struct Free {
    void operator()(SwrContext* context) const { swr_free(&context); }
  };
  std::unique_ptr<SwrContext, Free> swr_;
  Signal block_;
};

}  // namespace

Signal Converter::Convert(const Signal& input) {
  Signal output;
  const std::size_t packet = rates_.input / 100;
  for (std::size_t at = 0; at < input.size(); at += packet) {
    const std::size_t before = output.size();
    ConvertPacket(&input[at], std::min(packet, input.size() - at), &output);
    quiet_packets_ += output.size() == before;
  }
  return output;
}

std::unique_ptr<Converter> MakeTransform(Rates rates) {
  return std::make_unique<TransformConverter>(rates);
}

std::unique_ptr<Converter> MakeSoxr(Rates rates) { return std::make_unique<SoxrConverter>(rates); }

std::unique_ptr<Converter> MakePolyphase(Rates rates) {
  return std::make_unique<PolyphaseConverter>(rates);
}

std::unique_ptr<Converter> MakeSwr(Rates rates) { return std::make_unique<SwrConverter>(rates); }

}  // namespace zevra::bench
