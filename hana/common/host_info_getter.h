#pragma once

#include <string>

#include "platform/export.h"

namespace sap_hana {

// Tells under which host name a system runs here, from "/usr/sap/sapservices", read anew on every call.
// A value: it may be copied, and threads may share one.
class GUSTAIKRUM_EXPORT Host_Info_Getter {
 public:
  // The SID becomes part of a regular expression as it is.
  explicit Host_Info_Getter(const std::string& sid);

  // Replaces `name` with what stands after "<SID>_HDB<nn>_" in the profile's path, on the first line that names an
  // instance of the system; a line that is commented out counts.
  // False, with a message, if there is no such line, the file cannot be read or is not a regular one, or the search
  // fails; `name` is unchanged then.
  bool hostname(std::string& name) const;

 private:
  std::string sid_;
};

}  // namespace sap_hana
