#include "tests/support/faults.h"

#include <curl/curl.h>
#include <dlfcn.h>
#include <malloc.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>

#include <atomic>
#include <boost/preprocessor.hpp>
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

// The kinds of calls, by name, and how they fail.
#define KINDS(KIND)                       \
  KIND(memory, ENOMEM, -ENOMEM)           \
  KIND(open, EMFILE, EINTR, EIO, -EMFILE) \
  KIND(read, EIO, EINTR, -EIO)            \
  KIND(stat, EIO, ENOMEM)                 \
  KIND(readdir, EIO)                      \
  KIND(poll, ENOMEM, EINTR, -EINVAL)      \
  KIND(pipe, EMFILE)                      \
  KIND(socket, EMFILE)                    \
  KIND(send, ENOBUFS, EINTR)              \
  KIND(recv, ENOBUFS, EINTR)              \
  KIND(spawn, EAGAIN, EPERM)              \
  KIND(wait, ECHILD, EINTR)               \
  KIND(descriptor, ENOMEM)                \
  KIND(kernel, EPERM, ENOMEM)             \
  KIND(change, EPERM)                     \
  KIND(map, ENOMEM)                       \
  KIND(lookup, EIO, EMFILE)               \
  KIND(curl_option, CURLE_OUT_OF_MEMORY)  \
  KIND(curl_handle, 0)
#define NUMBER(name, ...) of_##name,
#define FAILURES(name, ...) {#name, {__VA_ARGS__}},

enum Kind {
  KINDS(NUMBER) of_pause  // never counted: no pause takes any time
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
  if (armed && kind == of_pause) return true;
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

const Call_Kind CALL_KINDS[] = {KINDS(FAILURES)};
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
  return test::fails(test::of_memory) ? nullptr : test::hold(__libc_malloc(size));
}

__attribute__((visibility("default"))) void* test_calloc(std::size_t count, std::size_t size) asm("calloc");
void* test_calloc(std::size_t count, std::size_t size) {
  return test::fails(test::of_memory) ? nullptr : test::hold(__libc_calloc(count, size));
}

__attribute__((visibility("default"))) void* test_realloc(void* memory, std::size_t size) asm("realloc");
void* test_realloc(void* memory, std::size_t size) {
  if (size != 0 && test::fails(test::of_memory)) return nullptr;
  test::release(memory);
  return test::hold(__libc_realloc(memory, size));
}

__attribute__((visibility("default"))) void* test_aligned_alloc(std::size_t alignment,
                                                                std::size_t size) asm("aligned_alloc");
void* test_aligned_alloc(std::size_t alignment, std::size_t size) {
  return test::fails(test::of_memory) ? nullptr : test::hold(__libc_memalign(alignment, size));
}

__attribute__((visibility("default"))) void test_free(void* memory) asm("free");
void test_free(void* memory) {
  if (memory == nullptr) return;
  test::release(memory);
  __libc_free(memory);
}

// For each of the names.
#define STAND_BEFORE(kind, failure, ...) \
  BOOST_PP_SEQ_FOR_EACH(STAND_BEFORE_NAME, (kind, failure), BOOST_PP_VARIADIC_TO_SEQ(__VA_ARGS__))
#define STAND_BEFORE_NAME(r, how, name) STAND_BEFORE_ONE(name, BOOST_PP_TUPLE_ELEM(0, how), BOOST_PP_TUPLE_ELEM(1, how))
#define STAND_BEFORE_ONE(name, kind, failure)                                                                         \
  __attribute__((visibility("default"))) long test_##name(long a, long b, long c, long d, long e, long f) asm(#name); \
  long test_##name(long a, long b, long c, long d, long e, long f) {                                                  \
    static const test::Call real = test::next(#name);                                                                 \
    return test::fails(test::kind) ? (failure) : real(a, b, c, d, e, f);                                              \
  }
STAND_BEFORE(of_open, -1, open, open64, openat, openat64)
STAND_BEFORE(of_open, 0, fopen, fopen64)
STAND_BEFORE(of_descriptor, 0, fdopendir)
STAND_BEFORE(of_read, -1, read, pread, pread64, readlink, readlinkat)
STAND_BEFORE(of_stat, -1, stat, stat64, fstat, fstat64, lstat, lstat64, fstatat, fstatat64, statx)
STAND_BEFORE(of_readdir, 0, readdir, readdir64)
STAND_BEFORE(of_readdir, -1, getdents64)
STAND_BEFORE(of_poll, -1, poll, ppoll)
STAND_BEFORE(of_pipe, -1, pipe, pipe2, socketpair)
STAND_BEFORE(of_socket, -1, socket)
STAND_BEFORE(of_send, -1, send, sendto)
STAND_BEFORE(of_recv, -1, recv)
STAND_BEFORE(of_wait, errno == EINTR ? -1 : test::after(real(a, b, c, d, e, f)), waitid, waitpid)
STAND_BEFORE(of_descriptor, -1, ioctl, fcntl, fcntl64, dup2, setsockopt)
STAND_BEFORE(of_kernel, -1, syscall)
STAND_BEFORE(of_spawn, -1, clone)
STAND_BEFORE(of_change, -1, chmod, fchownat)
STAND_BEFORE(of_map, -1, mmap)
STAND_BEFORE(of_lookup, errno, getpwnam_r, getpwuid_r, getgrnam_r)
STAND_BEFORE(of_lookup, -1, getgrouplist)
STAND_BEFORE(of_pause, 0, nanosleep, clock_nanosleep)
STAND_BEFORE(of_curl_option, errno, curl_easy_setopt, curl_easy_getinfo)
STAND_BEFORE(of_curl_handle, 0, curl_easy_init, curl_slist_append)

// As a child that shared the caller's memory would return twice through this frame, it gets a copy; the caller waits.
__attribute__((visibility("default"))) long test_vfork() asm("vfork");
long test_vfork() {
  static const test::Call real = test::next("syscall");
  return test::fails(test::of_spawn) ? -1 : real(SYS_clone, CLONE_VFORK | SIGCHLD, 0, 0, 0, 0);
}

}  // extern "C"
