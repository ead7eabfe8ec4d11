#ifndef ZEVRA_STREAM_COM_APARTMENT_H
#define ZEVRA_STREAM_COM_APARTMENT_H

#include "platform/os.h"

namespace zevra {

// A stream thread's CoInitialize, taken back when the thread has released everything else.
class ComApartment {
 public:
  ComApartment() = default;
  ~ComApartment() {
    if (entered_) Os().CoUninitialize();
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

  HRESULT Enter() {
    const HRESULT result = Os().CoInitialize(nullptr);
    entered_ = SUCCEEDED(result);
    return result;
  }

 private:
  bool entered_ = false;
};

}  // namespace zevra

#endif
