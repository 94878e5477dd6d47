#pragma once

#include <cerrno>
#include <limits>
#include <type_traits>

namespace platform {

// The decimal number at the start of `begin`, read up to `end` or, where `end` is null, to the first non-digit; the
// terminating NUL is one. One leading "+" is skipped; a leading "-" negates a signed result and is refused for an
// unsigned one. `stop`, where given, receives the position of the first character that was not read.
//
// Sets errno on every call: 0, EINVAL (null or empty text, no digit, refused sign; the result is 0) or ERANGE (the
// result is T's maximum, whatever the sign; reading stops at the digit that did not fit).
template <class T>
T natoi(const char* begin, const char* end = nullptr, const char** stop = nullptr) {
  static_assert(std::is_integral_v<T>);
  constexpr T MAX = std::numeric_limits<T>::max();

  const char* at = begin;
  const auto more = [&] { return at != nullptr && at != end && *at != '\0'; };
  const auto finish = [&](T value, int error) {
    if (stop != nullptr) *stop = at;
    errno = error;
    return value;
  };

  bool negative = false;
  if (more() && *at == '+') {
    ++at;
  } else if (more() && *at == '-') {
    if (!std::is_signed_v<T>) return finish(0, EINVAL);
    negative = true;
    ++at;
  }

  const char* const first_digit = at;
  T value = 0;
  for (; more() && *at >= '0' && *at <= '9'; ++at) {
    const T digit = static_cast<T>(*at - '0');
    if (value > MAX / 10 || (value == MAX / 10 && digit > MAX % 10)) return finish(MAX, ERANGE);
    value = static_cast<T>(value * 10 + digit);
  }
  if (at == first_digit) return finish(0, EINVAL);
  return finish(negative ? static_cast<T>(-value) : value, 0);
}

}  // namespace platform
