#pragma once

#include <unistd.h>

#include <utility>

namespace platform {

// Owns a file descriptor and closes it. Movable, not copyable.
class Unique_Fd {
 public:
  Unique_Fd() = default;
  explicit Unique_Fd(int fd) : fd_(fd) {}
  Unique_Fd(Unique_Fd&& other) noexcept : fd_(other.release()) {}
  Unique_Fd& operator=(Unique_Fd&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~Unique_Fd() { reset(); }

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }
  int release() { return std::exchange(fd_, -1); }
  void reset(int fd = -1) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }

 private:
  int fd_ = -1;
};

}  // namespace platform
