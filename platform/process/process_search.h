#pragma once

#include <list>

#include "platform/export.h"
#include "platform/process/service_lister.h"

namespace platform {

// What Service_Lister::list_service() does and fails with, but for the users' names, which stay empty: a directory
// service may take seconds to tell one. False on failure. Throws std::bad_alloc.
GUSTAIKRUM_EXPORT bool find_processes(const char* pattern, std::list<Service_Info>& processes);

// True for an errno by which "/proc" keeps a process back, or says that it has ended.
bool is_hidden_or_gone(int error);

}  // namespace platform
