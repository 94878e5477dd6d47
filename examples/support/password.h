#pragma once

#include <string>

#include "platform/text/secure_string.h"

namespace example {

// Reads a password from a file, or from standard input for "-": its text without the line end, in one line of 1 to
// 1,000 characters. False, with the reason on standard error, if there is none.
bool read_password(const std::string& path, platform::secure_string& password);

}  // namespace example
