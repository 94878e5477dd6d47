#include "platform/process/subprocess.h"

#include <utility>

#include "platform/process/process_ex.h"
#include "platform/process/run.h"

namespace platform::subprocess {
namespace {

class No_Output : public Output_Sink {
 public:
  void output(Output_Stream, const char*, std::size_t) override {}
  void closed(Output_Stream) override {}
};

}  // namespace

int call(Process_Options& options, ACE_Log_Msg_Callback_var callback) {
  ACE_Process_Ex process(0, nullptr, std::move(callback));
  No_Output nowhere;
  return run(process, options, nowhere);
}

}  // namespace platform::subprocess
