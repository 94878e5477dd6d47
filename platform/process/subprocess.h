#pragma once

#include "platform/export.h"
#include "platform/log/log.h"
#include "platform/process/process_options.h"

namespace platform::subprocess {

// Runs a child to its end, however long it takes; its output goes to "/dev/null". 0 exactly when the program ran and
// exited with status 0. Else -1, and what happened is told to `callback`, if there is one, else to the log at LM_DEBUG.
GUSTAIKRUM_EXPORT int call(Process_Options& options, ACE_Log_Msg_Callback_var callback);

}  // namespace platform::subprocess
