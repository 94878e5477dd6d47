#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>

#include "platform/files/unique_fd.h"

namespace platform {

// Receives what a child writes to one of its streams, as it comes. Throws nothing.
class Output_Sink {
 public:
  virtual ~Output_Sink() = default;
  virtual void take(const char* data, std::size_t length) = 0;
  virtual void close() = 0;
};

// A stream of a child.
struct Output_Stream {
  Unique_Fd pipe;  // none if it is not captured
  Output_Sink& sink;
};

enum { OUTPUT_STREAMS = 2 };

// How long a child that has closed its output may live on, and how its end is noticed.
struct Run_Limits {
  std::chrono::milliseconds to_end;  // before it gets SIGTERM
  std::chrono::milliseconds to_die;  // between SIGTERM and SIGKILL, and after that
  std::chrono::milliseconds look;    // between two looks at it, where it has no pidfd
};

struct Child_End {
  enum Kind {
    exited,   // value: exit status
    killed,   // value: signal
    unknown,  // somebody else took its status, or the caller ignores SIGCHLD
    overdue   // ended by us, or not even that; value: unused
  };
  Kind kind;
  int value;
  int read_error;  // the errno for which some of its output was not read; 0 if all was
};

// Feeds a child's output to the sinks until the child has ended, and takes its status. A child with open output has no
// time limit. Its end is seen at once: what it had written is read, and the call returns although a descendant may
// hold a pipe open or go on writing. A child without captured output is waited for without limit.
//
// `pid` is an unwaited child of this process. The pipes are closed on return.
Child_End watch_child(pid_t pid, Output_Stream (&streams)[OUTPUT_STREAMS], const Run_Limits& limits);

}  // namespace platform
