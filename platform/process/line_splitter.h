#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

namespace platform {

// Cuts a stream of bytes into lines: text between newlines, whatever else it holds. A line that lies whole in one
// piece is handed on from there, uncopied. A line longer than the limit is dropped as a whole.
//
// `Take` is called as take(const char* line, std::size_t length) for each line, without its newline;
// `Drop` as drop() for each line that was too long.
template <class Take, class Drop>
class Line_Splitter {
 public:
  Line_Splitter(std::size_t limit, Take take, Drop drop)
      : limit_(limit), take_(std::move(take)), drop_(std::move(drop)) {}

  void feed(const char* data, std::size_t length) {
    const char* const end = data + length;
    while (const void* found = data == end ? nullptr : std::memchr(data, '\n', static_cast<std::size_t>(end - data))) {
      const char* const newline = static_cast<const char*>(found);
      complete(data, static_cast<std::size_t>(newline - data));
      data = newline + 1;
    }
    keep(data, static_cast<std::size_t>(end - data));
  }

  // Hands on a last line that has no newline.
  void finish() {
    if (dropping_ || !begun_.empty()) complete("", 0);
  }

 private:
  void complete(const char* data, std::size_t length) {
    if (begun_.empty() && !dropping_ && length <= limit_) {
      take_(data, length);
      return;
    }
    keep(data, length);
    if (dropping_) {
      drop_();
    } else {
      take_(begun_.data(), begun_.size());
    }
    begun_.clear();
    dropping_ = false;
  }

  void keep(const char* data, std::size_t length) {
    if (!dropping_ && length <= limit_ - begun_.size()) {
      begun_.append(data, length);
    } else {
      dropping_ = true;
      begun_ = std::string();
    }
  }

  std::size_t limit_;
  Take take_;
  Drop drop_;
  std::string begun_;      // the part of a line that came without its newline
  bool dropping_ = false;  // that line is too long already
};

}  // namespace platform
