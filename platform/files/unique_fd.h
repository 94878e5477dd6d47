#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
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

// Opens a file as openat() does, and tries again where a signal interrupts that. None, with errno, if it fails.
inline Unique_Fd open_at(int parent, const char* path, int flags) {
  int descriptor;
  do {
    descriptor = ::openat(parent, path, flags);
  } while (descriptor < 0 && errno == EINTR);
  return Unique_Fd(descriptor);
}

// Reads as read() does, and tries again where a signal interrupts that.
inline ssize_t read_some(int file, void* buffer, std::size_t size) {
  ssize_t got;
  do {
    got = ::read(file, buffer, size);
  } while (got < 0 && errno == EINTR);
  return got;
}

}  // namespace platform
