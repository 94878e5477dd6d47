#pragma once

#include <algorithm>
#include <boost/regex.hpp>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/text/search.h"

namespace platform {

// Joins the arguments that "/proc" shows of a process by blanks, in place. Each ends with a NUL; a program that gives
// itself a title may leave many of them at the end.
inline std::string_view join_arguments(char* text, std::size_t length) {
  while (length > 0 && text[length - 1] == '\0')
    --length;
  std::replace(text, text + length, '\0', ' ');
  return {text, length};
}

// A regular expression (Boost's Perl syntax) to find in command lines.
//
// Any local user may run a process whose command line makes a search long. Texts with ".*" between them, such as a
// system's "HXE.*exe/sapstartsrv", are therefore looked for one after the other, each behind the first place of the one
// before: that finds a match if there is one, in a time that grows with the length alone.
class Command_Line_Pattern {
 public:
  // Throws what the regular expression does.
  explicit Command_Line_Pattern(const std::string& pattern) : expression_(pattern) {
    static constexpr std::string_view ANYTHING = ".*";
    std::vector<std::string> texts;
    for (std::size_t begin = 0; begin <= pattern.size();) {
      const std::size_t end = std::min(pattern.find(ANYTHING, begin), pattern.size());
      texts.push_back(pattern.substr(begin, end - begin));
      if (texts.back().find_first_of(".[]{}()*+?|^$\\") != std::string::npos) return;
      begin = end + ANYTHING.size();
    }
    texts_ = std::move(texts);
  }

  // Whether it is found in a command line. A search that grows too complex finds nothing.
  bool is_in(std::string_view command_line) const {
    return texts_.empty() ? is_expression_in(command_line) : are_texts_in(command_line);
  }

 private:
  bool are_texts_in(std::string_view command_line) const {
    std::size_t at = 0;
    for (const std::string& text : texts_) {
      at = command_line.find(text, at);
      if (at == std::string_view::npos) return false;
      at += text.size();
    }
    return true;
  }

  bool is_expression_in(std::string_view command_line) const {
    boost::match_results<std::string_view::const_iterator> match;
    return search(command_line.begin(), command_line.end(), match, expression_);
  }

  boost::regex expression_;
  std::vector<std::string> texts_;  // where the pattern consists of nothing else
};

}  // namespace platform
