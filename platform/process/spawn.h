#pragma once

#include <sys/types.h>

#include <vector>

namespace platform {

// Whom a child is to run as: real, effective and saved ids alike.
struct Child_Identity {
  uid_t uid;
  gid_t gid;
  std::vector<gid_t> groups;  // supplementary, in any order
};

struct Spawn_Request {
  char* const* arguments;    // null-terminated; the first is the program's path, taken as it is
  char* const* environment;  // null-terminated
  int standard_output = -1;  // -1 for "/dev/null"; else 3 or above
  int standard_error = -1;
  const Child_Identity* identity = nullptr;  // null to stay whoever the caller is
};

// Starts a child: standard input is "/dev/null", no other descriptor is inherited, no signal is blocked and none is
// ignored. The cost depends neither on the caller's memory (but for a change of user, which copies its page tables)
// nor on its descriptor limit. Any number of threads may spawn at once.
//
// A child with another identity has a session of its own, so that it cannot type into the caller's terminal. A caller
// who is that user already, but has other groups and may not set them, keeps its own.
//
// Returns the child's pid once the program runs; the child is the caller's to wait for. -1 with errno if it does not
// run, whether the descriptors, the user or the program itself was refused; then nothing is left of it.
pid_t start_child(const Spawn_Request& request);

}  // namespace platform
