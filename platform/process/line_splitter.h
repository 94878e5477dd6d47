#pragma once

#include <cstddef>
#include <string>

namespace platform {

// Cuts a stream of bytes into lines: text between newlines, whatever else it holds. A line that lies whole in one
// piece is handed on from there, uncopied. A line longer than the limit is dropped as a whole.
class Line_Splitter {
 public:
  explicit Line_Splitter(std::size_t limit) : limit_(limit) {}
  virtual ~Line_Splitter() = default;

  void feed(const char* data, std::size_t length);

  // Hands on a last line that has no newline.
  void finish();

 protected:
  virtual void take_line(const char* line, std::size_t length) = 0;  // without its newline
  virtual void drop_line() = 0;                                      // one that was too long

 private:
  void complete(const char* data, std::size_t length);
  void keep(const char* data, std::size_t length);

  std::size_t limit_;
  std::string begun_;      // the part of a line that came without its newline
  bool dropping_ = false;  // that line is too long already
};

}  // namespace platform
