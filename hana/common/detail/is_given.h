#pragma once

#include "platform/log/log.h"

namespace sap_hana {

// True if the text says something; else logs the complaint, which tells the place of this call.
inline bool is_given(const char* text, const platform::Log_Format& complaint) {
  if (text != nullptr && *text != '\0') return true;
  platform::log_precondition(complaint);
  return false;
}

}  // namespace sap_hana
