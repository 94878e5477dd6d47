#include "platform/process/service_lister.h"

#include <sys/stat.h>

#include <cerrno>
#include <map>

#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/process/process_search.h"
#include "platform/text/format.h"
#include "platform/users/accounts.h"

namespace platform {
namespace {

// Who runs a process, looked up once a user.
class Owner_Names {
 public:
  // Null with errno if it cannot be told.
  const std::string* of(pid_t pid) {
    const snprintf_t<32> path("/proc/%d", static_cast<int>(pid));
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return nullptr;
    const auto [entry, is_new] = names_.try_emplace(status.st_uid);
    if (is_new) entry->second = user_name(status.st_uid);
    return &entry->second;
  }

 private:
  std::map<uid_t, std::string> names_;
};

}  // namespace

int Service_Lister::list_service(const char* pattern, std::list<Service_Info>& services, bool, const char*) const try {
  std::list<Service_Info> found;
  if (!find_processes(pattern, found)) return -1;

  Owner_Names owners;
  for (auto service = found.begin(); service != found.end();) {
    const std::string* const owner = owners.of(service->pid);
    if (owner != nullptr) {
      service->user = *owner;
      ++service;
    } else if (is_hidden_or_gone(errno)) {
      service = found.erase(service);
    } else {
      log_debug("Failed to look at process %d: %m\n", static_cast<int>(service->pid));
      return -1;
    }
  }
  services.splice(services.end(), found);
  return 0;
} catch (...) {
  failed();
  return -1;
}

}  // namespace platform
