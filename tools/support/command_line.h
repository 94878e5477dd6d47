#pragma once

#include <getopt.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tools {

struct Tool {
  const char* name;
  const char* usage;  // what --help shows
};

// Reads options the GNU way: "--sid=HXE" or "--sid HXE", anywhere before "--", and --help (-h) and --version besides
// the tool's own. Each of its own is handed to `take`, by the number in its record, with its value, which is not empty;
// `take` is false, with the reason on standard error, for one that cannot be used.
//
// Without a value, the call is right and argv[optind] the first operand. Else the program is to end with that status: 0
// after --help and --version, 2 for a wrong call, with the reason on standard error.
std::optional<int> read_options(int argc, char** argv, const Tool& tool, std::vector<option> own,
                                const std::function<bool(int, const char*)>& take);

// Says on standard error what is wrong with a call, and where to find help. 2, the exit status for that.
int wrong_call(const Tool& tool, const std::string& reason);

}  // namespace tools
