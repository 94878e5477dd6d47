#include "bench/cases.h"
#include "bench/measure.h"
#include "bench/program.h"
#include "sandbox/host.h"

namespace bench {

void host_report() {
  const sandbox::Host host;
  race_runs({"host_report of the default host",
             [] { finish(start_program({BENCH_HOST_REPORT})); },
             {{"ps, grep, awk, ss in a shell",
               [] {
                 finish(start_program({"/bin/sh", BENCH_SHELL_REPORT}));
               },
               1}}},
            31);
}

}  // namespace bench
