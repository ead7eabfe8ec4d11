#include <array>

#include "platform/api.h"
#include "platform/linux/class_factories.h"

namespace {

struct SystemClass {
  const CLSID& class_id;
  HRESULT (*create)(REFIID iid, void** object);
};
constexpr std::array<SystemClass, 2> kSystemClasses = {{
    {CLSID_MMDeviceEnumerator, zevra::CreateDeviceEnumerator},
    {CLSID_CResamplerMediaObject, zevra::CreateResampler},
}};

}  // namespace

HRESULT CoCreateInstance(REFCLSID class_id, IUnknown* outer, DWORD context, REFIID iid,
                         void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (!zevra::ComIsInitialized()) return CO_E_NOTINITIALIZED;
  // Every class lives inside the process.
  if ((context & CLSCTX_INPROC_SERVER) == 0) return REGDB_E_CLASSNOTREG;
  for (const SystemClass& known : kSystemClasses)
    if (known.class_id == class_id)
      return outer != nullptr ? CLASS_E_NOAGGREGATION : known.create(iid, object);
  return REGDB_E_CLASSNOTREG;
}
