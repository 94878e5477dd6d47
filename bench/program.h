#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace bench {

// Starts a program with posix_spawn: `path`, or else the first argument. Its standard output is `output`, or
// "/dev/null" for -1. Its pid.
pid_t start_program(const std::vector<std::string>& arguments, int output = -1, const char* path = nullptr);

// Runs `body` in a copy of this process, which ends with it. Its pid.
pid_t start_copy(const std::function<void()>& body);

// Waits for a child and throws unless it ended with this status.
void finish(pid_t child, int expected = 0);

// Waits for a child that is ended here.
void end(pid_t child);

}  // namespace bench
