#pragma once

#include <boost/property_tree/ptree.hpp>
#include <string>

#include "platform/export.h"

namespace platform {

// The sections and keys of an INI file, read anew, as Boost's INI reader understands them: "section.key" finds a value.
// A section or a key that stands twice is an error, so is a file over 16 MiB or one that is not a regular file; such
// a file is never waited for.
// Throws an exception derived from std::exception whose text names the path and, for a fault in the text, the line.
GUSTAIKRUM_EXPORT boost::property_tree::ptree read_ini_file(const std::string& path);

// The same for a file's content that was read already; `path` is for the text of what it throws.
GUSTAIKRUM_EXPORT boost::property_tree::ptree parse_ini(const std::string& content, const std::string& path);

}  // namespace platform
