#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sandbox/way.h"

namespace sandbox {

// The way that this user has on this machine. Tries it in a child; changes nothing. For Way::none, and for Way::plain,
// `reason` says what is refused, in one line.
Way probe(std::string& reason);

// Enters a sandbox without a host and runs `inside` in it, in a process that adopts and, at its end, kills whatever is
// left; the result is that of `inside`, or 128 and a signal's number. Paths below "/tmp" that `keep` names stay
// visible, each with all of its first directory; the rest of "/tmp" is the sandbox's own. In a sealed one the rest of
// the machine's files can only be read, except where namespaces are refused. The file mode mask is 022, TMPDIR is not
// set.
// Throws std::runtime_error if the sandbox cannot be entered.
int run_inside(Way way, const std::vector<std::string>& keep, bool sealed, const std::function<int()>& inside);

}  // namespace sandbox
