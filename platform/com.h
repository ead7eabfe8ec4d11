#ifndef ZEVRA_PLATFORM_COM_H
#define ZEVRA_PLATFORM_COM_H

// Components: reference-counted objects made by class. On Windows the SDK's, on Linux the subset
// that the library stands on.
#if defined(_WIN32)
#include "platform/windows/com.h"
#else
#include "platform/linux/com.h"
#endif

#include <functional>

#include "platform/types.h"

namespace zevra {

// True if the calling thread has COM initialised.
bool ComIsInitialized();

// Makes an object of a registered class: gives a reference for `iid` in `*object`, or a negative
// code and null. Called on the thread that creates the object.
using ClassFactory = std::function<HRESULT(REFIID iid, void** object)>;

// Puts a class into the process for the life of this object; it wins over the system's class of
// the same id. The built-in endpoints and scripted ones get in here. Make and destroy one while no
// other thread creates objects of that class.
class ClassRegistration {
 public:
  ClassRegistration(REFCLSID class_id, ClassFactory factory);
  ~ClassRegistration();
  ClassRegistration(const ClassRegistration&) = delete;
  ClassRegistration& operator=(const ClassRegistration&) = delete;

 private:
  GUID class_id_;
};

// The one place where the library creates objects: a registered class first, then the system's
// CoCreateInstance. `*object` is null on failure. The calling thread must have COM initialised;
// otherwise the result is CO_E_NOTINITIALIZED.
HRESULT CreateInstance(REFCLSID class_id, IUnknown* outer, DWORD context, REFIID iid,
                       void** object);

}  // namespace zevra

#endif
