#include "tools/support/terminal.h"

#include <ace/Log_Msg.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "platform/text/printable.h"

namespace tools {
namespace {

constexpr std::size_t COLUMNS = 80;
constexpr std::size_t VALUE_COLUMN = 18;

bool terminal_has_colour() {
  const char* const refused = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  return ::isatty(STDOUT_FILENO) && (refused == nullptr || *refused == '\0') && terminal != nullptr &&
         std::string(terminal) != "dumb";
}

// The columns that UTF-8 text takes, whose styles take none.
std::size_t width(const std::string& text) {
  std::size_t columns = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '\033') {
      at = text.find('m', at);
    } else if ((static_cast<unsigned char>(text[at]) & 0xC0U) != 0x80) {
      ++columns;
    }
  }
  return columns;
}

}  // namespace

std::string styled(Style style, const std::string& text) {
  static const bool colour = terminal_has_colour();
  static const char* const codes[] = {"0", "1", "32", "1;31", "2"};
  return colour && style != PLAIN ? std::string("\033[") + codes[style] + "m" + text + "\033[0m" : text;
}

std::string or_unknown(const std::string& text) {
  return text.empty() ? styled(DIM, "unknown") : platform::printable(text);
}

std::string yes_or_no(const std::string& value) {
  return value == "true" ? "yes" : value == "false" ? "no" : or_unknown(value);
}

void print_field(const char* name, const std::string& value) {
  std::printf("    %-*s%s\n", static_cast<int>(VALUE_COLUMN) - 4, name, value.c_str());
}

void print_list(const char* name, const std::string& title, const std::list<std::string>& items) {
  std::string line = title + (title.empty() || items.empty() ? "" : ":");
  for (const std::string& item : items) {
    const std::string word = &item == &items.back() ? item : item + ",";
    if (!line.empty() && VALUE_COLUMN + width(line) + 1 + width(word) > COLUMNS) {
      print_field(name, line);
      name = "";
      line.clear();
    }
    line.append(line.empty() ? "" : " ").append(word);
  }
  print_field(name, line);
}

std::string count(std::size_t number, const std::string& thing) {
  return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

void log_errors_only() {
  ACE_LOG_MSG->priority_mask(LM_ERROR | LM_CRITICAL | LM_ALERT | LM_EMERGENCY, ACE_Log_Msg::PROCESS);
  ACE_LOG_MSG->priority_mask(0, ACE_Log_Msg::THREAD);
}

}  // namespace tools
