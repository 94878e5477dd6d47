#include "tests/support/faults.h"

#include <curl/curl.h>
#include <dlfcn.h>
#include <malloc.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

// The C library's own, to which these stand in front.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace test {
namespace {

enum Kind {
  MEMORY,
  OPEN,
  READ,
  STAT,
  READDIR,
  POLL,
  PIPE,
  SOCKET,
  SEND,
  RECV,
  SPAWN,
  WAIT,
  DESCRIPTOR,
  KERNEL,
  CHANGE,
  MAP,
  LOOKUP,
  CURL_OPTION,
  CURL_HANDLE,
  PAUSE  // never counted: no pause takes any time
};

struct Plan {
  std::size_t kind;
  int error;
  long nth;
  bool lasting;
  std::atomic<long> calls;
};

// Shared with children, so that their calls count.
Plan& plan() {
  static Plan* const shared =
      static_cast<Plan*>(::mmap(nullptr, sizeof(Plan), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  return *shared;
}

thread_local bool armed = false;
thread_local long held = 0;

bool fails(std::size_t kind) {
  if (armed && kind == PAUSE) return true;
  if (!armed || plan().kind != kind) return false;
  const long call = ++plan().calls;
  if (call != plan().nth && !(plan().lasting && call > plan().nth)) return false;
  errno = plan().error;
  return true;
}

void* hold(void* memory) {
  held += static_cast<long>(::malloc_usable_size(memory));
  return memory;
}

void release(void* memory) {
  held -= static_cast<long>(::malloc_usable_size(memory));
}

// Every argument of these calls fits a register, so one signature serves them all.
using Call = long (*)(long, long, long, long, long, long);

// Somebody else has taken the child; or the call was interrupted, and then nothing is lost by another one.
long after(long) {
  errno = plan().error;
  return -1;
}

Call next(const char* name) {
  return reinterpret_cast<Call>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

const Call_Kind CALL_KINDS[] = {
    {"memory", {ENOMEM, -ENOMEM}},
    {"open", {EMFILE, EINTR, EIO, -EMFILE}},
    {"read", {EIO, EINTR, -EIO}},
    {"stat", {EIO, ENOMEM}},
    {"readdir", {EIO}},
    {"poll", {ENOMEM, EINTR, -EINVAL}},
    {"pipe", {EMFILE}},
    {"socket", {EMFILE}},
    {"send", {ENOBUFS, EINTR}},
    {"recv", {ENOBUFS, EINTR}},
    {"spawn", {EAGAIN, EPERM}},
    {"wait", {ECHILD, EINTR}},
    {"descriptor", {ENOMEM}},
    {"kernel", {EPERM, ENOMEM}},
    {"change", {EPERM}},
    {"map", {ENOMEM}},
    {"lookup", {EIO, EMFILE}},
    {"curl_option", {CURLE_OUT_OF_MEMORY}},
    {"curl_handle", {0}},
};
const std::size_t CALL_KIND_COUNT = sizeof(CALL_KINDS) / sizeof(CALL_KINDS[0]);

Fault::Fault(std::size_t kind, int error, long nth) {
  plan().kind = kind;
  plan().error = error < 0 ? -error : error;
  plan().nth = nth;
  plan().lasting = error < 0;
  plan().calls = 0;
  armed = true;
}

Fault::~Fault() {
  armed = false;
}

long Fault::calls() const {
  return plan().calls;
}

Fault_Pause::Fault_Pause() : was_armed_(armed) {
  armed = false;
}

Fault_Pause::~Fault_Pause() {
  armed = was_armed_;
}

long held_memory() {
  return held;
}

}  // namespace test

extern "C" {

__attribute__((visibility("default"))) void* test_malloc(std::size_t size) asm("malloc");
void* test_malloc(std::size_t size) {
  return test::fails(test::MEMORY) ? nullptr : test::hold(__libc_malloc(size));
}

__attribute__((visibility("default"))) void* test_calloc(std::size_t count, std::size_t size) asm("calloc");
void* test_calloc(std::size_t count, std::size_t size) {
  return test::fails(test::MEMORY) ? nullptr : test::hold(__libc_calloc(count, size));
}

__attribute__((visibility("default"))) void* test_realloc(void* memory, std::size_t size) asm("realloc");
void* test_realloc(void* memory, std::size_t size) {
  if (size != 0 && test::fails(test::MEMORY)) return nullptr;
  test::release(memory);
  return test::hold(__libc_realloc(memory, size));
}

__attribute__((visibility("default"))) void* test_aligned_alloc(std::size_t alignment,
                                                                std::size_t size) asm("aligned_alloc");
void* test_aligned_alloc(std::size_t alignment, std::size_t size) {
  return test::fails(test::MEMORY) ? nullptr : test::hold(__libc_memalign(alignment, size));
}

__attribute__((visibility("default"))) void test_free(void* memory) asm("free");
void test_free(void* memory) {
  if (memory == nullptr) return;
  test::release(memory);
  __libc_free(memory);
}

#define STAND_BEFORE(name, kind, failure)                                                                             \
  __attribute__((visibility("default"))) long test_##name(long a, long b, long c, long d, long e, long f) asm(#name); \
  long test_##name(long a, long b, long c, long d, long e, long f) {                                                  \
    static const test::Call real = test::next(#name);                                                                 \
    return test::fails(test::kind) ? (failure) : real(a, b, c, d, e, f);                                              \
  }
STAND_BEFORE(open, OPEN, -1)
STAND_BEFORE(open64, OPEN, -1)
STAND_BEFORE(openat, OPEN, -1)
STAND_BEFORE(openat64, OPEN, -1)
STAND_BEFORE(fopen, OPEN, 0)
STAND_BEFORE(fopen64, OPEN, 0)
STAND_BEFORE(fdopendir, DESCRIPTOR, 0)
STAND_BEFORE(read, READ, -1)
STAND_BEFORE(pread, READ, -1)
STAND_BEFORE(pread64, READ, -1)
STAND_BEFORE(readlink, READ, -1)
STAND_BEFORE(readlinkat, READ, -1)
STAND_BEFORE(stat, STAT, -1)
STAND_BEFORE(stat64, STAT, -1)
STAND_BEFORE(fstat, STAT, -1)
STAND_BEFORE(fstat64, STAT, -1)
STAND_BEFORE(lstat, STAT, -1)
STAND_BEFORE(lstat64, STAT, -1)
STAND_BEFORE(fstatat, STAT, -1)
STAND_BEFORE(fstatat64, STAT, -1)
STAND_BEFORE(statx, STAT, -1)
STAND_BEFORE(readdir, READDIR, 0)
STAND_BEFORE(readdir64, READDIR, 0)
STAND_BEFORE(getdents64, READDIR, -1)
STAND_BEFORE(poll, POLL, -1)
STAND_BEFORE(ppoll, POLL, -1)
STAND_BEFORE(pipe, PIPE, -1)
STAND_BEFORE(pipe2, PIPE, -1)
STAND_BEFORE(socketpair, PIPE, -1)
STAND_BEFORE(socket, SOCKET, -1)
STAND_BEFORE(send, SEND, -1)
STAND_BEFORE(sendto, SEND, -1)
STAND_BEFORE(recv, RECV, -1)
STAND_BEFORE(waitid, WAIT, errno == EINTR ? -1 : test::after(real(a, b, c, d, e, f)))
STAND_BEFORE(waitpid, WAIT, errno == EINTR ? -1 : test::after(real(a, b, c, d, e, f)))
STAND_BEFORE(ioctl, DESCRIPTOR, -1)
STAND_BEFORE(fcntl, DESCRIPTOR, -1)
STAND_BEFORE(fcntl64, DESCRIPTOR, -1)
STAND_BEFORE(dup2, DESCRIPTOR, -1)
STAND_BEFORE(setsockopt, DESCRIPTOR, -1)
STAND_BEFORE(syscall, KERNEL, -1)
STAND_BEFORE(clone, SPAWN, -1)
STAND_BEFORE(chmod, CHANGE, -1)
STAND_BEFORE(fchownat, CHANGE, -1)
STAND_BEFORE(mmap, MAP, -1)
STAND_BEFORE(getpwnam_r, LOOKUP, errno)
STAND_BEFORE(getpwuid_r, LOOKUP, errno)
STAND_BEFORE(getgrnam_r, LOOKUP, errno)
STAND_BEFORE(getgrouplist, LOOKUP, -1)
STAND_BEFORE(nanosleep, PAUSE, 0)
STAND_BEFORE(clock_nanosleep, PAUSE, 0)
STAND_BEFORE(curl_easy_setopt, CURL_OPTION, errno)
STAND_BEFORE(curl_easy_getinfo, CURL_OPTION, errno)
STAND_BEFORE(curl_easy_init, CURL_HANDLE, 0)
STAND_BEFORE(curl_slist_append, CURL_HANDLE, 0)

// As a child that shared the caller's memory would return twice through this frame, it gets a copy; the caller waits.
__attribute__((visibility("default"))) long test_vfork() asm("vfork");
long test_vfork() {
  static const test::Call real = test::next("syscall");
  return test::fails(test::SPAWN) ? -1 : real(SYS_clone, CLONE_VFORK | SIGCHLD, 0, 0, 0, 0);
}

}  // extern "C"
