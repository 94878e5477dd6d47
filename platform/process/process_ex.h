#pragma once

#include <ace/Process.h>

#include <utility>
#include <vector>

#include "platform/export.h"
#include "platform/log/log.h"
#include "platform/process/process_options.h"

namespace platform {

// One child process and the ends of the pipes that its output comes through.
//
// The child gets "/dev/null" as standard input, each captured stream on a pipe of its own, "/dev/null" for a stream
// that is not captured, and no other descriptor; no signal of its is blocked or ignored. Starting costs the same
// whatever the caller's memory and descriptor limit are (a change of user excepted, which copies the caller's page
// tables), and threads may start children at the same time. An object is used by one thread at a time. It does not
// wait for the child: Text_Process_Handler::call() and subprocess::call() do.
class GUSTAIKRUM_EXPORT ACE_Process_Ex : public ACE_Process {
 public:
  // Which streams of the child are captured.
  enum {
    REDIRECT_STDIN = 1,         // accepted; standard input is "/dev/null" in any case
    REDIRECT_STDOUT = 2,        // standard output alone
    REDIRECT_STDERR = 4,        // standard error alone
    REDIRECT_STDOUT_STDERR = 8  // both, each on its own pipe
  };

  // `flags` says which streams are captured; `name` is accepted and unused, null is fine. What the child does and
  // writes to standard error goes to `callback`, if there is one.
  ACE_Process_Ex(unsigned int flags, const char* name, ACE_Log_Msg_Callback_var callback);
  ~ACE_Process_Ex() override;

  // Starts the child. Its pid once the program runs, else -1, with the cause told to the callback or the log at
  // LM_DEBUG: options with a fault, no descriptor left, a user that cannot be taken, a program that cannot be run.
  pid_t spawn(Process_Options& options);

  // The same for ACE's own options, which cannot change the user (EPERM).
  pid_t spawn(ACE_Process_Options& options) override;

  // The descriptors of the reading ends; -1 for a stream that is not captured or was taken before. The caller owns
  // them.
  int take_stdout() { return std::exchange(stdout_, -1); }
  int take_stderr() { return std::exchange(stderr_, -1); }

  // The constructor's callback, empty where there is none.
  const ACE_Log_Msg_Callback_var& callback() const { return callback_; }

  // Tells the callback, or the log at LM_DEBUG, that the program of `options` "... <what>", with the text of an error
  // number other than 0 behind it.
  void tell(ACE_Process_Options& options, const char* what, int error = 0) const;

 private:
  GUSTAIKRUM_LOCAL pid_t start(ACE_Process_Options& options, const std::vector<gid_t>& groups);
  GUSTAIKRUM_LOCAL pid_t start_with_pipes(ACE_Process_Options& options, const std::vector<gid_t>& groups);
  GUSTAIKRUM_LOCAL void close_pipes();

  unsigned int flags_;
  ACE_Log_Msg_Callback_var callback_;
  int stdout_ = -1;
  int stderr_ = -1;
};

}  // namespace platform
