#pragma once

#include <functional>
#include <list>

#include "tools/support/system_report.h"

namespace tools {

// Prints a report for people; `print_sql` adds what SQL tells about a system.
void print_report(const std::list<System_Report>& systems, const std::function<void(const System_Report&)>& print_sql);

}  // namespace tools
