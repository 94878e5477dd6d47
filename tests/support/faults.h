#pragma once

#include <cstddef>

namespace test {

// A kind of call that a program may see fail, and how. Errors are errno values, but for libcurl's own codes; a negative
// one lasts: every later call fails as well.
struct Call_Kind {
  const char* name;
  int errors[4];  // up to the first 0
};

extern const Call_Kind CALL_KINDS[];
extern const std::size_t CALL_KIND_COUNT;

// While it lives, the n-th call of one kind that this thread makes, directly or through a library, fails, and no pause
// takes any time. Calls of a child count until it runs a program of its own. There is one at a time.
//
// A program that is linked with this stands between the C library and all the others in it.
class Fault {
 public:
  Fault(std::size_t kind, int error, long nth);
  ~Fault();
  Fault(const Fault&) = delete;
  Fault& operator=(const Fault&) = delete;

  // How many calls of the kind there were.
  long calls() const;
};

// Code of the test's own that runs meanwhile; nothing fails in it.
class Fault_Pause {
 public:
  Fault_Pause();
  ~Fault_Pause();
  Fault_Pause(const Fault_Pause&) = delete;
  Fault_Pause& operator=(const Fault_Pause&) = delete;

 private:
  bool was_armed_;
};

// Bytes that this thread has allocated and not released, since it began.
long held_memory();

}  // namespace test
