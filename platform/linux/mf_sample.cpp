#include "platform/linux/mf_attributes.h"
#include "platform/owners.h"

namespace {

using Buffer = zevra::ComPtr<IMFMediaBuffer>;

class Sample final : public zevra::AttributesObject<IMFSample> {
 public:
  HRESULT AddBuffer(IMFMediaBuffer* buffer) override;
  HRESULT ConvertToContiguousBuffer(IMFMediaBuffer** buffer) override;

 private:
  Buffer buffer_;
};

HRESULT Sample::AddBuffer(IMFMediaBuffer* buffer) {
  if (buffer == nullptr) return E_POINTER;
  if (buffer_) return E_OUTOFMEMORY;
  buffer_ = Buffer::Share(buffer);
  return S_OK;
}

HRESULT Sample::ConvertToContiguousBuffer(IMFMediaBuffer** buffer) {
  if (buffer == nullptr) return E_POINTER;
  *buffer = nullptr;
  if (!buffer_) return E_UNEXPECTED;
  *buffer = Buffer::Share(buffer_.Get()).Detach();
  return S_OK;
}

}  // namespace

HRESULT MFCreateSample(IMFSample** sample) {
  if (sample == nullptr) return E_POINTER;
  *sample = zevra::MakeCom<Sample>();
  return *sample != nullptr ? S_OK : E_OUTOFMEMORY;
}
