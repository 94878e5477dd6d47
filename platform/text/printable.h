#pragma once

#include <string>
#include <string_view>

namespace platform {

// The text with each control character but the tab as "\xNN", so that whoever chose it can neither begin a line of a
// log nor command the terminal that shows it. UTF-8 stays, but for the control characters that it has besides (two
// bytes, C2 80 to C2 9F).
inline std::string printable(std::string_view text) {
  const auto byte = [&](std::size_t at) { return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U; };
  constexpr char DIGITS[] = "0123456789ABCDEF";
  std::string shown;
  shown.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool high = byte(at) == 0xC2 && byte(at + 1) >= 0x80 && byte(at + 1) < 0xA0;
    if (!high && byte(at) != 0x7F && (byte(at) >= 0x20 || byte(at) == '\t')) {
      shown += text[at];
      continue;
    }
    const unsigned escaped = byte(high ? ++at : at);
    shown.append("\\x").append(1, DIGITS[escaped / 16]).append(1, DIGITS[escaped % 16]);
  }
  return shown;
}

}  // namespace platform
