#include "hana/common/detail/start_service.h"

#include <boost/algorithm/string/case_conv.hpp>

#include "platform/process/process_identity.h"
#include "platform/users/accounts.h"

namespace sap_hana {
namespace {

constexpr int ATTEMPTS = 5;  // a true one may be busy for a moment, a process that changes itself for ever

}  // namespace

std::string administrator_of(const std::string& sid) {
  return boost::algorithm::to_lower_copy(sid) + "adm";
}

bool read_start_service(pid_t pid, Start_Service& service) {
  for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
    service = {};
    const platform::Process_Identity identity(pid);
    if (!Environ_Getter::instance()->get(pid, service.environment)) return false;
    if (!identity.is_unchanged()) continue;
    service.user = identity.user();
    break;
  }
  return true;
}

std::string believed_user(const Start_Service& service, const std::string& sid) {
  if (service.user == uid_t{0}) return "root";
  const std::string administrator = administrator_of(sid);
  platform::User_Ids ids{};
  const bool is_administrators = platform::find_user(administrator.c_str(), ids) == 0 && service.user == ids.uid;
  return is_administrators ? administrator : "";
}

}  // namespace sap_hana
