#pragma once

#include <optional>
#include <string>

namespace sap_hana {

// Whether a system is multiple-container, by its global.ini: false also where there is no such file, or none that this
// program may read, or none that says so. Nothing, with the cause at LM_DEBUG, where it could not be read this time.
std::optional<bool> look_for_containers(const std::string& sid);

}  // namespace sap_hana
