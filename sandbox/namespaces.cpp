#include "sandbox/namespaces.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "platform/files/unique_fd.h"
#include "sandbox/etc_files.h"
#include "sandbox/host_tree.h"
#include "sandbox/paths.h"
#include "sandbox/processes.h"

namespace sandbox {

namespace {

namespace fs = std::filesystem;

constexpr int namespaces = CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWUTS | CLONE_NEWIPC;
constexpr const char* lock_path = "/run/gustaikrum-sandbox.lock";

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), "sandbox: " + what);
}

void mount_at(const char* source, const std::string& target, const char* type, unsigned long flags, const char* data) {
  if (::mount(source, target.c_str(), type, flags, data) != 0) fail("mount " + target);
}

void write_text(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  if (!(file << text << std::flush)) throw std::runtime_error("sandbox: cannot write " + path);
}

std::string read_text(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void map_this_user_to_root(uid_t uid, gid_t gid) {
  write_text("/proc/self/setgroups", "deny");
  write_text("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
  write_text("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

void leave_namespaces(Way way) {
  const uid_t uid = ::geteuid();
  const gid_t gid = ::getegid();
  if (::unshare(namespaces | (way == Way::one_user ? CLONE_NEWUSER : 0)) != 0) fail("namespaces");
  if (way == Way::one_user) map_this_user_to_root(uid, gid);
}

// The directories below /tmp that hold something to be kept, opened before a new /tmp hides them.
using Kept = std::map<std::string, platform::Unique_Fd>;

Kept open_kept(const std::vector<fs::path>& keep) {
  Kept kept;
  for (const fs::path& absolute : keep) {
    auto part = absolute.begin();
    if (std::distance(absolute.begin(), absolute.end()) < 3 || *++part != "tmp") continue;
    const std::string root = "/tmp/" + (++part)->string();
    kept[root].reset(::open(root.c_str(), O_PATH | O_CLOEXEC));
  }
  return kept;
}

void mount_private_tmp(const Kept& kept) {
  mount_at("tmpfs", "/tmp", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777");
  for (const auto& [path, fd] : kept) {
    if (!fd) continue;
    struct stat status {};
    ::fstat(fd.get(), &status);
    if (S_ISDIR(status.st_mode)) {
      fs::create_directory(path);
    } else {
      write_text(path, "");
    }
    mount_at(("/proc/self/fd/" + std::to_string(fd.get())).c_str(), path, nullptr, MS_BIND | MS_REC, nullptr);
  }
}

// /usr gets a directory "sap" from an overlay, if it has none; a file system of our own then covers that.
void mount_private_usr_sap() {
  if (!fs::is_directory("/usr/sap")) {
    mount_at("tmpfs", "/tmp", "tmpfs", 0, "mode=755");
    fs::create_directory("/tmp/sap");
    mount_at("overlay", "/usr", "overlay", MS_RDONLY, "lowerdir=/tmp:/usr");
    ::umount2("/tmp", MNT_DETACH);
  }
  mount_at("tmpfs", "/usr/sap", "tmpfs", 0, "mode=755");
}

void mount_private_etc_files() {
  const std::string copies = std::string(state_dir) + "/way/etc_";
  for (const char* name : {"passwd", "group", "hosts"}) {
    const std::string path = std::string("/etc/") + name;
    write_text(copies + name, read_text(path));
    mount_at((copies + name).c_str(), path, nullptr, MS_BIND, nullptr);
  }
}

void bring_loopback_up() {
  const platform::Unique_Fd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  std::strcpy(request.ifr_name, "lo");
  request.ifr_flags = IFF_UP | IFF_RUNNING;
  if (::ioctl(socket.get(), SIOCSIFFLAGS, &request) != 0) fail("loopback interface");
}

void mark(Way way) {
  fs::create_directories(std::string(state_dir) + "/way");
  write_text(std::string(state_dir) + "/way/name", way == Way::namespaces ? "namespaces"
                                                   : way == Way::one_user ? "one_user"
                                                                          : "plain");
}

// Lets nobody in here, root included, change what is mounted now.
void seal() {
  // mount_setattr() of Linux 5.12, which older C libraries lack: what to set, to clear and two more.
  constexpr long mount_setattr = 442;
  constexpr int recursive = 0x8000;
  const std::uint64_t read_only[4] = {1};
  if (::syscall(mount_setattr, AT_FDCWD, "/", recursive, read_only, sizeof(read_only)) != 0) fail("sealing");
}

// Makes the new namespaces this sandbox's own. The process is the first of its pid namespace.
void furnish(Way way, const std::vector<fs::path>& keep, bool sealed) {
  const fs::path directory = fs::current_path();
  mount_at(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
  if (sealed) seal();
  const Kept kept = open_kept(keep);
  mount_private_usr_sap();
  mount_private_tmp(kept);
  mark(way);
  mount_private_etc_files();
  mount_at("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr);
  bring_loopback_up();
  std::error_code gone;
  fs::current_path(directory, gone);
  if (gone) fs::current_path("/");
}

int exit_status(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Reaps all that ends until `child` has.
int reap_until(pid_t child) {
  for (;;) {
    int status = 0;
    const pid_t ended = ::waitpid(-1, &status, 0);
    if (ended == child) return exit_status(status);
    if (ended < 0 && errno == ECHILD) return 1;
  }
}

// Runs `body` in a child and returns its status; what it throws is told on standard error.
template <class Body>
pid_t fork_and(Body body) {
  const pid_t child = ::fork();
  if (child < 0) fail("fork");
  if (child > 0) return child;
  int status = 1;
  try {
    status = body();
  } catch (const std::exception& error) {
    ::dprintf(STDERR_FILENO, "%s\n", error.what());
  }
  ::_exit(status);
}

int run_in_namespaces(Way way, const std::vector<std::string>& keep, bool sealed, const std::function<int()>& inside) {
  // Now, since inside a chroot "/proc/self/exe" leads nowhere once the mounts are others.
  std::vector<fs::path> absolute;
  for (const std::string& path : keep) {
    std::error_code unseen;  // where the caller may not look, there is nothing for the command either
    absolute.push_back(fs::weakly_canonical(path, unseen));
  }
  leave_namespaces(way);
  const pid_t first = fork_and([&] {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    furnish(way, absolute, sealed);
    return reap_until(fork_and(inside));
  });
  return reap_until(first);
}

bool usr_sap_is_free(std::string& reason) {
  if (!fs::exists("/usr/sap") || fs::exists(std::string(state_dir) + "/way")) return true;
  reason += "; and /usr/sap stands already, which might be a real host's";
  return false;
}

void remove_plain() {
  end_recorded();
  remove_tree();
  std::error_code ignored;
  fs::remove_all("/usr/sap", ignored);
}

// Ends the command when this process is to end, so that what comes after it is still done.
volatile pid_t plain_command = 0;

void end_plain_command(int) {
  if (plain_command > 0) ::kill(plain_command, SIGKILL);
}

void handle_signals(void (*handler)(int)) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    ::signal(signal, handler);
}

int run_plain(const std::function<int()>& inside) {
  const platform::Unique_Fd lock(::open(lock_path, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!lock || ::flock(lock.get(), LOCK_EX) != 0) fail(lock_path);
  std::string reason = "sandbox: namespaces are refused";
  if (!usr_sap_is_free(reason)) throw std::runtime_error(reason);
  if (fs::exists("/usr/sap")) remove_plain();
  mark(Way::plain);
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);
  plain_command = fork_and([&inside] {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    return inside();
  });
  handle_signals(&end_plain_command);
  const int status = reap_until(plain_command);
  kill_descendants();
  remove_plain();
  return status;
}

}  // namespace

Way probe(std::string& reason) {
  const Way wanted = ::geteuid() == 0 ? Way::namespaces : Way::one_user;
  int result[2];
  if (::pipe2(result, O_CLOEXEC) != 0) fail("pipe");
  const platform::Unique_Fd out(result[0]);
  platform::Unique_Fd in(result[1]);
  const pid_t child = fork_and([&] {
    try {
      leave_namespaces(wanted);
      return reap_until(fork_and([&] {
        try {
          furnish(wanted, {}, false);
          return 0;
        } catch (const std::exception& error) {
          ::dprintf(in.get(), "%s", error.what());
          return 1;
        }
      }));
    } catch (const std::exception& error) {
      ::dprintf(in.get(), "%s", error.what());
      return 1;
    }
  });
  in.reset();
  char text[512];
  const ssize_t length = ::read(out.get(), text, sizeof(text));
  int status = 1;
  ::waitpid(child, &status, 0);
  if (status == 0) return wanted;

  reason.assign(text, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
  return wanted == Way::namespaces && usr_sap_is_free(reason) ? Way::plain : Way::none;
}

int run_inside(Way way, const std::vector<std::string>& keep, bool sealed, const std::function<int()>& inside) {
  // The host's other users must reach what is made for them, and "/tmp" is another.
  ::umask(022);
  ::unsetenv("TMPDIR");
  return way == Way::plain ? run_plain(inside) : run_in_namespaces(way, keep, sealed, inside);
}

}  // namespace sandbox
