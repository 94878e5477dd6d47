#include <cerrno>
#include <ctime>
#include <limits>
#include <string>

#include "fuzz/fuzz.h"
#include "platform/text/format.h"
#include "platform/text/natoi.h"
#include "platform/text/posix_time.h"
#include "platform/text/secure_string.h"

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

constexpr char TIME_FORMAT[] = "%Y-%m-%dT%H:%M:%S%z";

void posix_time(std::string_view input) {
  const std::string text(input);
  std::time_t time = 0;
  if (!platform::local_to_posix_time(text.c_str(), time, TIME_FORMAT)) return;

  std::tm parts{};
  char written[64];
  fuzz::expect(::gmtime_r(&time, &parts) != nullptr, "a time that was read can be written");
  fuzz::expect(std::strftime(written, sizeof(written), TIME_FORMAT, &parts) > 0, "it fits");
  std::time_t again = -1;
  fuzz::expect(platform::local_to_posix_time(written, again, TIME_FORMAT) && again == time,
               "what is written reads back");
}

void texts(std::string_view input) {
  const std::string text(input);
  platform::secure_string secret(text.data(), text.size() / 2);
  for (const char c : text.substr(text.size() / 2))
    secret.push_back(c);
  fuzz::expect(std::string(secret.c_str(), secret.size()) == text, "a secure string holds what was put into it");
  fuzz::expect(secret == platform::secure_string(text.data(), text.size()), "however it got there");

  std::string formatted = text.c_str();
  fuzz::expect(platform::snprintf_t<16>("<%s>", formatted.c_str()).str() == "<" + formatted + ">", "nothing is cut");
  fuzz::expect(platform::string_sprintf(formatted, "%s", formatted.c_str()) && formatted == text.c_str(),
               "an argument may be a part of the output");
}

const bool known = fuzz::add("numbers", numbers) && fuzz::add("posix_time", posix_time) && fuzz::add("texts", texts);

}  // namespace
