#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <string>
#include <vector>

#include "fuzz/fuzz.h"
#include "hana/common/detail/start_services.h"
#include "platform/process/command_line.h"
#include "platform/text/natoi.h"

namespace {

using Texts = std::vector<std::string>;

Texts split(const std::string& text, char separator) {
  Texts pieces;
  return boost::algorithm::split(pieces, text, [separator](char c) { return c == separator; });
}

// The value of the last entry of that name; `missing` if there is none.
std::string last(const Texts& entries, const std::string& name, const std::string& missing) {
  std::string value = missing;
  for (const std::string& entry : entries) {
    if (entry.compare(0, name.size() + 1, name + "=") == 0) value = entry.substr(name.size() + 1);
  }
  return value;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// The digits after the last "HDB" that has two; empty if there is none.
std::string last_number(const std::string& directory) {
  for (std::size_t at = directory.size(); at-- > 0;) {
    if (directory.compare(at, 3, "HDB") == 0 && at + 5 <= directory.size() && is_digit(directory[at + 3]) &&
        is_digit(directory[at + 4])) {
      return directory.substr(at + 3, 2);
    }
  }
  return "";
}

// What "/proc" shows of a process, searched with the patterns that find start services.
void start_service(std::string_view input) {
  static const platform::Command_Line_Pattern ANY("HDB[0-9][0-9]/exe/sapstartsrv");
  static const platform::Command_Line_Pattern OF_SYSTEM("HXE.*exe/sapstartsrv");
  static constexpr std::string_view PROGRAM = "/exe/sapstartsrv";

  std::string shown(input);
  const std::string_view found = platform::join_arguments(shown.data(), shown.size());
  std::string wanted(input.substr(0, input.find_last_not_of('\0') + 1));
  std::replace(wanted.begin(), wanted.end(), '\0', ' ');
  fuzz::expect(found == wanted, "arguments joined by blanks");

  bool of_any = false;
  for (std::size_t at = wanted.find(PROGRAM); at != std::string::npos; at = wanted.find(PROGRAM, at + 1)) {
    of_any = of_any ||
             (at >= 5 && wanted.compare(at - 5, 3, "HDB") == 0 && is_digit(wanted[at - 2]) && is_digit(wanted[at - 1]));
  }
  fuzz::expect(ANY.is_in(found) == of_any, "a start service of any instance is found");
  const std::size_t sid = wanted.find("HXE");
  const bool of_system = sid != std::string::npos && wanted.find(PROGRAM.substr(1), sid + 3) != std::string::npos;
  fuzz::expect(OF_SYSTEM.is_in(found) == of_system, "a start service of a system is found");
}

void process_environment(std::string_view input) {
  sap_hana::HANA_Env_Value val{"d", "h", "i", "u", 777, "s", "t", "l"};
  sap_hana::Environment_Reader reader(val);
  const std::size_t cut = input.size() / 3;  // read in pieces, as a long one is
  reader.feed(input.substr(0, cut));
  reader.feed(input.substr(cut, cut));
  reader.feed(input.substr(2 * cut));
  const bool taken = reader.finish();

  const Texts entries = split(std::string(input), '\0');
  fuzz::expect(val.dir_executable == last(entries, "DIR_EXECUTABLE", "d") &&
                   val.hostname == last(entries, "HOSTNAME", "h") &&
                   val.instance_dir == last(entries, "DIR_INSTANCE", "i") && val.user == last(entries, "USER", "u") &&
                   val.sid == last(entries, "SAPSYSTEMNAME", "s"),
               "the last entry of each name");
  std::string number = last(entries, "TINSTANCE", "none");
  if (number == "none") number = last_number(val.instance_dir);
  fuzz::expect(val.trace_dir == "t" && val.landscape_id == "l", "nothing else is touched");
  if (taken) fuzz::expect(val.instance_number == platform::natoi<std::uint16_t>(number.c_str()), "its number");
  if (!taken) fuzz::expect(val.instance_number == 777 && number.empty(), "no number");
}

const bool known = fuzz::add("start_service", start_service) && fuzz::add("process_environment", process_environment);

}  // namespace
