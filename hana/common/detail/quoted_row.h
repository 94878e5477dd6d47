#pragma once

#include <boost/regex.hpp>

#include <cstddef>
#include <cstring>
#include <stdexcept>

namespace sap_hana {

// Finds a row of quoted fields, "...","...","...", anywhere in a line. `pattern` begins with blanks and a quote, then
// takes anything.
//
// What such a pattern matches from some quote on it also matches from the line's first quote, the only one worth
// trying: trying them all takes the engine past its limit on a line of 500 quotes. A search that still grows too
// complex is one without a match.
inline bool find_quoted_row(const char* line, std::size_t length, const boost::regex& pattern, boost::cmatch& match) {
  const auto* quote = static_cast<const char*>(std::memchr(line, '"', length));
  if (quote == nullptr) return false;
  try {
    return boost::regex_search(quote, line + length, match, pattern, boost::match_continuous);
  } catch (const std::runtime_error&) {
    return false;
  }
}

}  // namespace sap_hana
