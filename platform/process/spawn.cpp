#include "platform/process/spawn.h"

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include "platform/text/natoi.h"

#ifndef SYS_close_range
#define SYS_close_range 436
#endif

namespace platform {
namespace {

constexpr int FIRST_OTHER_DESCRIPTOR = 3;
constexpr char DEVNULL[] = "/dev/null";

// Every open descriptor from 3 on. Nothing, with errno, if they cannot be listed.
std::optional<std::vector<int>> open_descriptors() {
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir("/proc/self/fd"), &::closedir);
  if (!listing) return std::nullopt;

  std::vector<int> descriptors;
  while (const dirent* entry = ::readdir(listing.get())) {  // NOLINT(concurrency-mt-unsafe): the stream is ours alone
    const int descriptor = natoi<int>(entry->d_name);
    const bool listed = descriptor >= FIRST_OTHER_DESCRIPTOR && descriptor != ::dirfd(listing.get());
    if (listed) descriptors.push_back(descriptor);
  }
  return descriptors;
}

std::vector<gid_t> sorted(std::vector<gid_t> groups) {
  std::sort(groups.begin(), groups.end());
  return groups;
}

// True if this process is that user with all its ids and groups. `room` has one place more than there are groups.
// Allocates nothing.
bool runs_as(const Child_Identity& identity, const std::vector<gid_t>& sorted_groups, std::vector<gid_t>& room) {
  uid_t real_uid, effective_uid, saved_uid;
  if (::getresuid(&real_uid, &effective_uid, &saved_uid) != 0) return false;
  if (real_uid != identity.uid || effective_uid != identity.uid || saved_uid != identity.uid) return false;

  gid_t real_gid, effective_gid, saved_gid;
  if (::getresgid(&real_gid, &effective_gid, &saved_gid) != 0) return false;
  if (real_gid != identity.gid || effective_gid != identity.gid || saved_gid != identity.gid) return false;

  const int count = ::getgroups(static_cast<int>(room.size()), room.data());
  if (count != static_cast<int>(sorted_groups.size())) return false;
  std::sort(room.begin(), room.begin() + count);
  return std::equal(sorted_groups.begin(), sorted_groups.end(), room.begin());
}

// --- A child that stays the caller's user: posix_spawn, which copies nothing of the caller. ---

class File_Actions {
 public:
  File_Actions() { error_ = ::posix_spawn_file_actions_init(&actions_); }
  ~File_Actions() { ::posix_spawn_file_actions_destroy(&actions_); }
  File_Actions(const File_Actions&) = delete;
  File_Actions& operator=(const File_Actions&) = delete;

  void redirect(int descriptor, int source, int null_mode) {
    add(source >= 0 ? ::posix_spawn_file_actions_adddup2(&actions_, source, descriptor)
                    : ::posix_spawn_file_actions_addopen(&actions_, descriptor, DEVNULL, null_mode, 0));
  }

  void close_others(Descriptor_Closing closing) {
#if __GLIBC_PREREQ(2, 34)
    if (closing == Descriptor_Closing::by_range) {
      add(::posix_spawn_file_actions_addclosefrom_np(&actions_, FIRST_OTHER_DESCRIPTOR));
      return;
    }
#endif
    static_cast<void>(closing);
    const std::optional<std::vector<int>> descriptors = open_descriptors();
    if (!descriptors) return add(errno);
    for (const int descriptor : *descriptors)
      add(::posix_spawn_file_actions_addclose(&actions_, descriptor));
  }

  int error() const {
    return error_;
  }
  const posix_spawn_file_actions_t* get() const {
    return &actions_;
  }

 private:
  void add(int error) {
    if (error_ == 0) error_ = error;
  }

  posix_spawn_file_actions_t actions_;
  int error_;
};

class Signal_Attributes {
 public:
  Signal_Attributes() {
    error_ = ::posix_spawnattr_init(&attributes_);
    // Every bit: sigfillset() leaves out the two that the C library keeps for itself, which then would be ignored.
    sigset_t all;
    std::memset(&all, 0xff, sizeof(all));
    sigset_t none;
    ::sigemptyset(&none);
    if (error_ == 0) error_ = ::posix_spawnattr_setsigdefault(&attributes_, &all);
    if (error_ == 0) error_ = ::posix_spawnattr_setsigmask(&attributes_, &none);
    if (error_ == 0) error_ = ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  }
  ~Signal_Attributes() { ::posix_spawnattr_destroy(&attributes_); }
  Signal_Attributes(const Signal_Attributes&) = delete;
  Signal_Attributes& operator=(const Signal_Attributes&) = delete;

