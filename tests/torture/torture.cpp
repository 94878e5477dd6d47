// Runs every public operation on a simulated host, by itself or inside another, while one call after another fails that
// it makes, and holds what it says against the undisturbed run: either the same, or its failure with a record in the
// log.
//
//   torture all [NAME]      each call that is reached, of every operation or of the one named
//   torture sample          a few of each operation's
//   torture soak SECONDS    all of them again and again for as long
//
// The process must not grow by any of it.
#include <ace/Log_Msg.h>
#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Record.h>
#include <curl/curl.h>
#include <execinfo.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "sandbox/way.h"
#include "tests/support/faults.h"
#include "tests/torture/operations.h"

namespace {

using torture::Operation;
using Clock = std::chrono::steady_clock;

constexpr unsigned TIME_LIMIT = 30;  // seconds for one run

// A call that is to fail; of kind 0 and never, if not said.
struct Call {
  std::size_t kind = 0;
  int error = 0;
  long nth = LONG_MAX;
};

char running[200];  // what is being tried, for whoever has to say so at the end

[[noreturn]] void die(int signal) {
  const char* const what = signal == SIGALRM ? ": does not end\n" : ": crashes\n";
  for (const char* text : {static_cast<const char*>(running), what})
    static_cast<void>(!::write(STDOUT_FILENO, text, std::strlen(text)));
  void* frames[50];
  ::backtrace_symbols_fd(frames, ::backtrace(frames, 50), STDOUT_FILENO);
  ::_exit(1);
}

struct Log : ACE_Log_Msg_Callback {
  void log(ACE_Log_Record& record) override {
    const test::Fault_Pause pause;
    ++(record.type() <= LM_DEBUG ? explanations : records);
  }

  int records = 0;
  int explanations = 0;  // at LM_DEBUG
} the_log;

long resident_memory() {
  long size = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> size >> resident;
  return resident * ::sysconf(_SC_PAGESIZE) / 1024;
}

struct Run {
  bool ok = false;
  std::string told;
  int records = 0;
  std::vector<std::string> requests;
  long calls = 0;     // of the kind in question
  long grown = 0;     // bytes that are still held
  std::string wrong;  // whatever another run is like
};

void run_operation(const Operation& operation, const Call& call, Run& run) {
  const test::Fault fault(call.kind, call.error, call.nth);
  try {
    run.ok = operation.run(run.told);
  } catch (...) {
    run.wrong = "throws";
  }
  run.calls = fault.calls();
}

Run run_with(const Operation& operation, const Call& call) {
  if (operation.prepare != nullptr) operation.prepare();
  torture::world->catalog.take_requests();
  torture::world->host.take_statements("HXE");
  std::snprintf(running, sizeof(running), "%s: %s %d, call %ld", operation.name, test::CALL_KINDS[call.kind].name,
                call.error, call.nth);
  Run run;
  run.told.reserve(4096);  // so that it allocates nothing meanwhile
  the_log.records = the_log.explanations = 0;
  const torture::Holdings before;

  ::alarm(TIME_LIMIT);
  const long memory = test::held_memory();
  run_operation(operation, call, run);
  run.grown = test::held_memory() - memory;
  ::alarm(0);

  const bool quiet = (operation.traits & torture::QUIET) != 0;
  run.records = the_log.records + (quiet ? the_log.explanations : 0);
  if (!torture::is_given_back(before)) run.wrong = "leaves a descriptor or a thread";
  if (::waitpid(-1, nullptr, WNOHANG) != -1) run.wrong = "leaves a child";
  if (run.wrong.empty() && run.grown > 0) run.wrong = "leaves " + std::to_string(run.grown) + " bytes";
  run.requests = torture::world->catalog.take_requests();
  return run;
}

// What is wrong with a run; empty for nothing.
std::string judge(const Operation& operation, const Call& call, const Run& undisturbed, const Run& run) {
  if (!run.wrong.empty()) return run.wrong;
  for (const std::string& request : run.requests) {
    const auto times = [&](const Run& of) { return std::count(of.requests.begin(), of.requests.end(), request); };
    if (times(undisturbed) == 0) return "sends " + request;
    if (request.compare(0, 3, "GET") != 0 && times(run) > times(undisturbed)) return "sends twice " + request;
  }
  if (run.ok == undisturbed.ok && run.told == undisturbed.told) return "";

  if (call.error == EINTR) return "is not tried again";
  if (run.ok && torture::without_extras(run.told) != torture::without_extras(undisturbed.told))
    return "is true, but: " + run.told;
  // Where memory is gone for good, there may be none for the record.
  const bool may_be_silent = !run.ok && ((operation.traits & torture::SILENT) != 0 || call.error == -ENOMEM);
  return run.records > 0 || may_be_silent ? "" : "says nothing, and: " + run.told;
}

// An older libcurl takes a poll that goes on failing for one without news, until the time of the request is over.
bool is_waited_out(const Run& undisturbed, const Call& call) {
  static const bool old = ::curl_version_info(CURLVERSION_NOW)->version_num < 0x075400;
  return old && !undisturbed.requests.empty() && call.error == -EINVAL;
}

class Torture {
 public:
  // Tries the calls of one operation: all of them, or about `count` of each kind.
  void all_of(const Operation& operation, long count) {
    for (std::size_t kind = 0; kind < test::CALL_KIND_COUNT; ++kind) {
      const Run undisturbed = run_undisturbed(operation, kind);
      const long step = std::max(1L, undisturbed.calls / count);
      for (const int error : test::CALL_KINDS[kind].errors) {
        for (long nth = 1; error != 0 && try_one(operation, undisturbed, {kind, error, nth}); nth += step) {
        }
      }
    }
  }

