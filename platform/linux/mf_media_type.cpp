#include "platform/linux/mf_attributes.h"

namespace {
class MediaType final : public zevra::AttributesObject<IMFMediaType> {};
}  // namespace

HRESULT MFCreateMediaType(IMFMediaType** type) {
  if (type == nullptr) return E_POINTER;
  *type = zevra::MakeCom<MediaType>();
  return *type != nullptr ? S_OK : E_OUTOFMEMORY;
}
