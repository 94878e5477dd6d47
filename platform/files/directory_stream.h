#pragma once

#include <dirent.h>

#include <memory>

namespace platform {

// An open directory; its descriptor is ::dirfd(stream.get()).
using Directory_Stream = std::unique_ptr<DIR, int (*)(DIR*)>;

// Opens `path`, where it is relative below the directory `parent` (or AT_FDCWD). Null with errno if that fails.
Directory_Stream open_directory(int parent, const char* path);

// The next entry other than "." and ".."; valid until the next call. Null with errno at the end (0) and on an error.
const dirent* next_entry(const Directory_Stream& stream);

}  // namespace platform
