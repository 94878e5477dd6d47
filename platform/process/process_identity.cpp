#include "platform/process/process_identity.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <tuple>

#include "platform/files/file_content.h"
#include "platform/text/format.h"
#include "platform/text/natoi.h"

namespace platform {
namespace {

// Empty if it cannot be read.
std::string read_entry(const Unique_Fd& directory, const char* name) {
  const snprintf_t<64> path("/proc/self/fd/%d/%s", directory.get(), name);
  std::string content;
  read_regular_file(path.c_str(), content);
  return content;
}

// A word of the auxiliary vector, which the kernel makes of pairs of a type and a value when a program is run.
std::optional<unsigned long> find_word(const std::string& vector, unsigned long type) {
  unsigned long pair[2];
  for (std::size_t at = 0; at + sizeof(pair) <= vector.size(); at += sizeof(pair)) {
    std::memcpy(pair, vector.data() + at, sizeof(pair));
    if (pair[0] == type) return pair[1];
  }
  return std::nullopt;
}

// The page faults, the eighth word behind the name, which may hold anything: "1234 (name) S 1 ...".
bool read_page_faults(const std::string& stat, std::uint64_t& faults) {
  std::size_t blank = stat.rfind(')');
  for (int word = 0; word < 8 && blank != std::string::npos; ++word)
    blank = stat.find(' ', blank + 1);
  if (blank == std::string::npos) return false;
  faults = natoi<std::uint64_t>(stat.c_str() + blank + 1);
  return errno == 0;
}

}  // namespace

bool Process_Identity::State::operator==(const State& other) const {
  return std::tie(owner, real, effective, page_faults) ==
         std::tie(other.owner, other.real, other.effective, other.page_faults);
}

Process_Identity::Process_Identity(pid_t pid)
    : directory_(::open(snprintf_t<32>("/proc/%d", static_cast<int>(pid)).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
      state_(look()) {}

std::optional<Process_Identity::State> Process_Identity::look() const {
  State state{};
  if (!directory_ || !read_page_faults(read_entry(directory_, "stat"), state.page_faults)) return std::nullopt;

  // The owner comes before the vector, which a process can change: one that has gained rights by running a program
  // would have to run another to change it, and that is seen by the page faults.
  struct stat status {};
  if (::fstatat(directory_.get(), "", &status, AT_EMPTY_PATH) != 0) return std::nullopt;
  state.owner = status.st_uid;
  const std::string vector = read_entry(directory_, "auxv");
  const std::optional<unsigned long> real = find_word(vector, AT_UID);
  const std::optional<unsigned long> effective = find_word(vector, AT_EUID);
  if (!real || !effective) return std::nullopt;
  state.real = *real;
  state.effective = *effective;
  return state;
}

std::optional<uid_t> Process_Identity::user() const {
  if (!state_ || state_->real != state_->effective) return std::nullopt;
  return state_->real == 0 || state_->real == state_->owner ? std::optional(state_->owner) : std::nullopt;
}

bool Process_Identity::is_unchanged() const {
  return state_.has_value() && look() == state_;
}

}  // namespace platform
