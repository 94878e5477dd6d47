#include "hana/common/hdbsql_general_text_handler.h"

#include <gtest/gtest.h>

namespace {

// The handler with the door open through which the child's lines come.
class Handler : public sap_hana::HDBSQL_General_Text_Handler {
 public:
  int take(const std::string& line) { return handle_stdout_line(line.data(), line.size()); }
  using HDBSQL_General_Text_Handler::handle_stdout_line;
};

TEST(HdbsqlGeneralTextHandler, lines_become_columns_and_rows) {
  Handler handler;
  for (const char* line : {"", "1 row selected (before the header)", "NAME,STATE,N,NAME", R"("A B","YES",7,"")",
                           R"("C",?,?,"a\"b")", "short,row", "", "2 rows selected (1 msec)"})
    handler.take(line);

  EXPECT_EQ(handler.get_key(), (std::map<std::string, int>{{"STATE", 1}, {"N", 2}, {"NAME", 3}}));
  EXPECT_EQ(handler.get_values(), (Handler::values_list_type{{"A B", "YES", "7", ""}, {"C", "?", "?", "a\\\"b"}}));
}

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
