#pragma once

#include <ctime>

#include "platform/export.h"

namespace platform {

// Reads a time as strptime() would by `format`, "2024-01-31T12:00:00+0100" by "%Y-%m-%dT%H:%M:%S%z", and replaces
// `time` with the seconds since 1970-01-01 UTC.
// False if the whole text is not a time of that format, names a day that its month does not have, or carries no offset
// from UTC (%z): what a local clock means is not guessed. `time` is unchanged then.
GUSTAIKRUM_EXPORT bool local_to_posix_time(const char* text, std::time_t& time, const char* format);

}  // namespace platform
