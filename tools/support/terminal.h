#pragma once

#include <list>
#include <string>

namespace tools {

enum Style { PLAIN, BOLD, GREEN, RED, DIM };

// The text in a style, where standard output is a terminal that has colours.
std::string styled(Style style, const std::string& text);

// The text as platform::printable() gives it, or "unknown" for an empty one.
std::string or_unknown(const std::string& text);

// "yes" or "no" where an INI file's value says so in other words, else as or_unknown().
std::string yes_or_no(const std::string& value);

// One line of a report: a name in its column and a value, which is printed as it is.
void print_field(const char* name, const std::string& value);

// The same for a list, "title: a, b, c" or "a, b, c", in as many lines as it takes to fit 80 columns; an item is never
// broken.
void print_list(const char* name, const std::string& title, const std::list<std::string>& items);

// "1 system", "2 systems".
std::string count(std::size_t number, const std::string& thing);

// Lets the library's messages from LM_ERROR on through to standard error; what explains them is left out.
void log_errors_only();

}  // namespace tools
