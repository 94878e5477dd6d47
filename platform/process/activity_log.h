#pragma once

#include <string_view>

#include "platform/log/log.h"

namespace platform {

// Tells what a child process does or says: to the callback, if there is one, else to the log, at LM_DEBUG. What the
// callback throws, and want of memory, harm this record alone.
void log_activity(const ACE_Log_Msg_Callback_var& callback, std::string_view text);

}  // namespace platform
