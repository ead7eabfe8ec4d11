#ifndef ZEVRA_TESTS_SUPPORT_LIVE_OBJECTS_H
#define ZEVRA_TESTS_SUPPORT_LIVE_OBJECTS_H

#include <atomic>

#include "platform/com_object.h"

namespace zevra::test {

// Tests' own objects that are alive in the process. Code under test that loses a reference leaves
// one behind.
inline std::atomic<long> live_objects{0};

// What the tests' own COM objects derive from: a ComObject that is counted.
template <class... Interfaces>
class TrackedObject : public ComObject<Interfaces...> {
 protected:
  TrackedObject() { ++live_objects; }
  ~TrackedObject() override { --live_objects; }
};

}  // namespace zevra::test

#endif
