#pragma once

#include <string>

#include "platform/export.h"

namespace platform {

// For the handler of all that leaves an operation's body, so that nothing is thrown out of the libraries:
//
//   bool operation() try {
//     ...
//   } catch (...) {
//     return platform::failed();
//   }
//
// Logs the exception as the failure of the function that it stands in, at LM_ERROR with status 0, and is false. Only
// the end of a cancelled thread goes on its way.
GUSTAIKRUM_EXPORT bool failed(const char* operation = __builtin_FUNCTION(), const char* file = __builtin_FILE(),
                              int line = __builtin_LINE());

// A copy for an object to keep; where there is no memory for it, which is logged, `otherwise`.
template <class T>
T kept(const T& value, T otherwise = {}, const char* operation = __builtin_FUNCTION(),
       const char* file = __builtin_FILE(), int line = __builtin_LINE()) try {
  return value;
} catch (...) {
  failed(operation, file, line);
  return otherwise;
}

// The same for a SID or a path; otherwise what no system, no directory and no program is named, and what is no pattern.
inline std::string kept_name(const std::string& name, const char* operation = __builtin_FUNCTION(),
                             const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  return kept(name, std::string("/["), operation, file, line);
}

}  // namespace platform
