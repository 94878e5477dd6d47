#include "hana/common/detail/start_services.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/regex.hpp>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <optional>
#include <thread>
#include <vector>

#include "platform/files/unique_fd.h"
#include "platform/log/log.h"
#include "platform/process/process_identity.h"
#include "platform/text/format.h"
#include "platform/text/natoi.h"
#include "platform/text/search.h"
#include "platform/users/accounts.h"

namespace sap_hana {
namespace {

const boost::regex INSTANCE_DIR_RE(".*HDB([0-9][0-9])");

constexpr std::size_t PIECE = 64UL * 1024;                     // bytes of an environment read at once
constexpr std::size_t ENVIRONMENT_LIMIT = 16UL * 1024 * 1024;  // bytes; real ones hold kilobytes
constexpr std::chrono::milliseconds LONGEST_PAUSE(64);         // between two looks at a busy process

// The names of interest, and where the text behind each goes; null for the number.
struct Variable {
  std::string_view prefix;
  std::string HANA_Env_Value::*text;
};
constexpr Variable VARIABLES[] = {{"DIR_EXECUTABLE=", &HANA_Env_Value::dir_executable},
                                  {"HOSTNAME=", &HANA_Env_Value::hostname},
                                  {"DIR_INSTANCE=", &HANA_Env_Value::instance_dir},
                                  {"USER=", &HANA_Env_Value::user},
                                  {"TINSTANCE=", nullptr},
                                  {"SAPSYSTEMNAME=", &HANA_Env_Value::sid}};

// The variable that an entry, or the beginning of one, sets. Null if it is none of them.
const Variable* find_variable(std::string_view entry) {
  if (entry.empty()) return nullptr;
  for (const Variable& variable : VARIABLES) {
    if (entry[0] != variable.prefix[0]) continue;
    const std::size_t length = std::min(entry.size(), variable.prefix.size());
    if (std::memcmp(entry.data(), variable.prefix.data(), length) == 0) return &variable;
  }
  return nullptr;
}

// How many NULs a text begins with, eight at once: an environment can consist of millions of empty entries.
std::size_t nuls_at(const char* text, std::size_t length) {
  std::size_t count = 0;
  for (std::uint64_t eight = 0; count + sizeof(eight) <= length; count += sizeof(eight)) {
    std::memcpy(&eight, text + count, sizeof(eight));
    if (eight != 0) break;
  }
  while (count < length && text[count] == '\0')
    ++count;
  return count;
}

// The last "HDB" with two digits after it counts.
bool take_number_from_directory(HANA_Env_Value& val) {
  const std::string& directory = val.instance_dir;
  boost::smatch match;
  if (!platform::search(directory.begin(), directory.end(), match, INSTANCE_DIR_RE, boost::match_continuous))
    return false;
  val.instance_number = platform::natoi<std::uint16_t>(match.str(1).c_str());
  return true;
}

// Feeds a file to the reader. False with errno if it cannot be read to its end.
bool read_all(int file, Environment_Reader& reader) {
  std::vector<char> buffer(PIECE);
  for (std::size_t total = 0; total <= ENVIRONMENT_LIMIT;) {
    const ssize_t got = platform::read_some(file, buffer.data(), buffer.size());
    if (got <= 0) return got == 0;
    reader.feed({buffer.data(), static_cast<std::size_t>(got)});
    total += static_cast<std::size_t>(got);
  }
  errno = EFBIG;
  return false;
}

std::optional<uid_t> find_administrator(const std::string& sid) {
  platform::User_Ids ids{};
  if (platform::find_user(administrator_of(sid).c_str(), ids) != 0) return std::nullopt;
  return ids.uid;
}

Trust trust_in(platform::Process_Owner owner) {
  switch (owner) {
    case platform::Process_Owner::CALLER:
      return Trust::MINE;
    case platform::Process_Owner::ROOT:
      return Trust::ROOTS;
    case platform::Process_Owner::NAMED:
      return Trust::ADMINISTRATORS;
    case platform::Process_Owner::STRANGER:
      break;
  }
  return Trust::STRANGERS;
}

// True if the directories from which something may be run are the same to the process as here.
bool shares_directories(const platform::Process_Identity& identity, const HANA_Env_Value& environment) {
  if (identity.shares_paths()) return true;
  for (const std::string* directory : {&environment.dir_executable, &environment.instance_dir}) {
    if (!directory->empty() && !identity.shares_directory(*directory)) return false;
  }
  return true;
}

}  // namespace

// --- What an environment says ---

void Environment_Reader::feed(std::string_view piece) {
  while (!piece.empty()) {
    const std::size_t length = piece.find('\0');
    const std::string_view text = piece.substr(0, length);
    if (length == std::string_view::npos) return begin_entry(text);
    if (begun_.empty() && !passing_over_) {
      take_entry(text);
    } else {
      begin_entry(text);
      take_entry(begun_);
      begun_.clear();
      passing_over_ = false;
    }
    piece.remove_prefix(length + nuls_at(piece.data() + length, piece.size() - length));
  }
}

void Environment_Reader::begin_entry(std::string_view text) {
  if (passing_over_ || text.empty()) return;
  begun_ += text;
  passing_over_ = find_variable(begun_) == nullptr;
  if (passing_over_) begun_ = std::string();
}

void Environment_Reader::take_entry(std::string_view entry) {
  const Variable* const variable = find_variable(entry);
  if (variable == nullptr || entry.size() < variable->prefix.size()) return;
  const std::string_view value = entry.substr(variable->prefix.size());
  if (variable->text != nullptr) {
    (val_.*variable->text).assign(value);
  } else {
    val_.instance_number = platform::natoi<std::uint16_t>(value.data(), value.data() + value.size());
    numbered_ = true;
  }
}

bool Environment_Reader::finish() {
  take_entry(begun_);
  begun_.clear();
  return numbered_ || take_number_from_directory(val_);
}

bool read_environment(pid_t pid, HANA_Env_Value& val) {
  const platform::snprintf_t<64> path("/proc/%d/environ", static_cast<int>(pid));
  const platform::Unique_Fd file = platform::open_at(AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC);
  if (!file) {
    platform::log_error("Failed to open '%s'\n", path.c_str());
    return false;
  }
  Environment_Reader reader(val);
  if (!read_all(file.get(), reader)) {
    platform::log_error("Failed to read '%s': %m\n", path.c_str());
    return false;
  }
  if (reader.finish()) return true;
  platform::log_error("Failed to get instance number\n");
  return false;
}

// --- Whether one is believed ---

bool read_start_service(pid_t pid, const std::string* system, Start_Service& service) {
  service = {};
  service.pid = pid;
  const char* reason = "it does not keep still";
  // A true one may be busy for a moment, a process that changes itself for ever.
  for (std::chrono::milliseconds pause(1);; pause *= 2) {
    const platform::Process_Identity identity(pid);
    service.environment = {};
    if (!read_environment(pid, service.environment)) return false;
    const std::string& sid = system != nullptr ? *system : service.environment.sid;
    const Trust trust = trust_in(identity.owner(find_administrator(sid)));
    if (trust == Trust::STRANGERS) {
      reason = "it is neither root's nor the administrator's";
      break;
    }
    if (identity.is_unchanged()) {
      reason = "its directories are not those of this host";
      if (shares_directories(identity, service.environment)) service.trust = trust;
      break;
    }
    if (pause > LONGEST_PAUSE) break;
    std::this_thread::sleep_for(pause);
  }
  if (!service.is_believed()) {
    platform::log_debug("Process %d is not believed to be a start service: %s\n", static_cast<int>(pid), reason);
  }
  return true;
}

void run_as_owner(const Start_Service& service, const std::string& system, platform::Process_Options& options) {
  if (service.trust == Trust::ROOTS) options.setreugid("root");
  if (service.trust == Trust::ADMINISTRATORS) options.setreugid(administrator_of(system).c_str());
}

std::string administrator_of(const std::string& sid) {
  return boost::algorithm::to_lower_copy(sid) + "adm";
}

}  // namespace sap_hana
