#include <cerrno>
#include <limits>
#include <string>

#include "fuzz/fuzz.h"
#include "platform/text/natoi.h"

namespace {

// The sum of the digits in a number that is wide enough, held at the maximum.
template <class T>
void number(const std::string& text) {
  constexpr auto MAX = static_cast<__int128>(std::numeric_limits<T>::max());
  const bool negative = text[0] == '-' && std::is_signed_v<T>;
  __int128 value = 0;
  std::size_t at = text[0] == '+' || negative ? 1 : 0;
  const std::size_t first = at;
  for (; text[at] >= '0' && text[at] <= '9' && value <= MAX; ++at)
    value = value * 10 + (text[at] - '0');

  const T got = platform::natoi<T>(text.data(), text.data() + text.size());
  const int wanted_error = at == first ? EINVAL : value > MAX ? ERANGE : 0;
  fuzz::expect(errno == wanted_error, "each kind of number has its error");
  fuzz::expect(got == static_cast<T>(value > MAX ? MAX
                                     : negative  ? -value
                                                 : value),
               "a number is the sum of its digits");
}

void numbers(std::string_view input) {
  const std::string text(input);
  number<std::uint16_t>(text);
  number<std::uint64_t>(text);
  number<std::int32_t>(text);
}

const bool known = fuzz::add("numbers", numbers);

}  // namespace
