#pragma once

#include <string>

#include "hana/common/system_info.h"
#include "platform/text/secure_string.h"

namespace tools {

// Prints what SQL tells about the system of an instance: its log and backup settings, its databases with their state,
// and the schemas of each that is started. The record's multi_container has to be right.
void print_databases(const sap_hana::System_Instance_Info& instance, const std::string& user,
                     const platform::secure_string& password);

}  // namespace tools
