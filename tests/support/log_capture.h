#pragma once

#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Priority.h>

#include <string>
#include <vector>

namespace test {

// One message that the library logged.
struct Logged {
  ACE_Log_Priority priority;
  int status;
  std::string text;
};

// Takes this thread's log records while it lives; what is logged by other threads goes where it went before.
//
// The log is part of the contract: every record above LM_DEBUG has to be taken by the test that caused it, with
// expect() or take(). The destructor fails the test for each one that was not.
class Log_Capture : public ACE_Log_Msg_Callback {
 public:
  Log_Capture();
  ~Log_Capture() override;
  Log_Capture(const Log_Capture&) = delete;
  Log_Capture& operator=(const Log_Capture&) = delete;

  // Takes the oldest record above LM_DEBUG and expects just this text. LM_ERROR has to carry status 0.
  void expect_error(const std::string& text);
  // The same for LM_EMERGENCY with status -1 and the text "Unexpected error in <file>:<line>, <what>:\n<stack>\n".
  void expect_precondition(const std::string& what);

  // Takes every record above LM_DEBUG, oldest first.
  std::vector<Logged> take();
  // Takes the texts logged at LM_DEBUG and below.
  std::vector<std::string> take_debug();

  void log(ACE_Log_Record& record) override;

 private:
  bool take_oldest(Logged& oldest);

  ACE_Log_Msg_Callback* previous_;
  unsigned long previous_flags_;
  std::vector<Logged> records_;
  std::vector<std::string> debug_;
};

}  // namespace test
