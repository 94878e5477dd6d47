// Runs a program as on the oldest kernel that is served, 4.18: the system calls that came later do not exist.
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "tests/support/failing_call.h"

int main(int, char** argv) {
  // From here on the numbers are the same on every processor; 5.1 began with it.
  constexpr unsigned FIRST_LATER_CALL = 424;
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, FIRST_LATER_CALL, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  if (test::install(rules)) ::execv(argv[1], argv + 1);
  std::perror(argv[0]);
  return 1;
}
