#include "hana/common/hdbsql_general_text_handler.h"

#include <gtest/gtest.h>

#include <boost/algorithm/string.hpp>
#include <random>

namespace {

using Rows = std::vector<std::vector<std::string>>;

// The handler with the door open through which the child's lines come.
class Handler : public sap_hana::HDBSQL_General_Text_Handler {
 public:
  int take(const std::string& line) { return handle_stdout_line(line.data(), line.size()); }
  using HDBSQL_General_Text_Handler::handle_stdout_line;

  Rows rows() const { return {get_values().begin(), get_values().end()}; }
};

TEST(HdbsqlGeneralTextHandler, lines_become_columns_and_rows) {
  struct Line {
    std::string text;
    int result;
  };
  const struct {
    const char* name;
    std::vector<Line> lines;
    std::map<std::string, int> keys;
    Rows rows;
  } cases[] = {
      {"as hdbsql prints",
       {{"NAME,STATE,N", 0}, {R"("A B","YES",7)", 0}, {R"("C",?,?)", 0}, {"", -1}, {"2 rows selected (1 msec)", 0}},
       {{"NAME", 0}, {"STATE", 1}, {"N", 2}},
       {{"A B", "YES", "7"}, {"C", "?", "?"}}},
      {"an empty line and a count line come before the header",
       {{"", -1}, {"1 row selected", 0}, {"0 rows selected (x)", 0}, {"VALUE", 0}, {"1", 0}},
       {{"VALUE", 0}},
       {{"1"}}},
      {"a row that speaks of selected rows is skipped, other talk of selection is not",
       {{"V", 0}, {"\"one row selected here\"", 0}, {"\"row  selected\"", 0}, {"\"selected rows\"", 0}},
       {{"V", 0}},
       {{"row  selected"}, {"selected rows"}}},
      {"another number of fields loses that row only",
       {{"A,B", 0}, {"\"1,5\",2", -1}, {"1", -1}, {"0 rows affected (overall time 1 sec)", -1}, {"3,4", 0}},
       {{"A", 0}, {"B", 1}},
       {{"3", "4"}}},
      {"adjacent commas are one, outer ones have empty fields beside them",
       {{"A,,B", 0}, {"1,,,2", 0}, {",", 0}, {",3", 0}, {"4,,", 0}, {",5,", -1}},
       {{"A", 0}, {"B", 1}},
       {{"1", "2"}, {"", ""}, {"", "3"}, {"4", ""}}},
      {"quotes and line feeds go from both ends, nothing else",
       {{"A", 0}, {R"("")", 0}, {R"("""x""")", 0}, {R"(a"b)", 0}, {R"("a\"b")", 0}, {"\n\" y \"\n\r", 0}, {"\"", 0}},
       {{"A", 0}},
       {{""}, {"x"}, {R"(a"b)"}, {R"(a\"b)"}, {" y \"\n\r"}, {""}}},
      {"a header is kept as it stands, a repeated name at its later position",
       {{"\"A\",A,B ,A", 0}, {"1,2,3,4", 0}},
       {{"\"A\"", 0}, {"A", 3}, {"B ", 2}},
       {{"1", "2", "3", "4"}}},
      {"NUL and CR are text",
       {{std::string("A\0\r", 3), 0}, {std::string("\"x\0y\"", 5), 0}},
       {{std::string("A\0\r", 3), 0}},
       {{std::string("x\0y", 3)}}},
  };
  for (const auto& c : cases) {
    Handler handler;
    for (const Line& line : c.lines)
      EXPECT_EQ(handler.take(line.text), line.result) << c.name << ": " << line.text;
    EXPECT_EQ(handler.get_key(), c.keys) << c.name;
    EXPECT_EQ(handler.rows(), c.rows) << c.name;
  }
  Handler handler;
  EXPECT_EQ(handler.handle_stdout_line(nullptr, 3), -1);
}

TEST(HdbsqlGeneralTextHandler, positions_lie_inside_every_row_however_wide_the_header_is) {
  const auto wide = [](std::size_t fields) {
    std::string line = "f";
    for (std::size_t i = 1; i < fields; ++i)
      line += ",f";
    return line;
  };
  Handler handler;

  EXPECT_EQ(handler.take(wide(65536)), -1);
  EXPECT_EQ(handler.take(wide(65537)), -1);
  EXPECT_TRUE(handler.get_key().empty());

  EXPECT_EQ(handler.take(wide(65535)), 0);
  EXPECT_EQ(handler.take(wide(65535)), 0);
  EXPECT_EQ(handler.take(wide(1000000)), -1);
  EXPECT_EQ(handler.take(std::string(1000000, '"')), -1);
  ASSERT_EQ(handler.get_values().size(), 1u);
  EXPECT_EQ(handler.get_values().front().size(), 65535u);
}

// The library cuts by hand; here the same rules are told with Boost's algorithms.
TEST(HdbsqlGeneralTextHandler, random_lines_are_cut_as_split_and_trim_cut_them) {
  const char* const pieces[] = {",", ",", "\"", "\"\"", "a", " ", "\n", "\r", "?", "12"};
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    std::string line;
    for (auto left = 1 + random() % 12; left > 0; --left)
      line += pieces[random() % std::size(pieces)];
    std::vector<std::string> fields;
    boost::split(fields, line, boost::is_any_of(","), boost::token_compress_on);
    Handler handler;
    ASSERT_EQ(handler.take(line), 0);
    ASSERT_EQ(handler.get_key().at(fields.back()), static_cast<int>(fields.size()) - 1) << line;

    for (std::string& field : fields)
      boost::trim_if(field, boost::is_any_of("\n\""));
    ASSERT_EQ(handler.take(line), 0);
    ASSERT_EQ(handler.rows(), Rows{fields}) << line;
  }
}

}  // namespace
