#ifndef ZEVRA_STREAM_FAILURE_H
#define ZEVRA_STREAM_FAILURE_H

#include "log/log.h"
#include "platform/result.h"

namespace zevra {

// Writes the line of a failed operation and gives its code. `scope` is the function's name as log
// readers know it.
inline HRESULT LogFailure(const char* scope, const char* operation, HRESULT result) {
  ZEVRA_LOG_ERROR("%s | error | %s %x", scope, operation, Hex(result));
  return result;
}

}  // namespace zevra

// ZEVRA_RETURN_IF_FAILED with a line in the log.
#define ZEVRA_RETURN_LOGGED(scope, operation, call)                \
  do {                                                             \
    if (const HRESULT zevra_result = (call); FAILED(zevra_result)) \
      return ::zevra::LogFailure(scope, operation, zevra_result);  \
  } while (false)

#endif
