#pragma once

#include <boost/regex.hpp>
#include <stdexcept>

#include "platform/log/log.h"

namespace platform {

// Whether the regular expression is found in a text. One on which the search grows too complex holds no match, which is
// told at LM_DEBUG. Throws std::bad_alloc alone: without memory there is no answer.
template <class Iterator>
bool search(Iterator begin, Iterator end, boost::match_results<Iterator>& match, const boost::regex& pattern,
            boost::match_flag_type flags = boost::match_default) {
  try {
    return boost::regex_search(begin, end, match, pattern, flags);
  } catch (const std::runtime_error& error) {
    log_debug("Failed to search a text: %s\n", error.what());
    return false;
  }
}

}  // namespace platform
