#include <boost/algorithm/string.hpp>
#include <list>
#include <regex>
#include <string>
#include <vector>

#include "fuzz/fuzz.h"
#include "hana/common/detail/quoted_row.h"
#include "hana/common/hdbsql_general_text_handler.h"

namespace {

using Row = std::vector<std::string>;

struct General_Handler : sap_hana::HDBSQL_General_Text_Handler {
  using HDBSQL_General_Text_Handler::handle_stdout_line;
};

Row split(const std::string& line) {
  Row fields;
  boost::algorithm::split(fields, line, boost::is_any_of(","), boost::token_compress_on);
  return fields;
}

// Each line of the input is a line of output.
void result_set(std::string_view input) {
  General_Handler handler;
  Row header;
  std::list<Row> rows;
  Row lines;
  const std::string text(input);
  boost::algorithm::split(lines, text, boost::is_any_of("\n"));
  for (const std::string& line : lines) {
    const int answer = handler.handle_stdout_line(line.data(), line.size());
    if (line.empty()) {
      fuzz::expect(answer == -1, "an empty line is rejected");
    } else if (boost::contains(line, "row selected") || boost::contains(line, "rows selected")) {
      fuzz::expect(answer == 0, "a count line is skipped");
    } else if (header.empty()) {
      header = split(line);
    } else {
      Row row = split(line);
      fuzz::expect((answer == 0) == (row.size() == header.size()), "a row is as long as the header");
      if (row.size() != header.size()) continue;
      for (std::string& field : row)
        boost::algorithm::trim_if(field, boost::is_any_of("\n\""));
      rows.push_back(row);
    }
  }
  fuzz::expect(handler.get_values() == rows, "rows are what a slow splitter makes of them");
  for (std::size_t i = 0; i < header.size(); ++i)
    fuzz::expect(handler.get_key().at(header[i]) >= static_cast<int>(i), "the later position of a name");
}

// A line of three quoted fields, as the listers of databases and schemas read them. The recursion of std::regex is no
// match for long lines.
void quoted_row(std::string_view input) {
  static const boost::regex ROW("\\s*\"(.*)\",\"(.*)\",\"(.*)\"");
  static const std::regex OBVIOUS("\\s*\"([^]*)\",\"([^]*)\",\"([^]*)\"");
  const std::string line(input.substr(0, 300));
  boost::cmatch match;
  std::smatch wanted;
  const bool found = sap_hana::find_quoted_row(line.data(), line.size(), ROW, match);
  fuzz::expect(found == std::regex_search(line, wanted, OBVIOUS), "a row is found wherever it stands");
  for (int group = 1; found && group <= 3; ++group)
    fuzz::expect(match.str(group) == wanted.str(static_cast<std::size_t>(group)),
                 "a field is what another engine finds");
}

const bool known = fuzz::add("result_set", result_set) && fuzz::add("quoted_row", quoted_row);

}  // namespace
