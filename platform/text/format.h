#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <new>
#include <string>

#include "platform/export.h"

namespace platform {

// Replaces `output` with the text that printf() would make of the rest. The arguments may point into `output`.
// False if the format cannot be carried out, or, with a message, where memory runs out; `output` is unchanged then.
GUSTAIKRUM_EXPORT bool string_sprintf(std::string& output, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
GUSTAIKRUM_EXPORT bool string_vsprintf(std::string& output, const char* format, std::va_list args)
    __attribute__((format(printf, 2, 0)));

// A short text made as printf() makes it: kept in the object up to N - 1 characters, on the heap beyond, never cut.
// Empty if the format cannot be carried out. Throws std::bad_alloc where memory runs out.
template <std::size_t N>
class snprintf_t {
 public:
  // `format` and what follows as printf() takes them; nothing of them is kept.
  explicit snprintf_t(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    std::va_list args;
    va_start(args, format);
    std::va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(inside_, N, format, args);
    va_end(args);

    if (length < 0) {
      inside_[0] = '\0';
    } else if (static_cast<std::size_t>(length) >= N && !string_vsprintf(outside_, format, again)) {
      throw std::bad_alloc();  // what is inside is cut
    }
    va_end(again);
  }

  // The text, NUL-terminated and as long-lived as this object, or a copy of it.
  const char* c_str() const { return outside_.empty() ? inside_ : outside_.c_str(); }
  std::string str() const { return c_str(); }

 private:
  char inside_[N];
  std::string outside_;
};

}  // namespace platform
