#pragma once

#include <boost/regex.hpp>

#include <cstddef>
#include <cstring>

#include "platform/text/search.h"

namespace sap_hana {

// Finds a row of quoted fields, "...","...","...", anywhere in a line. `pattern` begins with blanks and a quote, then
// takes anything.
//
// What such a pattern matches from some quote on it also matches from the line's first quote, the only one worth
// trying: trying them all takes the engine past its limit on a line of 500 quotes.
inline bool find_quoted_row(const char* line, std::size_t length, const boost::regex& pattern, boost::cmatch& match) {
  const auto* quote = static_cast<const char*>(std::memchr(line, '"', length));
  return quote != nullptr && platform::search(quote, line + length, match, pattern, boost::match_continuous);
}

}  // namespace sap_hana
