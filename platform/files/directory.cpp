#include "platform/files/directory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <new>

#include "platform/files/directory_stream.h"
#include "platform/log/log.h"

namespace platform {
bool is_directory(const std::string& path) {
  ACE_stat status;
  return ACE_OS::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool is_regular_file(const std::string& path) {
  ACE_stat status;
  return ACE_OS::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool Directory_Reader::open(const char* path, bool, reparse_types_t) {
  stream_ = open_directory(AT_FDCWD, path);
  last_error_ = stream_ ? 0 : errno;
  return stream_ != nullptr;
}

bool Directory_Reader::read(Directory_Entry& entry) try {
  last_error_ = EBADF;
  if (!stream_) return false;

  const dirent* const next = next_entry(stream_);
  last_error_ = next == nullptr ? errno : 0;
  if (next == nullptr) return false;

  entry.name = next->d_name;
  if (::fstatat(::dirfd(stream_.get()), next->d_name, &entry.stat, AT_SYMLINK_NOFOLLOW) != 0) entry.stat = {};
  return true;
} catch (const std::bad_alloc&) {
  last_error_ = ENOMEM;
  return false;
}

Directory_Iterator::Directory_Iterator(const char* path, bool flag, reparse_types_t mask) {
  if (path == nullptr || *path == '\0') return;

  auto state = std::unique_ptr<State>(new (std::nothrow) State);
  if (!state) {
    errno = ENOMEM;
    return;
  }
  if (!state->reader_.open(path, flag, mask)) return;
  state->done_ = !state->reader_.read(state->val_);
  if (state->done_ && state->reader_.last_error() != 0) return;
  state_.reset(state.release());
}

Directory_Iterator::Directory_Iterator(const Directory_Iterator&) = default;
Directory_Iterator& Directory_Iterator::operator=(const Directory_Iterator&) = default;

// Not inlined: GCC 12 takes the second of two inlined releases of one handle for a use of what the first freed.
__attribute__((noinline)) Directory_Iterator::~Directory_Iterator() = default;

Directory_Iterator& Directory_Iterator::operator++() {
  if (!at_end()) state_->done_ = !state_->reader_.read(state_->val_);
  return *this;
}

bool Directory_Iterator::operator==(const Directory_Iterator& other) const {
  if (state_ == other.state_) return true;
  if (at_end() || other.at_end()) return at_end() && other.at_end();
  log_error("Oops, logical error on Directory_Iterator operator ==\n");
  return false;
}

boost::iterator_range<Directory_Iterator> iterate_directory(const std::string& path, bool flag, reparse_types_t mask) {
  return {Directory_Iterator(path.c_str(), flag, mask), Directory_Iterator()};
}

}  // namespace platform
