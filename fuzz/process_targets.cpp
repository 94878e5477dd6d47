#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/fuzz.h"
#include "platform/process/line_splitter.h"
#include "platform/process/process_options.h"

namespace {

using Lines = std::vector<std::string>;
constexpr char DROPPED[] = "\n";  // no line holds a newline

// All at once, without a thought of speed.
Lines obvious_lines(std::string_view text, std::size_t limit) {
  Lines lines;
  while (!text.empty()) {
    const std::size_t newline = text.find('\n');
    const std::string_view line = text.substr(0, newline);
    lines.emplace_back(line.size() > limit ? DROPPED : line);
    text.remove_prefix(std::min(text.size(), line.size() + 1));
  }
  return lines;
}

struct Keeper : platform::Line_Splitter {
  using Line_Splitter::Line_Splitter;
  void take_line(const char* line, std::size_t length) override { found.emplace_back(line, length); }
  void drop_line() override { found.emplace_back(DROPPED); }
  Lines found;
};

// Input: the limit, a pattern of piece sizes, the text.
void lines(std::string_view input) {
  const std::size_t limit = fuzz::take_byte(input);
  const std::size_t first = fuzz::take_byte(input);
  const std::size_t second = fuzz::take_byte(input);

  Keeper splitter(limit);
  for (std::size_t at = 0, piece = 0; at < input.size(); ++piece) {
    const std::size_t size = std::min(1 + (piece % 2 == 0 ? first : second), input.size() - at);
    splitter.feed(input.data() + at, size);
    at += size;
  }
  splitter.finish();
  fuzz::expect(splitter.found == obvious_lines(input, limit), "pieces of any size give the same lines");
}

// A text between quotes, cut at NUL characters: what is put between quotes comes out as one argument.
void command_line(std::string_view input) {
  const std::string text(input.substr(0, input.find('\0')));
  platform::Process_Options options;
  const bool taken = options.command_line("/bin/tool \"%s\" %s", text.c_str(), text.c_str()) == 0;
  fuzz::expect(taken == options.fault().empty(), "a refusal leaves a fault");
  if (!taken) {
    fuzz::expect(options.command_line_argv()[0] == nullptr, "nothing refused can be run");
    return;
  }

  char* const* const arguments = options.command_line_argv();
  fuzz::expect(std::string("/bin/tool") == arguments[0], "the program is what it was");
  if (text.find('"') == std::string::npos) fuzz::expect(text == arguments[1], "quoted text is one argument");
}

const bool known = fuzz::add("lines", lines) && fuzz::add("command_line", command_line);

}  // namespace
