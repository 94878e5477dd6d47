#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace sandbox {

// Runs a program to its end with just this environment, its output appended to the file `log`, and returns its exit
// status; 128 and the signal if one killed it. Throws std::system_error if it cannot be started.
int run(const std::vector<std::string>& arguments, const std::vector<std::string>& environment, const std::string& log);

// The pid that the file holds, if that is still a process of the host's; else 0.
pid_t running_pid(const std::string& pid_file);

// Sends the signal and waits until the process is gone and reaped by whoever has to; false if that takes longer than
// ten seconds.
bool end(pid_t pid, int signal);

// Ends every process that has a pid file.
void end_recorded();

// Kills every process below this one that is left, and reaps them. For a process that is a subreaper.
void kill_descendants();

}  // namespace sandbox