  // Runs an operation until what is made once in a process is there.
  Run run_undisturbed(const Operation& operation, std::size_t kind) {
    run_with(operation, {kind});
    const Run run = run_with(operation, {kind});
    if (!run.ok || !run.wrong.empty()) complain("fails undisturbed: " + run.wrong);
    return run;
  }

  // Complains if the process has grown since the first look.
  void look_at_process() {
    const long resident = resident_memory();
    if (first_resident_ == 0) {
      first_ = torture::Holdings();
      first_resident_ = resident;
    }
    std::printf("%ld cases: %ld KiB\n", cases_, resident);
    std::strcpy(running, "the process");
    if (!torture::is_given_back(first_) || resident > first_resident_ + SLACK) complain("has grown");
    std::fflush(stdout);
  }

  // True if there was nothing to complain of.
  bool report() const {
    std::printf("%ld cases, %ld wrong\n", cases_, wrong_);
    return wrong_ == 0;
  }

 private:
  static constexpr long SLACK = 2048;  // KiB

  // False if there is no such call.
  bool try_one(const Operation& operation, const Run& undisturbed, const Call& call) {
    if (is_waited_out(undisturbed, call)) return false;
    Run run = run_with(operation, call);
    // What a library keeps for its next use, like the stack of a thread, is not lost; what grows again is.
    if (run.grown > 0) run = run_with(operation, call);
    const std::string wrong = judge(operation, call, undisturbed, run);
    if (!wrong.empty()) complain(wrong);
    ++cases_;
    return run.calls >= call.nth;
  }

  void complain(const std::string& what) {
    ++wrong_;
    std::printf("%s: %s\n", running, what.substr(0, 300).c_str());
    std::fflush(stdout);
  }

  torture::Holdings first_;
  long first_resident_ = 0;  // KiB
  long cases_ = 0;
  long wrong_ = 0;
};

void run_mode(const std::string& mode, const char* argument, Torture& torture) {
  const bool soaks = mode == "soak";
  const auto end = Clock::now() + std::chrono::seconds(soaks && argument != nullptr ? std::atoi(argument) : 0);
  std::vector<const Operation*> operations;
  for (const Operation& operation : torture::OPERATIONS) {
    if (!soaks && argument != nullptr && std::strcmp(argument, operation.name) != 0) continue;
    if ((operation.traits & torture::OTHER_USER) != 0 && !sandbox::second_user_available()) {
      std::printf("not run, as it takes a second user: %s\n", operation.name);
    } else {
      operations.push_back(&operation);
    }
  }

  for (const Operation* operation : operations)
    torture.run_undisturbed(*operation, 0);
  do {
    torture.look_at_process();
    for (const Operation* operation : operations)
      torture.all_of(*operation, mode == "sample" ? 5 : LONG_MAX);
  } while (Clock::now() < end);
  torture.look_at_process();
}

}  // namespace

int main(int argc, char** argv) {
  ACE_LOG_MSG->clr_flags(ACE_Log_Msg::STDERR);
  ACE_LOG_MSG->set_flags(ACE_Log_Msg::MSG_CALLBACK);
  ACE_LOG_MSG->msg_callback(&the_log);
  for (const int signal : {SIGALRM, SIGSEGV, SIGABRT, SIGFPE, SIGBUS})
    ::signal(signal, die);

  torture::World the_world;
  Torture torture;
  run_mode(argc > 1 ? argv[1] : "all", argc > 2 ? argv[2] : nullptr, torture);
  return torture.report() ? 0 : 1;
}
