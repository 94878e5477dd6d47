#pragma once

#include "platform/process/child_run.h"
#include "platform/process/process_ex.h"

namespace platform {

// Starts a child through `process` and feeds what it captures to `sink` until the child has ended. 0 exactly when the
// program ran and exited with status 0; else -1, and what happened is told to the process's callback or the log.
int run(ACE_Process_Ex& process, Process_Options& options, Output_Sink& sink);

}  // namespace platform
