#pragma once

#include <cstddef>
#include <string>

#include "platform/export.h"

namespace platform {

inline constexpr std::size_t FILE_CONTENT_LIMIT = 16UL * 1024 * 1024;  // bytes; real files of this kind hold kilobytes

enum class File_Read {
  DONE,
  NOT_REGULAR,  // a directory, a FIFO or a device: nothing was read
  FAILED        // errno tells why; EFBIG for a file over the limit
};

// Replaces `content` with the bytes of a regular file, as far as they go when they are read (a size that the file
// claims is not trusted, so files in /proc work). Symbolic links are followed.
// Never blocks on what is not a regular file, also where a path is exchanged for a FIFO after it was tested; a file
// under a lease is waited for as long as its holder may keep it. Needs "/proc".
// `content` is unchanged unless the result is DONE.
GUSTAIKRUM_EXPORT File_Read read_regular_file(const char* path, std::string& content,
                                              std::size_t limit = FILE_CONTENT_LIMIT);

}  // namespace platform
