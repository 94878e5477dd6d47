#include "examples/support/terminal.h"

#include <ace/Log_Msg.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace example {
namespace {

bool terminal_has_colour() {
  const char* const refused = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): the only thread
  const char* const terminal = std::getenv("TERM");     // NOLINT(concurrency-mt-unsafe): the only thread
  return ::isatty(STDOUT_FILENO) && (refused == nullptr || *refused == '\0') && terminal != nullptr &&
         std::string(terminal) != "dumb";
}

}  // namespace

std::string styled(Style style, const std::string& text) {
  static const bool colour = terminal_has_colour();
  static const char* const codes[] = {"0", "1", "32", "2"};
  return colour && style != PLAIN ? std::string("\033[") + codes[style] + "m" + text + "\033[0m" : text;
}

std::string printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return std::iscntrl(c) != 0; }, '?');
  return text;
}

std::string or_unknown(const std::string& text) {
  return text.empty() ? styled(DIM, "unknown") : printable(text);
}

void print_field(const char* name, const std::string& value) {
  std::printf("    %-14s%s\n", name, value.c_str());
}

std::string count(std::size_t number, const std::string& thing) {
  return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

std::string join(const std::list<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts)
    joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

void log_errors_only() {
  ACE_LOG_MSG->priority_mask(LM_ERROR | LM_CRITICAL | LM_ALERT | LM_EMERGENCY, ACE_Log_Msg::PROCESS);
  ACE_LOG_MSG->priority_mask(0, ACE_Log_Msg::THREAD);
}

Quiet::Quiet() : mask_(ACE_LOG_MSG->priority_mask(0, ACE_Log_Msg::PROCESS)) {}

Quiet::~Quiet() {
  ACE_LOG_MSG->priority_mask(mask_, ACE_Log_Msg::PROCESS);
}

}  // namespace example
