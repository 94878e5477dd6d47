// Gathers what the library logs on this thread while it lives, causes included, instead of letting it go to standard
// error: for a program that tells its user why something failed.
//
//   const Log_Reasons reasons;
//   if (!executor.execute(sql, nullptr)) std::cerr << reasons.first() << '\n';
//
// ACE's flags are the process's, so what other threads log meanwhile goes to their own callbacks alone. Objects may
// nest, the inner one gathers.
#pragma once

#include <ace/Log_Msg.h>
#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Record.h>

#include <string>

class Log_Reasons : public ACE_Log_Msg_Callback {
 public:
  Log_Reasons()
      : callback_(ACE_LOG_MSG->msg_callback(this)),
        flags_(ACE_LOG_MSG->flags()),
        mask_(ACE_LOG_MSG->priority_mask(~0UL, ACE_Log_Msg::THREAD)) {  // LM_DEBUG has the causes
    ACE_LOG_MSG->set_flags(ACE_Log_Msg::MSG_CALLBACK);
    ACE_LOG_MSG->clr_flags(ACE_Log_Msg::STDERR);  // else every line is written there as well
  }

  ~Log_Reasons() override {
    ACE_LOG_MSG->msg_callback(callback_);
    ACE_LOG_MSG->clr_flags(ACE_Log_Msg::MSG_CALLBACK);
    ACE_LOG_MSG->set_flags(flags_);
    ACE_LOG_MSG->priority_mask(mask_, ACE_Log_Msg::THREAD);
  }

  Log_Reasons(const Log_Reasons&) = delete;
  Log_Reasons& operator=(const Log_Reasons&) = delete;

  void log(ACE_Log_Record& record) override { text_ += record.msg_data(); }

  // All lines, oldest first. The library has escaped what could command a terminal.
  const std::string& text() const { return text_; }

  // The oldest line, which is the cause where several tell of one failure; empty if there is none.
  std::string first() const { return text_.substr(0, text_.find('\n')); }

 private:
  ACE_Log_Msg_Callback* callback_;
  u_long flags_;
  u_long mask_;
  std::string text_;
};
