#pragma once

#include <algorithm>
#include <string_view>

namespace platform {

// True if the texts are the same but for the case of the letters A to Z, whatever the locale.
inline bool equal_but_for_case(std::string_view one, std::string_view other) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [&](char a, char b) { return lower(a) == lower(b); });
}

}  // namespace platform
