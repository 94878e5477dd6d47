#pragma once

#include <boost/regex.hpp>

namespace sap_hana {

// The version in a line of "hdbsrvutil -v", "version:             2.00.071.00.1687900751".
inline const boost::regex GET_VERSION_RE("\\s*version:\\s*([0-9\\.]*).*");

}  // namespace sap_hana
