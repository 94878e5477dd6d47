#include "platform/process/subprocess.h"

#include <utility>

#include "platform/process/process_ex.h"
#include "platform/process/text_process_handler.h"

namespace platform::subprocess {

int call(Process_Options& options, ACE_Log_Msg_Callback_var callback) {
  ACE_Process_Ex process(0, nullptr, std::move(callback));
  return Text_Process_Handler(0).call(&process, options);
}

}  // namespace platform::subprocess
