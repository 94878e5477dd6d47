#include "platform/process/child_run.h"

#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <memory>

#ifndef SYS_pidfd_open
#define SYS_pidfd_send_signal 424
#define SYS_pidfd_open 434
#endif

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t READ_SIZE = std::size_t{256} * 1024;
constexpr milliseconds FOREVER{-1};

// A child that has not been waited for. Its destructor leaves no zombie, whatever interrupted the run.
class Child {
 public:
  explicit Child(pid_t pid) : pid_(pid), pidfd_(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0))) {}
  ~Child() {
    if (taken_) return;
    send(SIGKILL);
    take(0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Readable once the child has ended; -1 where the kernel has no such thing or no descriptor is left.
  int pidfd() const { return pidfd_.get(); }

  bool has_ended() const {
    siginfo_t info{};
    int result = 0;
    do {
      result = ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT);
    } while (result != 0 && errno == EINTR);
    return result != 0 || info.si_pid != 0;  // an error: there is no such child any more
  }

  void send(int signal) const {
    if (pidfd_) {
      ::syscall(SYS_pidfd_send_signal, pidfd_.get(), signal, nullptr, 0);
    } else if (!has_ended()) {
      ::kill(pid_, signal);
    }
  }

  // Takes the status of a child that has ended.
  Child_End take_end() { return take(WNOHANG); }

 private:
  Child_End take(int options) {
    taken_ = true;
    int status = 0;
    pid_t result = 0;
    do {
      result = ::waitpid(pid_, &status, options);
    } while (result < 0 && errno == EINTR);
    if (result == pid_ && WIFEXITED(status)) return {Child_End::exited, WEXITSTATUS(status)};
    if (result == pid_ && WIFSIGNALED(status)) return {Child_End::killed, WTERMSIG(status)};
    return {Child_End::unknown, 0};
  }

  pid_t pid_;
  Unique_Fd pidfd_;
  bool taken_ = false;
};

int poll_timeout(milliseconds time) {
  return time == FOREVER ? -1 : static_cast<int>(std::min<milliseconds::rep>(time.count(), 1'000'000));
}

class Run {
 public:
  Run(Child& child, Unique_Fd (&streams)[OUTPUT_STREAMS], Output_Sink& sink, const Run_Limits& limits)
      : child_(child), streams_(streams), sink_(sink), limits_(limits), buffer_(new char[READ_SIZE]) {}

  Child_End to_the_end() {
    const milliseconds to_end = has_output() ? limits_.to_end : FOREVER;
    while (has_output() && !ended_)
      step();
    if (ended_) read_rest();
    if (wait_for_end(to_end)) return child_.take_end();

    for (const int signal : {SIGTERM, SIGKILL}) {
      child_.send(signal);
      if (wait_for_end(limits_.to_die)) break;
    }
    child_.take_end();
    return {Child_End::overdue, 0};
  }

 private:
  bool has_output() const { return streams_[OUTPUT_STDOUT] || streams_[OUTPUT_STDERR]; }

  // Waits for output or the child's end, and takes what has come.
  void step() {
    pollfd events[] = {{streams_[OUTPUT_STDOUT].get(), POLLIN, 0},
                       {streams_[OUTPUT_STDERR].get(), POLLIN, 0},
                       {child_.pidfd(), POLLIN, 0}};
    const bool sees_end = child_.pidfd() >= 0;
    ::poll(events, std::size(events), poll_timeout(sees_end ? FOREVER : limits_.look));  // interrupted: no events

    ended_ = sees_end ? events[OUTPUT_STREAMS].revents != 0 : child_.has_ended();
    if (ended_) return;
    for (const Output_Stream stream : {OUTPUT_STDOUT, OUTPUT_STDERR}) {
      if (events[stream].revents != 0) read_some(stream, READ_SIZE);
    }
  }

  // Takes up to `most` bytes that are there to be read. The number taken; 0 at the end of the stream.
  std::size_t read_some(Output_Stream stream, std::size_t most) {
    ssize_t count = 0;
    do {
      count = ::read(streams_[stream].get(), buffer_.get(), std::min(most, READ_SIZE));
    } while (count < 0 && errno == EINTR);

    if (count <= 0) {
      close(stream);
      return 0;
    }
    sink_.output(stream, buffer_.get(), static_cast<std::size_t>(count));
    return static_cast<std::size_t>(count);
  }

  // The child is gone, so all that it wrote is in the pipes. What a descendant adds from now on is not waited for.
  void read_rest() {
    for (const Output_Stream stream : {OUTPUT_STDOUT, OUTPUT_STDERR}) {
      int held = 0;
      if (streams_[stream]) ::ioctl(streams_[stream].get(), FIONREAD, &held);
      for (auto left = static_cast<std::size_t>(held); left > 0;) {
        const std::size_t count = read_some(stream, left);
        if (count == 0) break;
        left -= count;
      }
      if (streams_[stream]) close(stream);
    }
  }

  void close(Output_Stream stream) {
    streams_[stream].reset();
    sink_.closed(stream);
  }

  // True once the child has ended; false if it lives on after `limit`. Without a pidfd it is looked at, at first often.
  bool wait_for_end(milliseconds limit) {
    const Clock::time_point start = Clock::now();
    milliseconds pause{1};
    while (!ended_) {
      const auto waited = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
      if (limit != FOREVER && waited >= limit) return false;

      milliseconds wait = limit == FOREVER ? FOREVER : limit - waited;
      if (child_.pidfd() < 0) {
        wait = limit == FOREVER ? pause : std::min(wait, pause);
        pause = std::min(pause * 2, limits_.look);
      }
      pollfd event{child_.pidfd(), POLLIN, 0};
      ::poll(&event, 1, poll_timeout(wait));
      ended_ = event.revents != 0 || (child_.pidfd() < 0 && child_.has_ended());
    }
    return true;
  }

  Child& child_;
  Unique_Fd (&streams_)[OUTPUT_STREAMS];
  Output_Sink& sink_;
  const Run_Limits& limits_;
  std::unique_ptr<char[]> buffer_;
  bool ended_ = false;
};

}  // namespace

Child_End run_child(pid_t pid, Unique_Fd (&streams)[OUTPUT_STREAMS], Output_Sink& sink, const Run_Limits& limits) {
  Child child(pid);
  return Run(child, streams, sink, limits).to_the_end();
}

}  // namespace platform
