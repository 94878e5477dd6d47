#include "hana/common/hdbsql_general_text_handler.h"

#include <gtest/gtest.h>

namespace {

// The handler with the door open through which the child's lines come.
class Handler : public sap_hana::HDBSQL_General_Text_Handler {
 public:
  int take(const std::string& line) { return handle_stdout_line(line.data(), line.size()); }
  using HDBSQL_General_Text_Handler::handle_stdout_line;
};

TEST(HdbsqlGeneralTextHandler, positions_lie_inside_every_row_however_wide_the_header_is) {
  std::string fields = "f";
  while (fields.size() < 2 * 65535 - 1)
    fields += ",f";
  Handler handler;

  EXPECT_EQ(handler.take(fields + ",f"), -1);
  EXPECT_TRUE(handler.get_key().empty());

  EXPECT_EQ(handler.take(fields), 0);
  EXPECT_EQ(handler.take(fields), 0);
  EXPECT_EQ(handler.take(fields + ",f"), -1);
  EXPECT_EQ(handler.handle_stdout_line(nullptr, 3), -1);
  ASSERT_EQ(handler.get_values().size(), 1u);
  EXPECT_EQ(handler.get_values().front().size(), 65535u);
}

}  // namespace
