#include "platform/process/line_splitter.h"

#include <cstring>

namespace platform {

void Line_Splitter::feed(const char* data, std::size_t length) {
  const char* const end = data + length;
  while (const void* found = data == end ? nullptr : std::memchr(data, '\n', static_cast<std::size_t>(end - data))) {
    const char* const newline = static_cast<const char*>(found);
    complete(data, static_cast<std::size_t>(newline - data));
    data = newline + 1;
  }
  keep(data, static_cast<std::size_t>(end - data));
}

void Line_Splitter::finish() {
  if (dropping_ || !begun_.empty()) complete("", 0);
}

void Line_Splitter::complete(const char* data, std::size_t length) {
  if (begun_.empty() && !dropping_ && length <= limit_) {
    take_line(data, length);
    return;
  }
  keep(data, length);
  if (dropping_) {
    drop_line();
  } else {
    take_line(begun_.data(), begun_.size());
  }
  begun_.clear();
  dropping_ = false;
}

void Line_Splitter::keep(const char* data, std::size_t length) {
  if (!dropping_ && length <= limit_ - begun_.size()) {
    begun_.append(data, length);
  } else {
    dropping_ = true;
    begun_ = std::string();
  }
}

}  // namespace platform