  int error() const { return error_; }
  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
  int error_;
};

pid_t spawn_as_caller(const Spawn_Request& request) {
  File_Actions actions;
  actions.redirect(STDIN_FILENO, -1, O_RDONLY);
  actions.redirect(STDOUT_FILENO, request.standard_output, O_WRONLY);
  actions.redirect(STDERR_FILENO, request.standard_error, O_WRONLY);
  actions.close_others(request.closing);
  const Signal_Attributes attributes;

  pid_t pid = -1;
  int error = actions.error() != 0 ? actions.error() : attributes.error();
  if (error == 0) {
    error = ::posix_spawn(&pid, request.arguments[0], actions.get(), attributes.get(), request.arguments,
                          request.environment);
  }
  if (error == 0) return pid;
  errno = error;
  return -1;
}

// --- A child with another user: a copy of the caller, since one that shares its memory would change the caller too.
// From the clone to the exec it calls the kernel directly and allocates nothing: the C library's own calls signal
// every thread that they believe in, and another thread may have held any lock at the clone. ---

// All that the child needs, made before it exists.
struct Child_Plan {
  const Spawn_Request& request;
  const Child_Identity& identity;
  std::vector<gid_t> groups;                 // sorted
  std::vector<gid_t> groups_seen;            // room to read the groups back
  std::optional<std::vector<int>> to_close;  // for when a range cannot be closed
  int* error;                                // in memory that is shared with the parent
};

bool redirect(int descriptor, int source, int null_mode) {
  if (source >= 0) return ::dup2(source, descriptor) == descriptor;
  const int null = ::open(DEVNULL, null_mode);
  if (null < 0 || null == descriptor) return null >= 0;
  const bool redirected = ::dup2(null, descriptor) == descriptor;
  ::close(null);  // not among those that were open before
  return redirected;
}

bool close_others(const Child_Plan& plan) {
  if (plan.request.closing == Descriptor_Closing::by_range &&
      ::syscall(SYS_close_range, FIRST_OTHER_DESCRIPTOR, ~0U, 0U) == 0) {
    return true;
  }
  if (!plan.to_close) return false;
  for (const int descriptor : *plan.to_close)
    ::close(descriptor);
  return true;
}

// Groups first, while the right to set them is still there; then what the kernel made of it is read back.
bool become(Child_Plan& plan) {
  if (::syscall(SYS_setgroups, plan.groups.size(), plan.groups.data()) != 0) return false;
  if (::syscall(SYS_setregid, plan.identity.gid, plan.identity.gid) != 0) return false;
  if (::syscall(SYS_setreuid, plan.identity.uid, plan.identity.uid) != 0) return false;
  errno = EPERM;
  return runs_as(plan.identity, plan.groups, plan.groups_seen);
}

void reset_signals() {
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number)
    ::sigaction(number, &standard, nullptr);
  sigset_t none;
  ::sigemptyset(&none);
  ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void run_child(Child_Plan& plan) {
  const Spawn_Request& request = plan.request;
  const bool ready = redirect(STDIN_FILENO, -1, O_RDONLY) &&
                     redirect(STDOUT_FILENO, request.standard_output, O_WRONLY) &&
                     redirect(STDERR_FILENO, request.standard_error, O_WRONLY) && close_others(plan) && become(plan);
  if (ready) {
    reset_signals();
    ::execve(request.arguments[0], request.arguments, request.environment);
  }
  *plan.error = errno;
  ::_exit(127);
}

// One int that parent and child see alike.
class Shared_Error {
 public:
  Shared_Error() : memory_(::mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {}
  ~Shared_Error() {
    if (*this) ::munmap(memory_, sizeof(int));
  }
  Shared_Error(const Shared_Error&) = delete;
  Shared_Error& operator=(const Shared_Error&) = delete;

  explicit operator bool() const { return memory_ != MAP_FAILED; }
  int* get() const { return static_cast<int*>(memory_); }

 private:
  void* memory_;
};

// Blocks every signal of this thread while it lives, so that no handler of the caller's runs in the child.
class Blocked_Signals {
 public:
  Blocked_Signals() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~Blocked_Signals() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  Blocked_Signals(const Blocked_Signals&) = delete;
  Blocked_Signals& operator=(const Blocked_Signals&) = delete;

 private:
  sigset_t before_;
};

pid_t spawn_as_other(const Spawn_Request& request) {
  const Shared_Error error;
  if (!error) return -1;
  Child_Plan plan{request, *request.identity, sorted(request.identity->groups), {}, open_descriptors(), error.get()};
  plan.groups_seen.resize(plan.groups.size() + 1);

  // CLONE_VFORK: the caller goes on when the program runs or the child is gone, so the error is there to be read.
  // It needs no pipe, which a child that another thread starts meanwhile could hold open.
  pid_t pid = -1;
  {
    const Blocked_Signals blocked;
    pid = static_cast<pid_t>(::syscall(SYS_clone, CLONE_VFORK | SIGCHLD, nullptr, nullptr, nullptr, nullptr));
    if (pid == 0) run_child(plan);
  }
  if (pid < 0 || *error.get() == 0) return pid;

  while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
  }
  errno = *error.get();
  return -1;
}

// Such a child has nothing to switch, and no right is needed for it.
bool is_caller(const Child_Identity& identity) {
  std::vector<gid_t> room(identity.groups.size() + 1);
  return runs_as(identity, sorted(identity.groups), room);
}

}  // namespace

pid_t spawn(const Spawn_Request& request) {
  const bool switches = request.identity != nullptr && !is_caller(*request.identity);
  return switches ? spawn_as_other(request) : spawn_as_caller(request);
}

}  // namespace platform
