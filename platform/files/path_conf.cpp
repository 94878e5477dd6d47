#include "platform/files/path_conf.h"

namespace platform {

Path_Conf::Path_Conf(const std::string& base, bool, const std::string& component, mode_t)
    : prefix_(base + "/" + component) {}

void Path_Conf::append(const std::string& component) {
  prefix_ += '/';
  prefix_ += component;
}

void Path_Conf::fix(const std::string& placeholder, const std::string& value) {
  const std::size_t at = prefix_.find(placeholder);
  if (at != std::string::npos) prefix_.replace(at, placeholder.size(), value);
}

}  // namespace platform
