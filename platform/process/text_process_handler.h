#pragma once

#include <cstddef>

#include "platform/export.h"
#include "platform/log/log.h"
#include "platform/process/process_ex.h"

namespace platform {

// Runs a child process and takes its output line by line; the base of every reader of a tool's output. By itself it
// ignores standard output and passes standard error on.
//
// A line comes without its newline, a last line without one comes too, and NUL and CR come as they are. A line of more
// than 16 MiB is dropped with a message. A handler is used by one thread at a time; the callbacks run on the caller's.
class GUSTAIKRUM_EXPORT Text_Process_Handler {
 public:
  // How long a child is waited for.
  enum {
    TERM_TIMEOUT = 600,          // seconds that a child may live on after it has closed its output
    TERM_RETRY_INTERVAL = 60,    // seconds from SIGTERM to SIGKILL then
    REACTOR_EVENT_WAIT_TIME = 3  // seconds at most between two looks at a child, on kernels without pidfd
  };

  // The argument is accepted and unused; pass 0.
  explicit Text_Process_Handler(unsigned int reserved);
  virtual ~Text_Process_Handler();
  Text_Process_Handler(const Text_Process_Handler&);
  Text_Process_Handler(Text_Process_Handler&&) noexcept;
  Text_Process_Handler& operator=(const Text_Process_Handler&);
  Text_Process_Handler& operator=(Text_Process_Handler&&) noexcept;

  // Starts the child through `process` (which stays the caller's) and feeds its output to the callbacks until the
  // child has ended, even if a descendant still holds its pipes. A child with open output has no time limit.
  //
  // 0 exactly when the child was started, all that it wrote was read and it exited with status 0. Else -1, and what
  // happened (no start, exit status, signal, a status that somebody else took, ended by us, output lost) is told to the
  // process's callback or the log at LM_DEBUG; the command line is never told.
  int call(ACE_Process_Ex* process, Process_Options& options);

  // The same with a process that it makes from the REDIRECT_ flags of ACE_Process_Ex.
  int call(unsigned int flags, Process_Options& options);

 protected:
  // One line of standard output; `line` is not terminated, `length` is in bytes. 0 if it was taken; -1 rejects the
  // line, and the next ones still come. So does a callback that throws, with a message at LM_DEBUG; but one that throws
  // std::bad_alloc makes the run a failed one, and no more lines of the stream come.
  virtual int handle_stdout_line(const char* line, std::size_t length);

  // One line of standard error. Passes it to the process's callback, or to the log at LM_DEBUG.
  virtual void handle_stderr_line(const char* line, std::size_t length);

  // A piece of standard output as it was read, before the lines that end in it.
  virtual void handle_stdout_segment(const char* data, std::size_t length);

  // Called once when the stream has given its last line.
  virtual void handle_stdout_close();
  virtual void handle_stderr_close();

 private:
  class GUSTAIKRUM_LOCAL Stdout_Sink;
  class GUSTAIKRUM_LOCAL Stderr_Sink;

  ACE_Log_Msg_Callback_var callback_;  // of the process while it runs
};

}  // namespace platform
