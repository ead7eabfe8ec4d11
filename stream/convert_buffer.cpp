#include <cstring>

#include "stream/conversion_arithmetic.h"
#include "stream/conversion_stage.h"

namespace zevra {
namespace {

// A media buffer's bytes while they are locked.
class LockedBuffer {
 public:
  explicit LockedBuffer(IMFMediaBuffer* buffer)
      : buffer_(buffer),
        result_(buffer->Lock(&data_, nullptr, nullptr)),
        locked_(SUCCEEDED(result_)) {}
  ~LockedBuffer() {
    if (locked_) buffer_->Unlock();
  }
  LockedBuffer(const LockedBuffer&) = delete;
  LockedBuffer& operator=(const LockedBuffer&) = delete;

  HRESULT Result() const { return result_; }
  BYTE* Data() const { return data_; }
  // For callers to whom the result of the unlock matters.
  HRESULT Unlock() {
    locked_ = false;
    return buffer_->Unlock();
  }

 private:
  IMFMediaBuffer* buffer_;
  BYTE* data_ = nullptr;
  HRESULT result_;
  bool locked_;
};

// The packet lies in memory that goes back to the stream; the transform may keep its input longer.
HRESULT CopyIntoSample(const std::uint8_t* packet, std::uint32_t bytes, ComPtr<IMFSample>* sample) {
  ComPtr<IMFMediaBuffer> buffer;
  HRESULT result = os::MFCreateMemoryBuffer(bytes, buffer.Put());
  if (FAILED(result)) return result;

  LockedBuffer locked(buffer.Get());
  if (FAILED(locked.Result())) return locked.Result();
  if (bytes != 0) std::memcpy(locked.Data(), packet, bytes);
  result = locked.Unlock();
  if (FAILED(result)) return result;

  result = buffer->SetCurrentLength(bytes);
  if (FAILED(result)) return result;
  result = os::MFCreateSample(sample->Put());
  return FAILED(result) ? result : (*sample)->AddBuffer(buffer.Get());
}

// Puts `pulled` behind what `result` holds already.
HRESULT Append(ZevraConvertedBuffer& result, ZevraConvertedBuffer pulled) {
  if (result.length == 0) {
    result = std::move(pulled);
    return S_OK;
  }
  if (pulled.length == 0) return S_OK;
  ConvertedBlock joined = AllocateConvertedBlock(result.length + pulled.length);
  if (joined == nullptr) return E_OUTOFMEMORY;
  std::memcpy(joined.get(), result.data.get(), result.length);
  std::memcpy(joined.get() + result.length, pulled.data.get(), pulled.length);
  result.data = std::move(joined);
  result.length += pulled.length;
  return S_OK;
}

HRESULT PullAll(ZevraConversionContext& context, std::uint32_t capacity_bytes,
                ZevraConvertedBuffer& result) {
  for (;;) {
    ZevraConvertedBuffer pulled{capacity_bytes, nullptr};
    HRESULT pull_result = PullConvertedBuffer(context, pulled);
    if (pull_result == MF_E_TRANSFORM_NEED_MORE_INPUT) return S_OK;
    if (SUCCEEDED(pull_result)) pull_result = Append(result, std::move(pulled));
    if (FAILED(pull_result)) return pull_result;
  }
}

// Copies the bytes of `buffer` into a block of the library's own.
HRESULT CopyOut(ZevraConversionContext& context, IMFMediaBuffer* buffer,
                ZevraConvertedBuffer& pulled) {
  DWORD length = 0;
  const HRESULT result = buffer->GetCurrentLength(&length);
  if (FAILED(result)) return result;
  if (length == 0) return S_OK;

  LockedBuffer locked(buffer);
  if (FAILED(locked.Result())) return locked.Result();
  pulled.data = AllocateConvertedBlock(length);
  if (pulled.data == nullptr) return E_OUTOFMEMORY;
  std::memcpy(pulled.data.get(), locked.Data(), length);
  pulled.length = length;
  context.frames_out += length / BlockBytes(context.target_format);
  return locked.Unlock();
}

}  // namespace

HRESULT ConvertBuffer(ZevraConversionContext& context, const std::uint8_t* packet,
                      std::uint32_t bytes, ZevraConvertedBuffer& result) {
  if (!context.transform) return E_UNEXPECTED;
  if (!CanConvert(context.source_format, context.target_format)) return E_INVALIDARG;
  const std::uint32_t capacity_bytes =
      OutputCapacity(context.source_format, context.target_format, bytes);

  ComPtr<IMFSample> sample;
  HRESULT code = CopyIntoSample(packet, bytes, &sample);
  if (FAILED(code)) return code;
  context.frames_in += bytes / BlockBytes(context.source_format);

  DWORD status = 0;
  code = context.transform->GetInputStatus(0, &status);
  if (FAILED(code) || status != MFT_INPUT_STATUS_ACCEPT_DATA) return E_FAIL;
  code = context.transform->ProcessInput(0, sample.Get(), 0);
  if (FAILED(code)) return code;

  result.Clear();
  return PullAll(context, capacity_bytes, result);
}

HRESULT PullConvertedBuffer(ZevraConversionContext& context, ZevraConvertedBuffer& pulled) {
  const std::uint32_t capacity_bytes = pulled.length;
  pulled.Clear();

  ComPtr<IMFSample> sample;
  HRESULT result = os::MFCreateSample(sample.Put());
  if (FAILED(result)) return result;
  ComPtr<IMFMediaBuffer> buffer;
  result = os::MFCreateMemoryBuffer(capacity_bytes, buffer.Put());
  if (FAILED(result)) return result;
  result = sample->AddBuffer(buffer.Get());
  if (FAILED(result)) return result;

  MFT_OUTPUT_DATA_BUFFER output{0, sample.Get(), 0, nullptr};
  DWORD status = 0;
  result = context.transform->ProcessOutput(0, 1, &output, &status);
  if (FAILED(result)) return result;

  ComPtr<IMFMediaBuffer> contiguous;
  result = sample->ConvertToContiguousBuffer(contiguous.Put());
  return FAILED(result) ? result : CopyOut(context, contiguous.Get(), pulled);
}

}  // namespace zevra
