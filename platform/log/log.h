#pragma once

#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Priority.h>

#include <memory>
#include <type_traits>

#include "platform/export.h"

namespace platform {

// A caller's log callback, shared with what runs for that caller; empty for none.
using ACE_Log_Msg_Callback_var = std::shared_ptr<ACE_Log_Msg_Callback>;

// A message's format in ACE's language, together with the place in the source that logs it.
struct Log_Format {
  // Implicit, so that a plain text becomes a format where it is logged.
  Log_Format(const char* format_text, const char* source_file = __builtin_FILE(), int source_line = __builtin_LINE())
      : text(format_text), file(source_file), line(source_line) {}

  const char* text;  // as ACE's printf-like language has it; not copied
  const char* file;  // where it is logged, a literal of the compiler's
  int line;          // in that file
};

// Hands one message to ACE's log, from the place that `format` names, with what `priority` and `status` say and the
// arguments that the format asks for. errno is kept.
GUSTAIKRUM_EXPORT void log_record(const Log_Format& format, ACE_Log_Priority priority, int status, ...);

// ACE takes its arguments unchecked through "...", where a std::string would pass and be read as garbage.
template <class... Args>
inline constexpr bool loggable_v = (std::is_scalar_v<Args> && ...);

// Logs an ordinary failure: LM_ERROR with operation status 0. ACE's formats know no %llu, and cut a text at 4,095
// characters. errno is kept.
template <class... Args>
void log_error(const Log_Format& format, Args... args) {
  static_assert(loggable_v<Args...>, "pass text as const char*");
  log_record(format, LM_ERROR, 0, args...);
}

// Logs a broken precondition: LM_EMERGENCY with operation status -1.
template <class... Args>
void log_precondition(const Log_Format& format, Args... args) {
  static_assert(loggable_v<Args...>, "pass text as const char*");
  log_record(format, LM_EMERGENCY, -1, args...);
}

// Logs what explains a failure that the caller reports in its own words: LM_DEBUG with operation status 0.
template <class... Args>
void log_debug(const Log_Format& format, Args... args) {
  static_assert(loggable_v<Args...>, "pass text as const char*");
  log_record(format, LM_DEBUG, 0, args...);
}

}  // namespace platform
