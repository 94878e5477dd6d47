#pragma once

#include <cstddef>

#include "platform/log/log.h"

namespace platform {

// Tells what a child process does or says: to the callback, if there is one, else to the log, at LM_DEBUG.
void log_activity(const ACE_Log_Msg_Callback_var& callback, const char* text, std::size_t length);

}  // namespace platform
