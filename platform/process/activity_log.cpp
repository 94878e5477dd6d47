#include "platform/process/activity_log.h"

#include <ace/Log_Record.h>
#include <ace/OS_NS_sys_time.h>
#include <cxxabi.h>
#include <unistd.h>

#include <string>

#include "platform/text/printable.h"

namespace platform {

void log_activity(const ACE_Log_Msg_Callback_var& callback, std::string_view text) {
  try {
    const std::string line = printable(text) + "\n";
    if (!callback) return log_debug("%s", line.c_str());
    ACE_Log_Record record(LM_DEBUG, ACE_OS::gettimeofday(), ::getpid());
    record.msg_data(line.c_str());
    callback->log(record);
  } catch (const abi::__forced_unwind&) {  // the thread is being cancelled
    throw;
  } catch (...) {  // NOLINT(bugprone-empty-catch): there is nobody to tell
  }
}

}  // namespace platform
