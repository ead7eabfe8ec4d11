#ifndef ZEVRA_STREAM_COM_APARTMENT_H
#define ZEVRA_STREAM_COM_APARTMENT_H

#include "platform/calls.h"

namespace zevra {

// A stream thread's CoInitialize, taken back when the thread has released everything else.
class ComApartment {
 public:
  ComApartment() = default;
  ~ComApartment() {
    if (entered_) os::CoUninitialize();
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

  HRESULT Enter() {
    const HRESULT result = os::CoInitialize(nullptr);
    entered_ = SUCCEEDED(result);
    return result;
  }

 private:
  bool entered_ = false;
};

}  // namespace zevra

#endif
