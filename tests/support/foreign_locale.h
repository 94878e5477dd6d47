#pragma once

#include <locale>

namespace test {

// While it lives, the program has a locale in which no letter has another case, as "I" has none in a Turkish one.
class Foreign_Locale {
 public:
  Foreign_Locale() : before_(std::locale::global(std::locale(std::locale::classic(), new Caseless))) {}
  ~Foreign_Locale() { std::locale::global(before_); }
  Foreign_Locale(const Foreign_Locale&) = delete;
  Foreign_Locale& operator=(const Foreign_Locale&) = delete;

 private:
  struct Caseless : std::ctype<char> {
    char do_tolower(char c) const override { return c; }
    const char* do_tolower(char*, const char* end) const override { return end; }
    char do_toupper(char c) const override { return c; }
    const char* do_toupper(char*, const char* end) const override { return end; }
  };

  const std::locale before_;
};

}  // namespace test
