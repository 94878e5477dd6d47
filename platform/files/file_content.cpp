#include "platform/files/file_content.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/files/unique_fd.h"
#include "platform/text/format.h"

namespace platform {

File_Read read_regular_file(const char* path, std::string& content, std::size_t limit) {
  const Unique_Fd entry = open_at(AT_FDCWD, path, O_PATH | O_CLOEXEC);
  struct stat status {};
  if (!entry || ::fstat(entry.get(), &status) != 0) return File_Read::FAILED;
  if (!S_ISREG(status.st_mode)) return File_Read::NOT_REGULAR;

  // That very file, whatever its path leads to by now; and blocking, which a file under a lease or a delegation needs.
  const snprintf_t<32> itself("/proc/self/fd/%d", entry.get());
  const Unique_Fd file = open_at(AT_FDCWD, itself.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (!file) return File_Read::FAILED;

  std::string bytes;
  std::array<char, 32768> buffer;
  do {
    const ssize_t got = read_some(file.get(), buffer.data(), buffer.size());
    if (got < 0) return File_Read::FAILED;
    if (got == 0) break;
    bytes.append(buffer.data(), static_cast<std::size_t>(got));
    if (bytes.size() > limit) {
      errno = EFBIG;
      return File_Read::FAILED;
    }
  } while (static_cast<off_t>(bytes.size()) != status.st_size);  // it is 0 for what the kernel makes as it is read
  content.swap(bytes);
  return File_Read::DONE;
}

}  // namespace platform
