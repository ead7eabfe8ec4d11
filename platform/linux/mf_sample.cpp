#include <array>
#include <cstdint>
#include <cstring>

#include "platform/linux/mf_attributes.h"
#include "platform/owners.h"

namespace {

using Buffer = zevra::platform::ComPtr<IMFMediaBuffer>;

// `*total` is the length of all buffers together.
HRESULT AddLength(IMFMediaBuffer* buffer, DWORD* total) {
  DWORD length = 0;
  if (const HRESULT result = buffer->GetCurrentLength(&length); FAILED(result)) return result;
  if (length > UINT32_MAX - *total) return E_OUTOFMEMORY;
  *total += length;
  return S_OK;
}

// Copies the bytes of `from` to `to` and gives their number.
HRESULT CopyBytes(IMFMediaBuffer* from, BYTE* to, DWORD* copied) {
  BYTE* data = nullptr;
  if (const HRESULT result = from->Lock(&data, nullptr, copied); FAILED(result)) return result;
  std::memcpy(to, data, *copied);
  return from->Unlock();
}

// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the places are set as they are counted
class Sample final : public zevra::platform::AttributesObject<IMFSample> {
 public:
  ~Sample() override { ReleaseBuffers(); }

  HRESULT AddBuffer(IMFMediaBuffer* buffer) override;
  HRESULT ConvertToContiguousBuffer(IMFMediaBuffer** buffer) override;

 private:
  HRESULT Join();
  void ReleaseBuffers() {
    while (count_ > 0) buffers_[--count_]->Release();
  }

  // Fixed, so that adding one never allocates. Nearly every sample has one buffer, and the others'
  // places are not even looked at.
  static constexpr std::size_t kMaxBuffers = 16;
  std::array<IMFMediaBuffer*, kMaxBuffers> buffers_;
  std::size_t count_ = 0;
};

HRESULT Sample::AddBuffer(IMFMediaBuffer* buffer) {
  if (buffer == nullptr) return E_POINTER;
  if (count_ == kMaxBuffers) return E_OUTOFMEMORY;
  buffer->AddRef();
  buffers_[count_++] = buffer;
  return S_OK;
}

// Puts one buffer with all bytes in the place of the others; on failure they stay as they are.
HRESULT Sample::Join() {
  DWORD total = 0;
  for (std::size_t index = 0; index < count_; ++index) {
    if (const HRESULT result = AddLength(buffers_[index], &total); FAILED(result)) {
      return result;
    }
  }
  Buffer joined;
  HRESULT result = MFCreateMemoryBuffer(total, joined.Put());
  if (FAILED(result)) return result;
  BYTE* to = nullptr;
  if (result = joined->Lock(&to, nullptr, nullptr); FAILED(result)) return result;
  for (std::size_t index = 0; index < count_; ++index) {
    DWORD copied = 0;
    if (result = CopyBytes(buffers_[index], to, &copied); FAILED(result)) return result;
    to += copied;
  }
  joined->Unlock();
  joined->SetCurrentLength(total);
  ReleaseBuffers();
  buffers_[count_++] = joined.Detach();
  return S_OK;
}

HRESULT Sample::ConvertToContiguousBuffer(IMFMediaBuffer** buffer) {
  if (buffer == nullptr) return E_POINTER;
  *buffer = nullptr;
  if (count_ == 0) return E_UNEXPECTED;
  if (count_ > 1) {
    if (const HRESULT result = Join(); FAILED(result)) return result;
  }
  *buffer = Buffer::Share(buffers_[0]).Detach();
  return S_OK;
}

}  // namespace

HRESULT MFCreateSample(IMFSample** sample) {
  if (sample == nullptr) return E_POINTER;
  *sample = zevra::platform::MakeCom<Sample>();
  return *sample != nullptr ? S_OK : E_OUTOFMEMORY;
}
