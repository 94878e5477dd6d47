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

// How a child is kept from inheriting the caller's descriptors.
enum class Descriptor_Closing {
  by_range,  // in one call, where the C library and the kernel can; else one by one
  one_by_one
};

struct Spawn_Request {
  char* const* arguments;    // null-terminated; the first is the program's path, taken as it is
  char* const* environment;  // null-terminated
  int standard_output = -1;  // -1 for "/dev/null"; else 3 or above
  int standard_error = -1;
  const Child_Identity* identity = nullptr;  // null to stay whoever the caller is
  Descriptor_Closing closing = Descriptor_Closing::by_range;
};

// Starts a child: standard input is "/dev/null", no other descriptor is inherited, no signal is blocked and none is
// ignored. The cost depends neither on the caller's memory (but for a change of user, which copies its page tables)
// nor on its descriptor limit. Any number of threads may spawn at once.
//
// Returns the child's pid once the program runs; the child is the caller's to wait for. -1 with errno if it does not
// run, whether the descriptors, the user or the program itself was refused; then nothing is left of it.
pid_t spawn(const Spawn_Request& request);

}  // namespace platform
