#include "hana/common/start_service.h"

#include <boost/algorithm/string/case_conv.hpp>

namespace sap_hana {

std::string administrator_of(const std::string& sid) {
  return boost::algorithm::to_lower_copy(sid) + "adm";
}

bool is_root_by_its_file(const platform::Service_Info& service) {
  return service.user == "root" && platform::has_gained_rights(service.pid);
}

bool is_genuine(const platform::Service_Info& service, const std::string& sid) {
  if (service.user == "root") return !is_root_by_its_file(service);
  return service.user == administrator_of(sid);
}

}  // namespace sap_hana
