#pragma once

#include <list>

#include "tools/support/system_report.h"

namespace tools {

// Prints a report for programs, in the shape that docs/guide.md gives.
void print_json(const std::list<System_Report>& systems);

}  // namespace tools
