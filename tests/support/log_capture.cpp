#include "tests/support/log_capture.h"

#include <ace/Log_Msg.h>
#include <ace/Log_Record.h>
#include <gtest/gtest.h>

#include <regex>
#include <utility>

namespace test {

Log_Capture::Log_Capture() : previous_(ACE_LOG_MSG->msg_callback(this)), previous_flags_(ACE_LOG_MSG->flags()) {
  ACE_LOG_MSG->clr_flags(previous_flags_);
  ACE_LOG_MSG->set_flags(ACE_Log_Msg::MSG_CALLBACK);
}

Log_Capture::~Log_Capture() {
  ACE_LOG_MSG->clr_flags(ACE_Log_Msg::MSG_CALLBACK);
  ACE_LOG_MSG->set_flags(previous_flags_);
  ACE_LOG_MSG->msg_callback(previous_);
  for (const Logged& record : records_)
    ADD_FAILURE() << "unexpected log record: " << record.text;
}

void Log_Capture::log(ACE_Log_Record& record) {
  const auto priority = static_cast<ACE_Log_Priority>(record.type());
  if (priority > LM_DEBUG) {
    records_.push_back({priority, ACE_LOG_MSG->op_status(), record.msg_data()});
  } else {
    debug_.emplace_back(record.msg_data());
  }
}

bool Log_Capture::take_oldest(Logged& oldest) {
  if (records_.empty()) return false;
  oldest = records_.front();
  records_.erase(records_.begin());
  return true;
}

void Log_Capture::expect_error(const std::string& text) {
  Logged oldest;
  ASSERT_TRUE(take_oldest(oldest)) << "nothing was logged; expected: " << text;

  EXPECT_EQ(oldest.text, text);
  EXPECT_EQ(oldest.priority, LM_ERROR);
  EXPECT_EQ(oldest.status, 0);
}

void Log_Capture::expect_precondition(const std::string& what) {
  Logged oldest;
  ASSERT_TRUE(take_oldest(oldest)) << "nothing was logged; expected: " << what;

  const std::regex place("^Unexpected error in (hana|platform)/[a-z_/]+\\.cpp:[0-9]+, ");
  std::smatch match;
  ASSERT_TRUE(std::regex_search(oldest.text, match, place)) << oldest.text;
  const std::string rest = match.suffix();
  EXPECT_EQ(rest.substr(0, what.size() + 2), what + ":\n");
  EXPECT_GT(rest.size(), what.size() + 3) << "no stack trace";
  EXPECT_EQ(oldest.priority, LM_EMERGENCY);
  EXPECT_EQ(oldest.status, -1);
}

std::vector<Logged> Log_Capture::take() {
  return std::exchange(records_, {});
}

std::vector<std::string> Log_Capture::take_debug() {
  return std::exchange(debug_, {});
}

}  // namespace test
