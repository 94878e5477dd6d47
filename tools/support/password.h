#pragma once

#include <string>

#include "platform/text/secure_string.h"

namespace tools {

// Reads a password from a file, or from standard input for "-": the first line without its end, LF or
// CR LF, 1 to 1,000 characters. False, with the reason on standard error, if there is none.
bool read_password(const std::string& path, platform::secure_string& password);

}  // namespace tools
