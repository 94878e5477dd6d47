#include "platform/process/process_identity.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>

#include "platform/text/format.h"
#include "platform/text/natoi.h"

namespace platform {
namespace {

// What the kernel tells of a process in one entry, all of it by one read. Empty if it cannot be read.
std::string read_entry(const Unique_Fd& directory, const char* name) {
  char content[4096];
  const Unique_Fd entry = open_at(directory.get(), name, O_RDONLY | O_CLOEXEC);
  const ssize_t length = entry ? read_some(entry.get(), content, sizeof(content)) : -1;
  return length > 0 ? std::string(content, static_cast<std::size_t>(length)) : std::string();
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

bool is_same(int directory, const char* path, const char* here) {
  struct stat there_status {
  }, here_status{};
  return ::fstatat(directory, path, &there_status, 0) == 0 && ::stat(here, &here_status) == 0 &&
         there_status.st_dev == here_status.st_dev && there_status.st_ino == here_status.st_ino;
}

// `path` without a symbolic link in it. Empty if it leads nowhere.
std::string resolved(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> result(::realpath(path.c_str(), nullptr), &std::free);
  return result ? result.get() : "";
}

// Opens a directory below another step by step, following no link: one would lead through this program's root. None if
// it is not there.
Unique_Fd open_below(Unique_Fd directory, const std::string& path) {
  for (std::size_t begin = 1; directory && begin < path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    const std::string name = path.substr(begin, end - begin);
    directory = Unique_Fd(::openat(directory.get(), name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    begin = end + 1;
  }
  return directory;
}

}  // namespace

bool Process_Identity::State::operator==(const State& other) const {
  return std::tie(owner, run_by, page_faults) == std::tie(other.owner, other.run_by, other.page_faults);
}

Process_Identity::Process_Identity(pid_t pid)
    : directory_(open_at(AT_FDCWD, snprintf_t<32>("/proc/%d", static_cast<int>(pid)).c_str(),
                         O_PATH | O_DIRECTORY | O_CLOEXEC)),
      state_(look()) {}

std::optional<Process_Identity::State> Process_Identity::look() const {
  State state{};
  if (!directory_ || !read_page_faults(read_entry(directory_, "stat"), state.page_faults)) return std::nullopt;

  // The owner comes before the vector, which a process can change: one that has gained rights by running a program
  // would have to run another to change it, and that is seen by the page faults.
  struct stat status {};
  if (::fstatat(directory_.get(), "", &status, AT_EMPTY_PATH) != 0) return std::nullopt;
  state.owner = status.st_uid;
  const std::optional<unsigned long> run_by = find_word(read_entry(directory_, "auxv"), AT_UID);
  if (!run_by) return std::nullopt;
  state.run_by = *run_by;
  return state;
}

Process_Owner Process_Identity::owner(const std::optional<uid_t>& named) const {
  if (!state_ || (state_->run_by != 0 && state_->run_by != state_->owner)) return Process_Owner::STRANGER;
  if (state_->owner == ::geteuid()) return Process_Owner::CALLER;
  if (state_->owner == 0) return Process_Owner::ROOT;
  return state_->owner == named ? Process_Owner::NAMED : Process_Owner::STRANGER;
}

bool Process_Identity::is_unchanged() const {
  return state_.has_value() && look() == state_;
}

bool Process_Identity::shares_paths() const {
  return directory_ && is_same(directory_.get(), "ns/mnt", "/proc/self/ns/mnt") &&
         is_same(directory_.get(), "root", "/proc/self/root");
}

bool Process_Identity::shares_directory(const std::string& directory) const {
  const std::string here = resolved(directory);
  if (here.empty() || !directory_) return false;
  Unique_Fd root(::openat(directory_.get(), "root", O_PATH | O_DIRECTORY | O_CLOEXEC));
  const Unique_Fd there = open_below(std::move(root), here);
  return there && is_same(there.get(), ".", here.c_str());
}

}  // namespace platform
