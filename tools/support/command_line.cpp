#include "tools/support/command_line.h"

#include <iostream>

namespace tools {
namespace {

enum : int { HELP = 'h', VERSION = 256 };

int hint(const Tool& tool) {
  std::cerr << "Try '" << tool.name << " --help' for more information.\n";
  return 2;
}

int written() {
  return std::cout.flush() ? 0 : 2;
}

}  // namespace

std::optional<int> read_options(int argc, char** argv, const Tool& tool, std::vector<option> own,
                                const std::function<bool(int, const char*)>& take) {
  own.push_back({"help", no_argument, nullptr, HELP});
  own.push_back({"version", no_argument, nullptr, VERSION});
  own.push_back({});
  argv[0] = const_cast<char*>(tool.name);  // what getopt_long names the program by; it does not write there
  for (int found; (found = ::getopt_long(argc, argv, "h", own.data(), nullptr)) != -1;) {
    if (found == HELP) {
      std::cout << tool.usage;
      return written();
    }
    if (found == VERSION) {
      std::cout << tool.name << " " GUSTAIKRUM_VERSION "\n";
      return written();
    }
    if (found == '?') return hint(tool);
    if (optarg != nullptr && *optarg == '\0') return wrong_call(tool, "an option's value is empty");
    if (!take(found, optarg)) return 2;
  }
  return std::nullopt;
}

int wrong_call(const Tool& tool, const std::string& reason) {
  std::cerr << tool.name << ": " << reason << '\n';
  return hint(tool);
}

}  // namespace tools
