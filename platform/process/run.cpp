#include "platform/process/run.h"

#include <string>

#include "platform/process/text_process_handler.h"

namespace platform {
namespace {

const Run_Limits LIMITS{std::chrono::seconds(Text_Process_Handler::TERM_TIMEOUT),
                        std::chrono::seconds(Text_Process_Handler::TERM_RETRY_INTERVAL),
                        std::chrono::seconds(Text_Process_Handler::REACTOR_EVENT_WAIT_TIME)};

std::string describe(const Child_End& end) {
  switch (end.kind) {
    case Child_End::exited:
      return "exited with status " + std::to_string(end.value);
    case Child_End::killed:
      return "was killed by signal " + std::to_string(end.value);
    case Child_End::overdue:
      return "did not end after it had closed its output";
    case Child_End::unknown:
      break;
  }
  return "ended, but its status was not to be had";
}

}  // namespace

int run(ACE_Process_Ex& process, Process_Options& options, Output_Sink& sink) {
  const pid_t pid = process.spawn(options);
  if (pid < 0) return -1;

  Unique_Fd streams[OUTPUT_STREAMS] = {process.take_stdout(), process.take_stderr()};
  const Child_End end = run_child(pid, streams, sink, LIMITS);
  if (end.kind == Child_End::exited && end.value == 0) return 0;
  process.tell(options, describe(end));
  return -1;
}

}  // namespace platform
