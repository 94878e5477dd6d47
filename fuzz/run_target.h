#pragma once

#include "fuzz/fuzz.h"

namespace fuzz {

// The target of that name, with the log set up for it. Without such a target the program prints the names and ends.
Target find_target(const char* name);

}  // namespace fuzz
