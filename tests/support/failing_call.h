#pragma once

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

#include <cstddef>
#include <cstdint>

namespace test {

constexpr unsigned ANY_ARGUMENT = 6;

template <std::size_t size>
bool install(sock_filter (&rules)[size]) {
  const sock_fprog filter{size, rules};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

// Lets a system call fail with `error` from now on in this thread and the processes that it starts; where an argument
// is named (0 to 5), only calls with that value there. For a process of its own: there is no way back.
inline bool let_call_fail(long number, int error, unsigned argument = ANY_ARGUMENT, std::uint32_t value = 0) {
  const auto errno_rule = SECCOMP_RET_ERRNO | static_cast<unsigned>(error);
  const auto place =
      argument == ANY_ARGUMENT ? offsetof(seccomp_data, nr) : offsetof(seccomp_data, args) + 8 * argument;
  const auto expected = argument == ANY_ARGUMENT ? static_cast<std::uint32_t>(number) : value;
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(number), 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(place)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, expected, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, errno_rule),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  return install(rules);
}

}  // namespace test
