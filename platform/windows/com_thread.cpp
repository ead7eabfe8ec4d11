#include "platform/com.h"

namespace zevra {

// A thread that never initialised COM belongs to the process's multithreaded apartment once another
// thread has made one, and may create objects. The system says so here as in CoCreateInstance.
bool ComIsInitialized() {
  APTTYPE type{};
  APTTYPEQUALIFIER qualifier{};
  return SUCCEEDED(::CoGetApartmentType(&type, &qualifier));
}

}  // namespace zevra
