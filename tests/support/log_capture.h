#pragma once

#include <ace/Log_Msg.h>
#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Record.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <utility>
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
  Log_Capture() : previous_(ACE_LOG_MSG->msg_callback(this)), previous_flags_(ACE_LOG_MSG->flags()) {
    ACE_LOG_MSG->clr_flags(previous_flags_);
    ACE_LOG_MSG->set_flags(ACE_Log_Msg::MSG_CALLBACK);
  }
  ~Log_Capture() override {
    ACE_LOG_MSG->clr_flags(ACE_Log_Msg::MSG_CALLBACK);
    ACE_LOG_MSG->set_flags(previous_flags_);
    ACE_LOG_MSG->msg_callback(previous_);
    for (const Logged& record : records_)
      ADD_FAILURE() << "unexpected log record: " << record.text;
  }
  Log_Capture(const Log_Capture&) = delete;
  Log_Capture& operator=(const Log_Capture&) = delete;

  // Takes the oldest record above LM_DEBUG and expects just this text. LM_ERROR has to carry status 0.
  void expect_error(const std::string& text) {
    const Logged oldest = take_oldest(text);
    EXPECT_EQ(oldest.text, text);
    EXPECT_EQ(oldest.priority, LM_ERROR);
    EXPECT_EQ(oldest.status, 0);
  }

  // The same for LM_EMERGENCY with status -1 and the text "Unexpected error in <file>:<line>, <what>:\n<stack>\n".
  void expect_precondition(const std::string& what) {
    const Logged oldest = take_oldest(what);
    std::smatch match;
    const std::regex form("Unexpected error in (hana|platform)/[a-z_/]+\\.cpp:[0-9]+, (.*):\n[^]+\n");
    EXPECT_TRUE(std::regex_match(oldest.text, match, form)) << oldest.text;
    EXPECT_EQ(match[2], what);
    EXPECT_EQ(oldest.priority, LM_EMERGENCY);
    EXPECT_EQ(oldest.status, -1);
  }

  // Takes every record above LM_DEBUG, oldest first.
  std::vector<Logged> take() { return std::exchange(records_, {}); }
  // Takes the texts logged at LM_DEBUG and below.
  std::vector<std::string> take_debug() { return std::exchange(debug_, {}); }

  void log(ACE_Log_Record& record) override {
    const auto priority = static_cast<ACE_Log_Priority>(record.type());
    if (priority > LM_DEBUG) {
      records_.push_back({priority, ACE_LOG_MSG->op_status(), record.msg_data()});
    } else {
      debug_.emplace_back(record.msg_data());
    }
  }

 private:
  Logged take_oldest(const std::string& expected) {
    if (records_.empty()) {
      ADD_FAILURE() << "nothing was logged; expected: " << expected;
      return {};
    }
    const Logged oldest = records_.front();
    records_.erase(records_.begin());
    return oldest;
  }

  ACE_Log_Msg_Callback* previous_;
  unsigned long previous_flags_;
  std::vector<Logged> records_;
  std::vector<std::string> debug_;
};

}  // namespace test
