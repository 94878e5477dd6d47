#include <regex>
#include <string>

#include "fuzz/fuzz.h"
#include "hana/common/filename_parser.h"
#include "platform/text/natoi.h"

namespace {

using sap_hana::Filename_Parser;

// The recursion of std::regex is no match for long names.
constexpr std::size_t LONGEST = 300;

std::uint64_t number(const std::smatch& match, std::size_t group) {
  return platform::natoi<std::uint64_t>(match.str(group).c_str());
}

const std::regex LOG_NAME("log_backup_(\\d+)_(\\d+)_(\\d+)_(\\d+)[^](\\d+)");
const std::regex FULL_NAME("([^]+)_databackup_(\\d+)_(\\d+)[^]*");
const std::regex DELTA_NAME("([^]+)_databackup_(differential|incremental)_(\\d+)_(\\d+)_(\\d+)_(\\d+)");

// What number stands in which field is the parser's own test.
void backup_names(std::string_view input) {
  const std::string name(input.substr(0, LONGEST));
  Filename_Parser::Log_File_Entry log{};
  Filename_Parser::Full_Backup_Entry full{};
  Filename_Parser::Delta_Backup_Entry delta{};
  std::smatch match;
  Filename_Parser().type(name);
  bool found = std::regex_search(name, match, LOG_NAME);
  fuzz::expect(Filename_Parser().parse_log_file(name, log) == found, "a log name is found");
  if (found) fuzz::expect(log.first_position == number(match, 3) && log.backup_id == number(match, 5), "its numbers");
  found = std::regex_search(name, match, FULL_NAME);
  fuzz::expect(Filename_Parser().parse_full_backup_file(name, full) == found, "a full backup's name is found");
  if (found) fuzz::expect(full.prefix == match.str(1), "its prefix");
  found = std::regex_search(name, match, DELTA_NAME);
  fuzz::expect(Filename_Parser().parse_delta_backup_file(name, delta) == found, "a delta backup's name is found");
  if (found) fuzz::expect(delta.prefix == match.str(1) && delta.backup_id == number(match, 4), "its prefix and number");
}

const bool known = fuzz::add("backup_names", backup_names);

}  // namespace
