// Runs every public operation on a simulated host while one call after another fails that it makes, and holds what it
// says against the undisturbed run: either the same, or its failure with a record in the log.
//
//   torture all [NAME]     each call that is reached, of every operation or of the one named
//   torture sample         a few of each operation's
//   torture soak SECONDS   any operation with any call, for as long
#include <ace/Log_Msg.h>
#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Record.h>
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
#include <filesystem>
#include <map>
#include <random>
#include <thread>

#include "tests/support/faults.h"
#include "tests/torture/operations.h"

namespace {

using torture::Operation;

constexpr unsigned TIME_LIMIT = 30;  // seconds for one run
constexpr long NEVER = LONG_MAX;

char running[200];  // what is being tried, for whoever has to say so at the end

[[noreturn]] void die(int signal) {
  const char* const what = signal == SIGALRM ? "does not end: " : "crashes: ";
  for (const char* text : {what, static_cast<const char*>(running), "\n"})
    static_cast<void>(!::write(STDOUT_FILENO, text, std::strlen(text)));
  ::_exit(1);
}

class Log : public ACE_Log_Msg_Callback {
 public:
  void log(ACE_Log_Record& record) override {
    const test::Fault_Pause pause;
    const bool debug = record.type() <= LM_DEBUG;
    ++(debug ? explanations : records);
    if (debug) return;
    std::snprintf(last, sizeof(last), "%s", record.msg_data());
  }

  int records = 0;
  int explanations = 0;  // at LM_DEBUG
  char last[300] = "";
} log_records;

std::size_t entries(const char* directory) {
  const std::filesystem::directory_iterator all(directory);
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

struct Run {
  bool ok = false;
  std::string told;
  int records = 0;
  std::vector<std::string> requests;  // that are not to be sent without being asked for, nor again
  long calls = 0;                     // of the kind in question
  std::string wrong;                  // whatever the undisturbed run was like
};

Run run(const Operation& operation, std::size_t kind, int error, long nth, bool lasting = false) {
  if (operation.prepare != nullptr) operation.prepare();
  torture::world->catalog.take_requests();
  torture::world->host.take_statements("HXE");
  std::snprintf(running, sizeof(running), "%s: %s %d, call %ld", operation.name, test::CALL_KINDS[kind].name, error,
                nth);
  log_records.records = log_records.explanations = 0;
  Run run;
  run.told.reserve(4096);
  const std::size_t descriptors = entries("/proc/self/fd");
  const long memory = test::held_memory();
  ::alarm(TIME_LIMIT);
  {
    const test::Fault fault(kind, error, nth, lasting);
    try {
      run.ok = operation.run(run.told);
    } catch (const std::exception& thrown) {
      const test::Fault_Pause pause;
      run.wrong = std::string("throws ") + thrown.what();
    } catch (...) {
      run.wrong = "throws";
    }
    run.calls = fault.calls();
  }
  ::alarm(0);
  const long grown = test::held_memory() - memory;
  const bool quiet = (operation.traits & torture::QUIET) != 0;
  run.records = log_records.records + (quiet ? log_records.explanations : 0);
  // The service may have yet to see the end of a connection.
  for (int wait = 0; wait < 300 && entries("/proc/self/fd") > descriptors; ++wait)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  if (entries("/proc/self/fd") > descriptors) run.wrong = "leaves a descriptor";
  if (::waitpid(-1, nullptr, WNOHANG) != -1) run.wrong = "leaves a child";
  run.requests = torture::world->catalog.take_requests();
  if (run.wrong.empty() && grown > 0) run.wrong = "leaves " + std::to_string(grown) + " bytes";
  return run;
}

// What is wrong with a run under a fault; empty for nothing.
std::string judge(const Operation& operation, const Run& undisturbed, const Run& run) {
  if (!run.wrong.empty()) return run.wrong;
  for (const std::string& request : run.requests) {
    const auto times = [&](const Run& other) {
      return std::count(other.requests.begin(), other.requests.end(), request);
    };
    if (times(undisturbed) == 0) return "sends " + request;
    if (request.compare(0, 3, "GET") != 0 && times(run) > times(undisturbed)) return "sends twice " + request;
  }
  if (run.ok == undisturbed.ok && run.told == undisturbed.told) return "";
  if (run.records == 0 && (run.ok || (operation.traits & torture::SILENT) == 0))
    return std::string(run.ok ? "true" : "false") + " without a record: " + run.told;
  if (run.ok && (operation.traits & torture::DEGRADES) == 0) return "true, but: " + run.told;
  return "";
}

class Torture {
 public:
  // Tries the calls of one operation: all of them, or `count` of each kind.
  void of(const Operation& operation, long count) {
    for (std::size_t kind = 0; kind < test::CALL_KIND_COUNT; ++kind) {
      run(operation, kind, 0, NEVER);  // what is made once in a process is there after that
      const Run undisturbed = run(operation, kind, 0, NEVER);
      if (!undisturbed.ok || !undisturbed.wrong.empty())
        return complain(std::string("fails undisturbed: ") + undisturbed.wrong + log_records.last);
      const long step = std::max(1L, undisturbed.calls / count);
      for (const int error : test::CALL_KINDS[kind].errors) {
        if (error == 0 && &error != test::CALL_KINDS[kind].errors) break;
        bool reached = true;
        for (long nth = 1 + (step > 1 ? static_cast<long>(kind) % step : 0); reached; nth += step) {
          const Run disturbed = run(operation, kind, error, nth);
          reached = disturbed.calls >= nth;
          const std::string wrong = judge(operation, undisturbed, disturbed);
          if (!wrong.empty()) complain(wrong);
          ++cases_;
        }
      }
    }
  }

  // True if there was nothing to complain of.
  bool report() const {
    std::printf("%ld cases, %ld wrong\n", cases_, wrong_);
    return wrong_ == 0;
  }

 private:
  void complain(const std::string& what) {
    ++wrong_;
    std::printf("%s: %s\n", running, what.substr(0, 300).c_str());
    std::fflush(stdout);
  }

  long cases_ = 0;
  long wrong_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  ACE_LOG_MSG->clr_flags(ACE_Log_Msg::STDERR);
  ACE_LOG_MSG->set_flags(ACE_Log_Msg::MSG_CALLBACK);
  ACE_LOG_MSG->msg_callback(&log_records);
  for (const int signal : {SIGALRM, SIGSEGV, SIGABRT, SIGFPE, SIGBUS})
    ::signal(signal, die);

  torture::World the_world;
  const std::string mode = argc > 1 ? argv[1] : "all";
  Torture torture;
  for (const Operation& operation : torture::OPERATIONS) {
    if (argc > 2 && std::strcmp(argv[2], operation.name) != 0) continue;
    torture.of(operation, mode == "all" ? NEVER : 10);
  }
  return torture.report() ? 0 : 1;
}
