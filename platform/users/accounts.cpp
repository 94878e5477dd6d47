#include "platform/users/accounts.h"

#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <vector>

#include "platform/log/log.h"

namespace platform {
namespace {

// Runs `look_up(record, buffer, size, found)` with a buffer that grows until the record fits, and hands a record that
// was found to `take`. 0, or the error number; ENOENT if there is none.
template <class Record, class Look_Up, class Take>
int with_record(Look_Up look_up, Take take) {
  std::vector<char> buffer(4096);
  Record record{};
  Record* found = nullptr;
  int error;
  while ((error = look_up(&record, buffer.data(), buffer.size(), &found)) == ERANGE || error == EINTR) {
    if (error == ERANGE) buffer.resize(buffer.size() * 2);
  }
  if (error != 0) return error;
  if (found == nullptr) return ENOENT;
  take(*found);
  return 0;
}

}  // namespace

int find_user(const char* name, User_Ids& ids) {
  if (name == nullptr) return ENOENT;
  return with_record<passwd>([name](auto... room) { return ::getpwnam_r(name, room...); },
                             [&ids](const passwd& user) {
                               ids = {user.pw_uid, user.pw_gid};
                             });
}

int find_group(const char* name, gid_t& id) {
  if (name == nullptr) return ENOENT;
  return with_record<group>([name](auto... room) { return ::getgrnam_r(name, room...); },
                            [&id](const group& found) { id = found.gr_gid; });
}

std::string user_name(uid_t id) {
  std::string name = std::to_string(id);
  const int error = with_record<passwd>([id](auto... room) { return ::getpwuid_r(id, room...); },
                                        [&name](const passwd& user) { name = user.pw_name; });
  if (error != 0 && error != ENOENT) log_debug("Failed to look up user %s: error %d\n", name.c_str(), error);
  return name;
}

}  // namespace platform
