#include "platform/text/format.h"

#include "platform/log/failed.h"

namespace platform {

bool string_vsprintf(std::string& output, const char* format, std::va_list args) try {
  std::va_list again;
  va_copy(again, args);
  const int length = std::vsnprintf(nullptr, 0, format, args);

  std::string text;
  if (length >= 0) {
    text.resize(static_cast<std::size_t>(length));
    static_cast<void>(std::vsnprintf(text.data(), text.size() + 1, format, again));
    output.swap(text);
  }
  va_end(again);
  return length >= 0;
} catch (...) {
  return failed();
}

bool string_sprintf(std::string& output, const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const bool ok = string_vsprintf(output, format, args);
  va_end(args);
  return ok;
}

}  // namespace platform
