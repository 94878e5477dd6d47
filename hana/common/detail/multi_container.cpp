#include "hana/common/detail/multi_container.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <stdexcept>

#include "platform/files/file_content.h"
#include "platform/files/ini_file.h"
#include "platform/log/log.h"
#include "platform/text/format.h"

namespace sap_hana {
namespace {

bool is_lasting(int error) {
  constexpr int LASTING[] = {ENOENT, ENOTDIR, EACCES, EPERM, ELOOP, ENAMETOOLONG, EFBIG};
  return std::find(std::begin(LASTING), std::end(LASTING), error) != std::end(LASTING);
}

}  // namespace

std::optional<bool> look_for_containers(const std::string& sid) {
  const platform::snprintf_t<4096> path("/usr/sap/%s/SYS/global/hdb/custom/config/global.ini", sid.c_str());
  std::string content;
  const platform::File_Read read = platform::read_regular_file(path.c_str(), content);
  if (read == platform::File_Read::FAILED && !is_lasting(errno)) {
    platform::log_debug("Failed to read '%s': %m\n", path.c_str());
    return std::nullopt;
  }
  if (read != platform::File_Read::DONE) return false;

  try {
    return platform::parse_ini(content, path.c_str()).get<std::string>("multidb.mode") == "multidb";
  } catch (const std::runtime_error&) {
    return false;
  }
}

}  // namespace sap_hana
