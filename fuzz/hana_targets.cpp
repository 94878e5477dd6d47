#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <list>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "fuzz/fuzz.h"
#include "hana/backint_catalog/backint_backup_file.h"
#include "hana/backint_catalog/backint_job.h"
#include "hana/common/detail/start_services.h"
#include "hana/common/filename_parser.h"
#include "hana/common/hdbsql_general_text_handler.h"
#include "platform/json/text.h"
#include "platform/process/command_line.h"
#include "platform/text/natoi.h"

namespace {

using platform::json::JSON_Dump;
using platform::json::Object;
using platform::json::Value;
using sap_hana::Filename_Parser;

// The recursion of std::regex is no match for long texts.
constexpr std::size_t LONGEST = 300;

// What "/proc" shows of a process, searched with the patterns that find start services.
void start_service(std::string_view input) {
  std::string shown(input);
  std::string wanted(input.substr(0, input.find_last_not_of('\0') + 1));
  std::replace(wanted.begin(), wanted.end(), '\0', ' ');
  const std::string_view found = platform::join_arguments(shown.data(), shown.size());
  fuzz::expect(found == wanted, "arguments joined by blanks");

  for (const std::string pattern : {"HDB[0-9][0-9]/exe/sapstartsrv", "HXE[^]*exe/sapstartsrv"}) {
    const platform::Command_Line_Pattern tried(boost::replace_all_copy(pattern, "[^]", ".").c_str());
    const std::string text = wanted.substr(0, LONGEST);
    fuzz::expect(tried.is_in(text) == std::regex_search(text, std::regex(pattern)), "a start service is found");
    tried.is_in(found);
  }
}

void process_environment(std::string_view input) {
  sap_hana::HANA_Env_Value val{"d", "h", "i", "u", 777, "s", "t", "l"};
  sap_hana::Environment_Reader reader(val);
  const std::size_t cut = input.size() / 3;  // read in pieces, as a long one is
  reader.feed(input.substr(0, cut));
  reader.feed(input.substr(cut, cut));
  reader.feed(input.substr(2 * cut));
  const bool taken = reader.finish();

  std::map<std::string, std::string> last{
      {"DIR_EXECUTABLE", "d"}, {"HOSTNAME", "h"}, {"DIR_INSTANCE", "i"}, {"USER", "u"}, {"SAPSYSTEMNAME", "s"}};
  std::vector<std::string> entries;
  for (const std::string& entry : boost::split(entries, input, [](char c) { return c == '\0'; })) {
    const std::size_t sign = entry.find('=');
    if (sign != std::string::npos) last[entry.substr(0, sign)] = entry.substr(sign + 1);
  }
  fuzz::expect(val.dir_executable == last["DIR_EXECUTABLE"] && val.hostname == last["HOSTNAME"] &&
                   val.instance_dir == last["DIR_INSTANCE"] && val.user == last["USER"] &&
                   val.sid == last["SAPSYSTEMNAME"],
               "the last entry of each name");
  fuzz::expect(val.trace_dir == "t" && val.landscape_id == "l", "nothing else is touched");
  std::smatch number;
  const std::string directory = val.instance_dir.substr(0, LONGEST);
  if (last.count("TINSTANCE") != 0) {
    fuzz::expect(val.instance_number == platform::natoi<std::uint16_t>(last["TINSTANCE"].c_str()), "its number");
  } else if (directory == val.instance_dir) {
    const bool has_one = std::regex_match(directory, number, std::regex("[^]*HDB([0-9][0-9])[^]*"));
    fuzz::expect(taken == has_one && val.instance_number == (taken ? std::stoi(number[1]) : 777), "its directory's");
  }
}

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

// What a record takes from an object it writes, and takes again.
template <class Record>
void record(const Object& object) {
  Record strict{}, lenient{}, again{};
  strict.parse(object);
  lenient << object;
  Object written, written_again;
  lenient >> written;
  again << written;
  again >> written_again;
  fuzz::expect(JSON_Dump(written, false).str() == JSON_Dump(written_again, false).str(),
               "what a record writes it reads back");
}

void records(std::string_view input) {
  Value value;
  if (!platform::json::loads_json(input.data(), input.size(), value, 1)) return;
  if (value.type() == platform::json::obj_type) {
    record<sap_hana::Backup_File_Info>(value.get_obj());
    record<sap_hana::Backint_Backup_Job_Info>(value.get_obj());
  }
  if (value.type() == platform::json::array_type) {
    sap_hana::Backup_Files_Info files;
    sap_hana::Array_to_Backup_File_Info(value.get_array(), files);
    fuzz::expect(files.size() <= value.get_array().size(), "no record comes from nowhere");
  }
}

const bool known = fuzz::add("start_service", start_service) && fuzz::add("process_environment", process_environment) &&
                   fuzz::add("backup_names", backup_names) && fuzz::add("result_set", result_set) &&
                   fuzz::add("records", records);

}  // namespace
