#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/com.h"

namespace zevra {
namespace {

struct Entry {
  GUID class_id;
  ClassFactory factory;
};

std::mutex table_mutex;

std::vector<Entry>& Table() {
  static std::vector<Entry> table;
  return table;
}

// Empty if the class is the system's. The latest registration wins.
ClassFactory FindFactory(REFCLSID class_id) {
  const std::lock_guard hold(table_mutex);
  const auto& table = Table();
  const auto found = std::find_if(table.rbegin(), table.rend(), [&](const Entry& entry) {
    return IsEqualGUID(entry.class_id, class_id);
  });
  return found != table.rend() ? found->factory : ClassFactory();
}

}  // namespace

ClassRegistration::ClassRegistration(REFCLSID class_id, ClassFactory factory)
    : class_id_(class_id) {
  const std::lock_guard hold(table_mutex);
  Table().push_back({class_id, std::move(factory)});
}

ClassRegistration::~ClassRegistration() {
  const std::lock_guard hold(table_mutex);
  auto& table = Table();
  for (auto entry = table.end(); entry != table.begin();) {
    if (IsEqualGUID((--entry)->class_id, class_id_)) {
      table.erase(entry);
      return;
    }
  }
}

HRESULT CreateInstance(REFCLSID class_id, IUnknown* outer, DWORD context, REFIID iid,
                       void** object) {
  *object = nullptr;
  if (const ClassFactory factory = FindFactory(class_id)) {
    if (!ComIsInitialized()) return CO_E_NOTINITIALIZED;
    return outer != nullptr ? CLASS_E_NOAGGREGATION : factory(iid, object);
  }
  return ::CoCreateInstance(class_id, outer, context, iid, object);
}

}  // namespace zevra
