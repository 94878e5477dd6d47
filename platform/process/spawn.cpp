#include "platform/process/spawn.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/files/unique_fd.h"
#include "platform/text/natoi.h"

#ifndef SYS_close_range
#define SYS_close_range 436
#endif

namespace platform {
namespace {

constexpr int FIRST_OTHER_DESCRIPTOR = 3;
constexpr std::size_t CHILD_STACK = 16UL * 1024;

// All that a child needs, made before it exists.
struct Child_Plan {
  explicit Child_Plan(const Spawn_Request& child)
      : request(child), groups(child.identity == nullptr ? std::vector<gid_t>() : child.identity->groups) {
    std::sort(groups.begin(), groups.end());
    groups_seen.resize(groups.size() + 1);
  }

  const Spawn_Request& request;
  std::vector<gid_t> groups;       // sorted
  std::vector<gid_t> groups_seen;  // room to read them back, and to see that there are more
};

bool has_ids(const Child_Identity& identity) {
  uid_t real_uid, effective_uid, saved_uid;
  if (::getresuid(&real_uid, &effective_uid, &saved_uid) != 0) return false;
  if (real_uid != identity.uid || effective_uid != identity.uid || saved_uid != identity.uid) return false;

  gid_t real_gid, effective_gid, saved_gid;
  if (::getresgid(&real_gid, &effective_gid, &saved_gid) != 0) return false;
  return real_gid == identity.gid && effective_gid == identity.gid && saved_gid == identity.gid;
}

bool has_groups(Child_Plan& plan) {
  const int count = ::getgroups(static_cast<int>(plan.groups_seen.size()), plan.groups_seen.data());
  if (count != static_cast<int>(plan.groups.size())) return false;
  std::sort(plan.groups_seen.begin(), plan.groups_seen.begin() + count);
  return std::equal(plan.groups.begin(), plan.groups.end(), plan.groups_seen.begin());
}

// --- In the child, from here to become_program(). It allocates nothing, since another thread may have held any lock
// when it came to be, and it may share the caller's memory until its program runs. Where the C library's own call
// would signal every thread that it believes in, or wait for one, the kernel is called directly. ---

// Puts "/dev/null" in the place of a source that is not there.
bool redirect(int descriptor, int source, int null_mode) {
  if (source >= 0) return ::dup2(source, descriptor) == descriptor;
  const int null = open_at(AT_FDCWD, "/dev/null", null_mode).release();
  return null == descriptor || (null >= 0 && ::dup2(null, descriptor) == descriptor);
}

// For kernels that cannot close a range. Listed here and not before the child was made: other threads of the caller
// open descriptors at any time.
bool close_one_by_one() {
  struct Entry {  // what the kernel writes; the name goes on to its NUL
    std::uint64_t inode;
    std::int64_t offset;
    unsigned short length;
    unsigned char type;
    char name[1];
  };
  const Unique_Fd listing = open_at(AT_FDCWD, "/proc/self/fd", O_RDONLY | O_DIRECTORY);
  if (!listing) return false;

  alignas(Entry) char buffer[4096];
  for (;;) {
    const long length = ::syscall(SYS_getdents64, listing.get(), buffer, sizeof(buffer));
    if (length <= 0) return length == 0;
    for (long at = 0; at < length;) {
      const auto* entry = reinterpret_cast<const Entry*>(buffer + at);
      const int descriptor = natoi<int>(buffer + at + offsetof(Entry, name));
      if (descriptor >= FIRST_OTHER_DESCRIPTOR && descriptor != listing.get()) ::close(descriptor);
      at += entry->length;
    }
  }
}

bool close_others() {
  return ::syscall(SYS_close_range, FIRST_OTHER_DESCRIPTOR, ~0U, 0U) == 0 || close_one_by_one();
}

// Groups first, while the right to set them is still there; then what the kernel made of it is read back.
bool become(const Child_Identity& identity, Child_Plan& plan) {
  if (::setsid() < 0) return false;
  const bool was_the_user = has_ids(identity);
  const bool set_groups = ::syscall(SYS_setgroups, plan.groups.size(), plan.groups.data()) == 0;
  if (!set_groups) return errno == EPERM && was_the_user;
  if (::syscall(SYS_setregid, identity.gid, identity.gid) != 0) return false;
  if (::syscall(SYS_setreuid, identity.uid, identity.uid) != 0) return false;
  errno = EPERM;
  return has_ids(identity) && has_groups(plan);
}

// The caller's handlers are gone before a signal can reach one of them. For SIGABRT the C library's sigaction() waits
// for a lock that another thread's fork() may have held when this memory was copied, and that would be for ever.
void reset_signals() {
  constexpr std::size_t MASK_SIZE = (NSIG - 1) / 8;
  const struct {
    std::uintptr_t handler, flags, restorer;
    unsigned char mask[MASK_SIZE];
  } standard{};  // the kernel's record of one, with SIG_DFL, which is 0
  for (int number = 1; number < NSIG; ++number)
    ::syscall(SYS_rt_sigaction, number, &standard, nullptr, MASK_SIZE);
  sigset_t none;
  ::sigemptyset(&none);
  ::pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

// Ends the child with errno in `error`, or does not come back. `identity` is null if it stays the caller's.
[[noreturn]] void become_program(Child_Plan& plan, const Child_Identity* identity, volatile int& error) {
  const Spawn_Request& request = plan.request;
  if (redirect(STDIN_FILENO, -1, O_RDONLY) && redirect(STDOUT_FILENO, request.standard_output, O_WRONLY) &&
      redirect(STDERR_FILENO, request.standard_error, O_WRONLY) && close_others() &&
      (identity == nullptr || become(*identity, plan))) {
    reset_signals();
    ::execve(request.arguments[0], request.arguments, request.environment);
  }
  error = errno;
  ::_exit(127);
}

// --- In the caller. ---

// An error number that a child can set, whether it shares the caller's memory or has a copy.
class Shared_Error {
 public:
  Shared_Error() : memory_(::mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {}
  ~Shared_Error() {
    if (*this) ::munmap(memory_, sizeof(int));
  }
  Shared_Error(const Shared_Error&) = delete;
  Shared_Error& operator=(const Shared_Error&) = delete;

  explicit operator bool() const { return memory_ != MAP_FAILED; }
  volatile int& operator*() const { return *static_cast<volatile int*>(memory_); }

 private:
  void* memory_;
};

// While it lives, no handler of the caller's runs on this thread, nor in the child, and nobody can cancel it.
class Undisturbed {
 public:
  Undisturbed() {
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state_);
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &mask_);
  }
  ~Undisturbed() {
    ::pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    ::pthread_setcancelstate(cancel_state_, nullptr);
  }
  Undisturbed(const Undisturbed&) = delete;
  Undisturbed& operator=(const Undisturbed&) = delete;

 private:
  int cancel_state_ = PTHREAD_CANCEL_ENABLE;
  sigset_t mask_;
};

// The two ways to make a child. In both the caller goes on when the program runs or the child is gone, so the error is
// there to be read; it needs no pipe, which a child that another thread starts meanwhile could hold open.
//
// One that stays the caller's user shares its memory, and copies nothing.
pid_t start_as_caller(Child_Plan& plan, volatile int& error) {
  // NOLINTBEGIN(clang-analyzer-security.insecureAPI.vfork,clang-analyzer-unix.Vfork): what it calls is made for it
  const pid_t pid = ::vfork();
  if (pid == 0) become_program(plan, nullptr, error);
  // NOLINTEND(clang-analyzer-security.insecureAPI.vfork,clang-analyzer-unix.Vfork)
  return pid;
}

// One that changes its user has a copy, since in shared memory it would change the caller too. Its stack lies in the
// copy of this frame. The C library makes it, not the kernel at once, so that what watches the caller's threads, like
// a sanitizer, knows of it.
pid_t start_as(Child_Plan& plan, volatile int& error) {
  struct Start {
    Child_Plan& plan;
    volatile int& error;
  } start{plan, error};
  const auto run = [](void* argument) -> int {
    const Start& in_child = *static_cast<Start*>(argument);
    become_program(in_child.plan, in_child.plan.request.identity, in_child.error);
  };
  alignas(std::max_align_t) char stack[CHILD_STACK];
  return ::clone(run, stack + CHILD_STACK, CLONE_VFORK | SIGCHLD, &start);
}

}  // namespace

pid_t start_child(const Spawn_Request& request) {
  const Shared_Error error;
  if (!error) return -1;
  Child_Plan plan(request);
  const Child_Identity* const identity = request.identity;
  const bool changes = identity != nullptr && !(has_ids(*identity) && has_groups(plan));

  pid_t pid = -1;
  {
    const Undisturbed undisturbed;
    pid = changes ? start_as(plan, *error) : start_as_caller(plan, *error);
  }
  if (pid < 0 || *error == 0) return pid;

  while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
  }
  errno = *error;
  return -1;
}

}  // namespace platform
