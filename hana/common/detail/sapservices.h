#pragma once

#include <boost/regex.hpp>
#include <cstring>
#include <string>

namespace sap_hana {

// The start commands of the host's SAP instances, one a line: "...;/usr/sap/HXE/HDB90/exe/sapstartsrv
// pf=/usr/sap/HXE/SYS/profile/HXE_HDB90_hxehost -D -u hxeadm", or "systemctl ... # sapstartsrv pf=...".
inline constexpr const char* SAPSERVICES_PATH = "/usr/sap/sapservices";

// Finds the first line of `content` that the pattern matches as a whole; `match` points into `content` then.
// Throws what the regular expression throws.
inline bool match_first_line(const std::string& content, const boost::regex& pattern, boost::cmatch& match) {
  const char* const end = content.data() + content.size();
  for (const char* line = content.data(); line < end;) {
    const void* const newline = std::memchr(line, '\n', static_cast<std::size_t>(end - line));
    const char* const line_end = newline == nullptr ? end : static_cast<const char*>(newline);
    if (boost::regex_match(line, line_end, match, pattern)) return true;
    line = line_end + 1;
  }
  return false;
}

}  // namespace sap_hana
