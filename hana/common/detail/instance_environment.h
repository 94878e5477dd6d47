#pragma once

#include <string>

#include "hana/common/environ_getter.h"

namespace sap_hana {

// Takes over what the environment of an instance's start service tells, entries "name=value" each ended by a NUL:
// DIR_EXECUTABLE, HOSTNAME, DIR_INSTANCE, USER and SAPSYSTEMNAME as they are, the last of each, and the instance number
// from TINSTANCE or else from the last "HDB" and two digits in the instance directory.
// False if neither tells the number; the texts are taken over all the same.
bool take_environment(const std::string& environment, HANA_Env_Value& val);

}  // namespace sap_hana
