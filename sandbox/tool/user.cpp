#include "sandbox/tool/user.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>

#include "sandbox/way.h"

namespace sandbox {

void become(const std::string& name, const std::string& path) {
  if (::geteuid() != 0 || !second_user_available()) return;
  passwd storage{};
  passwd* user = nullptr;
  char buffer[4096];
  if (!name.empty()) {
    ::getpwnam_r(name.c_str(), &storage, buffer, sizeof(buffer), &user);
  } else {
    struct stat owner {};
    if (::stat(path.c_str(), &owner) != 0) throw std::runtime_error("cannot read " + path);
    ::getpwuid_r(owner.st_uid, &storage, buffer, sizeof(buffer), &user);
  }
  if (user == nullptr) throw std::runtime_error("no such user: " + name + ", for " + path);
  if (::initgroups(user->pw_name, user->pw_gid) != 0 || ::setgid(user->pw_gid) != 0 || ::setuid(user->pw_uid) != 0)
    throw std::runtime_error(std::string("cannot become ") + user->pw_name);
}

}  // namespace sandbox
