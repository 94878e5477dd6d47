#include "platform/process/activity_log.h"

#include <ace/Log_Record.h>
#include <ace/OS_NS_sys_time.h>
#include <unistd.h>

#include <string>

namespace platform {

void log_activity(const ACE_Log_Msg_Callback_var& callback, const char* text, std::size_t length) {
  const std::string line = std::string(text, length) + "\n";
  if (!callback) {
    log_debug("%s", line.c_str());
    return;
  }
  ACE_Log_Record record(LM_DEBUG, ACE_OS::gettimeofday(), ::getpid());
  record.msg_data(line.c_str());
  callback->log(record);
}

}  // namespace platform
