#include "platform/process/child_watch.h"

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
#include <new>
#include <thread>

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
    if (result == pid_ && WIFEXITED(status)) return {Child_End::exited, WEXITSTATUS(status), 0};
    if (result == pid_ && WIFSIGNALED(status)) return {Child_End::killed, WTERMSIG(status), 0};
    return {Child_End::unknown, 0, 0};
  }

  pid_t pid_;
  Unique_Fd pidfd_;
  bool taken_ = false;
};

int poll_timeout(milliseconds time) {
  return time == FOREVER ? -1 : static_cast<int>(std::min<milliseconds::rep>(time.count(), 1'000'000));
}

class Watch {
 public:
  Watch(Child& child, Output_Stream (&streams)[OUTPUT_STREAMS], const Run_Limits& limits)
      : child_(child), streams_(streams), limits_(limits), room_(new (std::nothrow) char[READ_SIZE]) {}

  Child_End to_the_end() {
    const milliseconds to_end = has_output() ? limits_.to_end : FOREVER;
    while (has_output() && !ended_)
      step();
    if (ended_) read_rest();
    Child_End end = wait_for_end(to_end) ? child_.take_end() : end_it();
    end.read_error = read_error_;
    return end;
  }

 private:
  bool has_output() const { return streams_[0].pipe || streams_[1].pipe; }

  // Waits for output or the child's end, and takes what has come.
  void step() {
    pollfd events[] = {
        {streams_[0].pipe.get(), POLLIN, 0}, {streams_[1].pipe.get(), POLLIN, 0}, {child_.pidfd(), POLLIN, 0}};
    const bool sees_end = child_.pidfd() >= 0;
    const int ready = ::poll(events, std::size(events), poll_timeout(sees_end ? FOREVER : limits_.look));
    if (ready < 0 && errno != EINTR) return lose_output(errno);

    ended_ = sees_end ? events[OUTPUT_STREAMS].revents != 0 : child_.has_ended();
    if (ended_) return;
    for (std::size_t i = 0; i < OUTPUT_STREAMS; ++i) {
      if (events[i].revents != 0) read_some(streams_[i], READ_SIZE);
    }
  }

  // Takes up to `most` bytes that are there to be read. The number taken; 0 if the stream has come to its end.
  std::size_t read_some(Output_Stream& stream, std::size_t most) {
    char* const buffer = room_ ? room_.get() : little_room_;
    const std::size_t size = room_ ? READ_SIZE : sizeof(little_room_);
    const ssize_t count = platform::read_some(stream.pipe.get(), buffer, std::min(most, size));
    if (count <= 0) {
      if (count < 0) read_error_ = errno;
      close(stream);
      return 0;
    }
    stream.sink.take(buffer, static_cast<std::size_t>(count));
    return static_cast<std::size_t>(count);
  }

  // The child is gone, so all that it wrote is in the pipes. What a descendant adds from now on is not waited for.
  void read_rest() {
    for (Output_Stream& stream : streams_) {
      int held = 0;
      if (stream.pipe && ::ioctl(stream.pipe.get(), FIONREAD, &held) != 0) read_error_ = errno;
      for (auto left = static_cast<std::size_t>(held); left > 0;) {
        const std::size_t count = read_some(stream, left);
        if (count == 0) break;
        left -= count;
      }
      if (stream.pipe) close(stream);
    }
  }

  void lose_output(int error) {
    read_error_ = error;
    for (Output_Stream& stream : streams_) {
      if (stream.pipe) close(stream);
    }
  }

  static void close(Output_Stream& stream) {
    stream.pipe.reset();
    stream.sink.close();
  }

  // True once the child has ended; false if it lives on after `limit`. A child whose end cannot be waited for is looked
  // at, at first often.
  bool wait_for_end(milliseconds limit) {
    const Clock::time_point start = Clock::now();
    milliseconds pause{1};
    bool sees_end = child_.pidfd() >= 0;
    while (!ended_) {
      const auto waited = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
      if (limit != FOREVER && waited >= limit) return false;

      const milliseconds left = limit == FOREVER ? FOREVER : limit - waited;
      if (sees_end) {
        pollfd event{child_.pidfd(), POLLIN, 0};
        sees_end = ::poll(&event, 1, poll_timeout(left)) >= 0 || errno == EINTR;
        ended_ = event.revents != 0;
      } else {
        std::this_thread::sleep_for(left == FOREVER ? pause : std::min(left, pause));
        pause = std::min(pause * 2, limits_.look);
        ended_ = child_.has_ended();
      }
    }
    return true;
  }

  Child_End end_it() {
    for (const int signal : {SIGTERM, SIGKILL}) {
      child_.send(signal);
      if (wait_for_end(limits_.to_die)) break;
    }
    child_.take_end();
    return {Child_End::overdue, 0, 0};
  }

  Child& child_;
  Output_Stream (&streams_)[OUTPUT_STREAMS];
  const Run_Limits& limits_;
  std::unique_ptr<char[]> room_;
  char little_room_[1024];  // for want of memory
  bool ended_ = false;
  int read_error_ = 0;
};

}  // namespace

Child_End watch_child(pid_t pid, Output_Stream (&streams)[OUTPUT_STREAMS], const Run_Limits& limits) {
  Child child(pid);
  return Watch(child, streams, limits).to_the_end();
}

}  // namespace platform
