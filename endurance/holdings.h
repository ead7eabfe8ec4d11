#ifndef ZEVRA_ENDURANCE_HOLDINGS_H
#define ZEVRA_ENDURANCE_HOLDINGS_H

#include <cstddef>

namespace zevra::endurance {

// What this process holds of the system.
struct Holdings {
  long descriptors = 0;
  long threads = 0;
  long shared_mappings = 0;    // of the sound server's memory
  std::size_t heap_bytes = 0;  // in use; 0 under a sanitizer, whose allocator does not tell
};

Holdings PresentHoldings();

}  // namespace zevra::endurance

#endif
