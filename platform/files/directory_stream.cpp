#include "platform/files/directory_stream.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "platform/files/unique_fd.h"

namespace platform {
namespace {

bool is_dot_or_dot_dot(const char* name) {
  return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

}  // namespace

Directory_Stream open_directory(int parent, const char* path) {
  Unique_Fd directory = open_at(parent, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK);
  Directory_Stream stream(directory ? ::fdopendir(directory.get()) : nullptr, &::closedir);
  if (stream) directory.release();  // the stream owns it now
  return stream;
}

const dirent* next_entry(const Directory_Stream& stream) {
  const dirent* entry;
  do {
    errno = 0;
    entry = ::readdir(stream.get());  // NOLINT(concurrency-mt-unsafe): one stream, one thread
  } while (entry != nullptr && is_dot_or_dot_dot(entry->d_name));
  return entry;
}

}  // namespace platform
