#include "platform/log/log.h"

#include <ace/Log_Msg.h>

#include <cerrno>
#include <cstdarg>

namespace platform {

void log_record(const Log_Format& format, ACE_Log_Priority priority, int status, ...) {
  const int saved_errno = errno;
  ACE_Log_Msg* log = ACE_Log_Msg::instance();
  // Not set(): its defaults would take the thread's callback and stream away.
  log->conditional_set(format.file, format.line, status, saved_errno);

  va_list args;
  va_start(args, status);
  log->log(format.text, priority, args);
  va_end(args);

  errno = saved_errno;
}

}  // namespace platform
