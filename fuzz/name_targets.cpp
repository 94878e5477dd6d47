#include <regex>
#include <string>

#include "fuzz/fuzz.h"
#include "hana/common/filename_parser.h"
#include "platform/text/natoi.h"

namespace {

using sap_hana::Filename_Parser;

// The recursion of std::regex is no match for long names.
constexpr std::size_t LONGEST = 300;

const std::regex LOG_NAME("log_backup_(\\d+)_(\\d+)_(\\d+)_(\\d+)[^](\\d+)");
const std::regex FULL_NAME("([^]+)_databackup_(\\d+)_(\\d+)[^]*");
const std::regex DELTA_NAME("([^]+)_databackup_(differential|incremental)_(\\d+)_(\\d+)_(\\d+)_(\\d+)");

template <class T>
T number(const std::smatch& match, std::size_t group) {
  return platform::natoi<T>(match.str(group).c_str());
}

void log_name(const std::string& name) {
  Filename_Parser::Log_File_Entry entry{1, 1, 1, 1, 1};
  std::smatch match;
  const bool found = std::regex_search(name, match, LOG_NAME);
  fuzz::expect(Filename_Parser().parse_log_file(name, entry) == found, "a log name is found");
  if (!found) return;
  fuzz::expect(
      entry.volume_id == number<std::uint16_t>(match, 5) && entry.partition_id == number<std::uint16_t>(match, 2) &&
          entry.first_position == number<std::uint64_t>(match, 3) &&
          entry.last_position == number<std::uint64_t>(match, 4) && entry.backup_id == number<std::uint64_t>(match, 5),
      "a log name's numbers");
}

void full_name(const std::string& name) {
  Filename_Parser::Full_Backup_Entry entry{};
  std::smatch match;
  const bool found = std::regex_search(name, match, FULL_NAME);
  fuzz::expect(Filename_Parser().parse_full_backup_file(name, entry) == found, "a full backup's name is found");
  if (!found) return;
  fuzz::expect(entry.prefix == match.str(1) && entry.volume_id == number<std::uint16_t>(match, 2) &&
                   entry.partition_id == number<std::uint16_t>(match, 3),
               "a full backup's numbers");
}

void delta_name(const std::string& name) {
  Filename_Parser::Delta_Backup_Entry entry{};
  std::smatch match;
  const bool found = std::regex_search(name, match, DELTA_NAME);
  fuzz::expect(Filename_Parser().parse_delta_backup_file(name, entry) == found, "a delta backup's name is found");
  if (!found) return;
  fuzz::expect(entry.prefix == match.str(1) && entry.depend_backup_id == number<std::uint64_t>(match, 3) &&
                   entry.backup_id == number<std::uint64_t>(match, 4) &&
                   entry.volume_id == number<std::uint16_t>(match, 5) &&
                   entry.partition_id == number<std::uint16_t>(match, 3),
               "a delta backup's numbers");
}

void backup_names(std::string_view input) {
  const std::string name(input.substr(0, LONGEST));
  Filename_Parser().type(name);
  log_name(name);
  full_name(name);
  delta_name(name);
}

const bool known = fuzz::add("backup_names", backup_names);

}  // namespace
