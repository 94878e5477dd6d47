#pragma once

#include <list>
#include <string>

namespace example {

enum Style { PLAIN, BOLD, GREEN, DIM };

// The text in a style, where standard output is a terminal that has colours.
std::string styled(Style style, const std::string& text);

// What is shown was set by whoever started the processes: nothing of it may command the terminal.
std::string printable(std::string text);

// "unknown" for an empty text.
std::string or_unknown(const std::string& text);

// One line of a report: a name in its column and a value, which is printed as it is.
void print_field(const char* name, const std::string& value);

// "1 system", "2 systems".
std::string count(std::size_t number, const std::string& thing);

// "a, b, c".
std::string join(const std::list<std::string>& texts);

// Lets the library's messages from LM_ERROR on through to standard error; what explains them is left out.
void log_errors_only();

// Takes the library's messages away while it lives: what is asked for meanwhile may well be missing.
class Quiet {
 public:
  Quiet();
  ~Quiet();
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  unsigned long mask_;
};

}  // namespace example
