#include "hana/common/host_info_getter.h"

#include <boost/regex.hpp>

#include "hana/common/detail/sapservices.h"
#include "platform/files/directory.h"
#include "platform/files/file_content.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/text/format.h"

namespace sap_hana {
namespace {

bool find_host(const std::string& content, const std::string& sid, std::string& host) {
  const platform::snprintf_t<4096> pattern(".*pf=.*%s_HDB[0-9][0-9]_(\\S*).*", sid.c_str());
  try {
    boost::cmatch match;
    if (!match_first_line(content, boost::regex(pattern.c_str()), match)) return false;
    host = match[1];
    return true;
  } catch (const std::runtime_error& error) {
    platform::log_debug("Failed to search '%s': %s\n", SAPSERVICES_PATH, error.what());
    return false;
  }
}

}  // namespace

Host_Info_Getter::Host_Info_Getter(const std::string& sid) : sid_(platform::kept_name(sid)) {}

bool Host_Info_Getter::hostname(std::string& name) const try {
  if (!platform::is_regular_file(SAPSERVICES_PATH)) {
    platform::log_error("Failed to get hostname: %s does not exist\n", SAPSERVICES_PATH);
    return false;
  }

  std::string content;
  if (platform::read_regular_file(SAPSERVICES_PATH, content) != platform::File_Read::DONE ||
      !find_host(content, sid_, name)) {
    platform::log_error("Failed to get hostname from '%s'\n", SAPSERVICES_PATH);
    return false;
  }
  return true;
} catch (...) {
  return platform::failed();
}

}  // namespace sap_hana
