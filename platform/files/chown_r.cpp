#include "platform/files/chown_r.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/files/directory_stream.h"
#include "platform/files/unique_fd.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/users/accounts.h"

namespace platform {
namespace {

constexpr int DEPTH_LIMIT = 200;  // each level holds two descriptors

bool fail_at(const char* name) {
  log_debug("Failed to change the owner of '%s': %m\n", name);
  return false;
}

bool vanished_or_failed(const char* name) {
  return errno == ENOENT || fail_at(name);
}

// The entry itself, a symbolic link included, whatever its type and mode.
Unique_Fd open_entry(int parent, const char* name) {
  return open_at(parent, name, O_PATH | O_NOFOLLOW | O_CLOEXEC);
}

bool give(const Unique_Fd& entry, const char* name, const User_Ids& owner, bool recursive, int depth);

bool give_contents(const Unique_Fd& directory, const char* name, const User_Ids& owner, int depth) {
  if (depth == DEPTH_LIMIT) {
    errno = ELOOP;
    return fail_at(name);
  }
  const Directory_Stream stream = open_directory(directory.get(), ".");
  if (!stream) return vanished_or_failed(name);

  bool ok = true;
  while (const dirent* found = next_entry(stream)) {
    const Unique_Fd entry = open_entry(::dirfd(stream.get()), found->d_name);
    const bool given = entry ? give(entry, found->d_name, owner, true, depth + 1) : vanished_or_failed(found->d_name);
    ok = given && ok;
  }
  return (errno == 0 || fail_at(name)) && ok;
}

bool give(const Unique_Fd& entry, const char* name, const User_Ids& owner, bool recursive, int depth) {
  struct stat status {};
  if (::fstat(entry.get(), &status) != 0) return fail_at(name);
  if (::fchownat(entry.get(), "", owner.uid, owner.gid, AT_EMPTY_PATH) != 0) return fail_at(name);
  return !recursive || !S_ISDIR(status.st_mode) || give_contents(entry, name, owner, depth);
}

}  // namespace

bool chown_r(const char* path, const char* user, const char* group, bool recursive) try {
  User_Ids owner{};
  if (path == nullptr || find_user(user, owner) != 0 || find_group(group, owner.gid) != 0) {
    log_debug("Failed to change the owner of '%s': no user '%s' or no group '%s'\n", path, user, group);
    return false;
  }
  const Unique_Fd entry = open_entry(AT_FDCWD, path);
  return entry ? give(entry, path, owner, recursive, 0) : fail_at(path);
} catch (...) {
  return failed();
}

}  // namespace platform
