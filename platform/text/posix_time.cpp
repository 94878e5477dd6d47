#include "platform/text/posix_time.h"

#include <time.h>

#include <limits>

namespace platform {
namespace {

// strptime() takes "31" for a day of any month.
bool day_exists(const std::tm& time) {
  std::tm day{};
  day.tm_year = time.tm_year;
  day.tm_mon = time.tm_mon;
  day.tm_mday = time.tm_mday;
  ::timegm(&day);
  return day.tm_mday == time.tm_mday;
}

}  // namespace

bool local_to_posix_time(const char* text, std::time_t& time, const char* format) {
  if (text == nullptr) return false;

  constexpr long NO_OFFSET = std::numeric_limits<long>::max();
  std::tm parsed{};
  parsed.tm_mday = 1;
  parsed.tm_gmtoff = NO_OFFSET;
  const char* const rest = ::strptime(text, format, &parsed);
  if (rest == nullptr || *rest != '\0' || parsed.tm_gmtoff == NO_OFFSET || !day_exists(parsed)) return false;

  const long offset = parsed.tm_gmtoff;  // timegm() resets it
  time = ::timegm(&parsed) - offset;
  return true;
}

}  // namespace platform
