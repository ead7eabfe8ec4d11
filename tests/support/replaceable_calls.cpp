#include "support/replaceable_calls.h"

#include <atomic>

namespace zevra::test {
namespace {

constexpr Operations kSystem;
std::atomic<const Operations*> in_use{&kSystem};

}  // namespace

void ReplaceOperations(const Operations* operations) {
  in_use = operations != nullptr ? operations : &kSystem;
}

std::list<std::pair<CLSID, ClassFactory>>& ClassRegistration::Table() {
  static std::list<std::pair<CLSID, ClassFactory>> table;
  return table;
}

}  // namespace zevra::test

namespace zevra::os {

HRESULT CoCreateInstance(REFCLSID class_id, IUnknown* outer, DWORD context, REFIID iid,
                         void** object) {
  *object = nullptr;
  // On Windows a thread may create objects without a CoInitialize of its own once another one has
  // made the multithreaded apartment, so the system is asked, for a class that it does not know.
  if (::CoCreateInstance(GUID{}, nullptr, context, IID_IUnknown, object) == CO_E_NOTINITIALIZED)
    return CO_E_NOTINITIALIZED;
  for (const auto& [replaced, factory] : test::ClassRegistration::Table())
    if (IsEqualGUID(replaced, class_id)) return factory(iid, object);
  return ::CoCreateInstance(class_id, outer, context, iid, object);
}

DWORD GetLastError() { return ::GetLastError(); }

#define ZEVRA_PASS_ON(result, name, parameters, arguments) \
  result name parameters { return test::in_use.load()->name arguments; }
ZEVRA_REPLACEABLE_CALLS(ZEVRA_PASS_ON)
#undef ZEVRA_PASS_ON

}  // namespace zevra::os
