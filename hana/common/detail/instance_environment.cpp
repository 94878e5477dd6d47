#include "hana/common/detail/instance_environment.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/regex.hpp>
#include <cstring>

#include "platform/log/log.h"
#include "platform/text/natoi.h"

namespace sap_hana {
namespace {

// Takes one entry, "name=value", over into `val` if it is one of an instance. True if it is the instance number.
bool take_entry(const std::string& entry, HANA_Env_Value& val) {
  const struct {
    const char* prefix;
    std::string* value;
  } texts[] = {{"DIR_EXECUTABLE=", &val.dir_executable},
               {"HOSTNAME=", &val.hostname},
               {"DIR_INSTANCE=", &val.instance_dir},
               {"USER=", &val.user},
               {"SAPSYSTEMNAME=", &val.sid}};
  for (const auto& text : texts) {
    if (!boost::starts_with(entry, text.prefix)) continue;
    *text.value = entry.substr(std::strlen(text.prefix));
    return false;
  }

  static constexpr char NUMBER[] = "TINSTANCE=";
  if (!boost::starts_with(entry, NUMBER)) return false;
  val.instance_number = platform::natoi<std::uint16_t>(entry.c_str() + sizeof(NUMBER) - 1);
  return true;
}

// Takes over the entries of an environment, each ended by a NUL. True if one of them is the instance number.
bool take_entries(const std::string& environment, HANA_Env_Value& val) {
  bool numbered = false;
  for (std::size_t begin = 0; begin < environment.size();) {
    const std::size_t end = std::min(environment.find('\0', begin), environment.size());
    numbered = take_entry(environment.substr(begin, end - begin), val) || numbered;
    begin = end + 1;
  }
  return numbered;
}

// The last "HDB" with two digits after it counts.
bool take_number_from_directory(HANA_Env_Value& val) {
  static const boost::regex INSTANCE_DIR_RE(".*HDB([0-9][0-9]).*");
  try {
    boost::smatch match;
    if (!boost::regex_match(val.instance_dir, match, INSTANCE_DIR_RE)) return false;
    const std::string digits = match[1];
    val.instance_number = platform::natoi<std::uint16_t>(digits.c_str());
    return true;
  } catch (const std::exception& error) {
    platform::log_debug("Failed to search the instance directory: %s\n", error.what());
    return false;
  }
}

}  // namespace

bool take_environment(const std::string& environment, HANA_Env_Value& val) {
  return take_entries(environment, val) || take_number_from_directory(val);
}

}  // namespace sap_hana
