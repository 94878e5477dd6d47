#include "platform/log/log.h"

#include <ace/Log_Msg.h>
#include <cxxabi.h>

#include <cerrno>
#include <cstdarg>
#include <exception>

#include "platform/log/failed.h"

namespace platform {

void log_record(const Log_Format& format, ACE_Log_Priority priority, int status, ...) {
  const int saved_errno = errno;
  va_list args;
  va_start(args, status);
  try {
    // None where there is no memory for the thread's first.
    if (ACE_Log_Msg* const log = ACE_Log_Msg::instance()) {
      // Not set(): its defaults would take the thread's callback and stream away.
      log->conditional_set(format.file, format.line, status, saved_errno);
      log->log(format.text, priority, args);
    }
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    // The host program's callback has failed; that record is its loss.
  }
  va_end(args);
  errno = saved_errno;
}

bool failed(const char* operation, const char* file, int line) {
  const Log_Format format("Failed to finish %s: %s\n", file, line);
  try {
    throw;
  } catch (const std::exception& error) {
    log_error(format, operation, error.what());
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    log_error(format, operation, "unknown exception");
  }
  return false;
}

}  // namespace platform
