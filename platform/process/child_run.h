#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>

#include "platform/files/unique_fd.h"

namespace platform {

// The two output streams of a child; in arrays indexed by Output_Stream, a closed descriptor is one not captured.
enum Output_Stream { OUTPUT_STDOUT = 0, OUTPUT_STDERR = 1, OUTPUT_STREAMS = 2 };

// Receives what a child writes, as it comes.
class Output_Sink {
 public:
  virtual ~Output_Sink() = default;
  virtual void output(Output_Stream stream, const char* data, std::size_t length) = 0;
  virtual void closed(Output_Stream stream) = 0;
};

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
};

// Feeds a child's output to `sink` until the child has ended, and takes its status. A child with open output has no
// time limit. Its end is seen at once: what it had written is read, and the call returns although a descendant may
// hold a pipe open or go on writing. A child without captured output is waited for without limit.
//
// `pid` is an unwaited child of this process. The descriptors are closed on return.
Child_End run_child(pid_t pid, Unique_Fd (&streams)[OUTPUT_STREAMS], Output_Sink& sink, const Run_Limits& limits);

}  // namespace platform
