#include "platform/files/file_content.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/files/unique_fd.h"

namespace platform {
namespace {

ssize_t read_some(int file, char* buffer, std::size_t size) {
  ssize_t got;
  do {
    got = ::read(file, buffer, size);
  } while (got < 0 && errno == EINTR);
  return got;
}

}  // namespace

File_Read read_regular_file(const char* path, std::string& content, std::size_t limit) {
  const Unique_Fd file(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file) return File_Read::FAILED;

  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return File_Read::FAILED;
  if (!S_ISREG(status.st_mode)) return File_Read::NOT_REGULAR;

  std::string bytes;
  std::array<char, 32768> buffer;
  for (;;) {
    const ssize_t got = read_some(file.get(), buffer.data(), buffer.size());
    if (got < 0) return File_Read::FAILED;
    if (got == 0) break;
    bytes.append(buffer.data(), static_cast<std::size_t>(got));
    if (bytes.size() > limit) {
      errno = EFBIG;
      return File_Read::FAILED;
    }
  }
  content.swap(bytes);
  return File_Read::DONE;
}

}  // namespace platform
