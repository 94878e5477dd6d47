#include <ace/Log_Record.h>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/process/child_run.h"
#include "platform/process/spawn.h"
#include "platform/process/subprocess.h"
#include "platform/process/text_process_handler.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_directory.h"

namespace {

using namespace std::chrono_literals;
using platform::ACE_Process_Ex;
using platform::Process_Options;

constexpr unsigned BOTH = ACE_Process_Ex::REDIRECT_STDOUT_STDERR;

// Keeps the lines of standard output, and does with each what a test asks for.
class Line_Keeper : public platform::Text_Process_Handler {
 public:
  Line_Keeper() : Text_Process_Handler(0) {}

  std::vector<std::string> lines;
  std::string segments;
  int closes = 0;
  int answer = 0;
  bool throws = false;

 protected:
  int handle_stdout_line(const char* line, std::size_t length) override {
    lines.emplace_back(line, length);
    if (throws) throw std::runtime_error("handler threw");
    return answer;
  }
  void handle_stdout_segment(const char* data, std::size_t length) override { segments.append(data, length); }
  void handle_stdout_close() override { ++closes; }
};

// Runs a script with /bin/sh; the script holds no double quote.
int run_script(Line_Keeper& keeper, const std::string& script, const char* user = nullptr) {
  Process_Options options;
  options.command_line("/bin/sh -c \"%s\"", script.c_str());
  if (user != nullptr) options.setreugid(user);
  return keeper.call(BOTH, options);
}

bool contains(const std::vector<std::string>& texts, const std::string& part) {
  return std::any_of(texts.begin(), texts.end(),
                     [&](const std::string& text) { return text.find(part) != std::string::npos; });
}

std::size_t open_descriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

// After each test, on whatever path, no child and no descriptor more than before is left.
class ProcessTest : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(open_descriptors(), descriptors_);
    EXPECT_TRUE(::waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD) << "a child was left";
  }

  test::Log_Capture log;

 private:
  std::size_t descriptors_ = open_descriptors();
};

// Runs `body` in a process of its own, which it may spoil; its result says whether all was well there.
template <class Body>
void expect_in_own_process(Body body) {
  const pid_t pid = ::fork();
  if (pid == 0) ::_exit(body() ? 0 : 1);
  int status = -1;
  ASSERT_EQ(::waitpid(pid, &status, 0), pid);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

TEST_F(ProcessTest, every_line_arrives_as_it_was_written) {
  const std::string megabyte(1'000'000, 'x');
  const struct {
    const char* script;
    std::vector<std::string> lines;
  } cases[] = {
      {"printf 'one\\ntwo\\n'", {"one", "two"}},
      {"printf 'one\\n\\n\\ntwo'", {"one", "", "", "two"}},
      {"printf 'a\\000b\\r\\n\\n'", {std::string("a\0b\r", 4), ""}},
      {"printf o; sleep 0.01; printf n; sleep 0.01; printf 'e\\n'", {"one"}},
      {"head -c 1000000 /dev/zero | tr '\\000' x", {megabyte}},
      {"true", {}},
  };
  for (const auto& c : cases) {
    Line_Keeper keeper;
    EXPECT_EQ(run_script(keeper, c.script), 0) << c.script;
    EXPECT_EQ(keeper.lines, c.lines) << c.script;
    EXPECT_EQ(keeper.closes, 1) << c.script;
  }
}

TEST_F(ProcessTest, a_line_over_the_limit_is_dropped_and_the_next_one_taken) {
  Line_Keeper keeper;

  EXPECT_EQ(run_script(keeper, "head -c 16777217 /dev/zero; echo; head -c 16777216 /dev/zero; echo; echo next"), 0);

  ASSERT_EQ(keeper.lines.size(), 2U);
  EXPECT_EQ(keeper.lines[0].size(), 16777216U);
  EXPECT_EQ(keeper.lines[1], "next");
  log.expect_error("Failed to read a line of output: longer than 16777216 bytes\n");
}

TEST_F(ProcessTest, a_line_that_is_rejected_or_throws_does_not_stop_the_next) {
  for (const bool throws : {false, true}) {
    Line_Keeper keeper;
    keeper.answer = -1;
    keeper.throws = throws;

    EXPECT_EQ(run_script(keeper, "echo one; echo two"), 0);

    EXPECT_EQ(keeper.lines, (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(contains(log.take_debug(), "handler threw"), throws);
  }
}

TEST_F(ProcessTest, both_streams_flow_at_once_and_stay_apart) {
  Line_Keeper keeper;

  EXPECT_EQ(run_script(keeper,
                       "for i in 1 2 3 4 5 6 7 8; do head -c 300000 /dev/zero | tr '\\000' e >&2; echo >&2;"
                       " head -c 300000 /dev/zero | tr '\\000' o; echo; done"),
            0);

  EXPECT_EQ(keeper.lines, std::vector<std::string>(8, std::string(300'000, 'o')));
  EXPECT_EQ(keeper.segments.size(), 8 * 300'001U);
  EXPECT_EQ(log.take_debug().size(), 8U);
}

// Keeps what is told to a callback.
class Told : public ACE_Log_Msg_Callback {
 public:
  void log(ACE_Log_Record& record) override { texts.emplace_back(record.msg_data()); }
  std::vector<std::string> texts;
};

TEST_F(ProcessTest, a_callback_takes_standard_error_and_the_ending_in_place_of_the_log) {
  const auto told = std::make_shared<Told>();
  ACE_Process_Ex process(BOTH, nullptr, told);
  Process_Options options;
  options.command_line("/bin/sh -c \"echo problem >&2; exit 7\" secret");
  Line_Keeper keeper;

  EXPECT_NE(keeper.call(&process, options), 0);

  EXPECT_EQ(told->texts, (std::vector<std::string>{"problem\n", "'/bin/sh' exited with status 7\n"}));
  EXPECT_TRUE(log.take_debug().empty());
}

TEST_F(ProcessTest, only_a_program_that_ran_and_exited_with_0_is_a_success) {
  const test::Temporary_Directory directory;
  const std::string not_executable = directory.file("script", "#!/bin/sh\n");
  const struct {
    std::string command;
    int result;
    const char* told;
  } cases[] = {
      {"/bin/true", 0, nullptr},
      {"/bin/false", -1, "'/bin/false' exited with status 1\n"},
      {"/bin/sh -c \"exit 127\"", -1, "exited with status 127"},
      {"/bin/sh -c \"kill -SEGV $$\"", -1, "was killed by signal 11"},
      {"/no/such/program", -1, "'/no/such/program' cannot be started: No such file or directory\n"},
      {not_executable, -1, "cannot be started: Permission denied"},
      {"/usr", -1, "cannot be started: Permission denied"},
      {"true", -1, "'true' cannot be started: No such file or directory\n"},
      {"", -1, "child cannot be started: command line is empty\n"},
  };
  for (const auto& c : cases) {
    for (const bool captured : {true, false}) {
      Process_Options options;
      options.command_line("%s", c.command.c_str());
      Line_Keeper keeper;

      const int result = captured ? keeper.call(BOTH, options) : platform::subprocess::call(options, nullptr);

      EXPECT_EQ(result, c.result) << c.command;
      const std::vector<std::string> told = log.take_debug();
      EXPECT_TRUE(c.told == nullptr ? told.empty() : contains(told, c.told)) << c.command;
    }
  }
}

TEST_F(ProcessTest, options_that_do_not_fit_are_never_run) {
  const test::Temporary_Directory directory;
  const std::string marker = directory / "ran";
  const std::string touch = "/usr/bin/touch " + marker;
  const struct {
    const char* what;
    std::string command;
    std::size_t variable_size;
    const char* user;
    bool runs;
  } cases[] = {
      {"longest line", touch + std::string(1023 - touch.size(), ' '), 1, nullptr, true},
      {"line too long", touch + std::string(1024 - touch.size(), ' '), 1, nullptr, false},
      {"most arguments",
       touch +
           [] {
             std::string s;
             for (int i = 0; i < 125; ++i)
               s += " /";
             return s;
           }(),
       1, nullptr, true},
      {"too many arguments",
       touch +
           [] {
             std::string s;
             for (int i = 0; i < 126; ++i)
               s += " /";
             return s;
           }(),
       1, nullptr, false},
      {"long variable", touch, 8000, nullptr, true},
      {"variable too long", touch, 17000, nullptr, false},
      {"no such user", touch, 1, "no such user", false},
  };
  for (const auto& c : cases) {
    Process_Options options;
    if (c.user != nullptr) options.setreugid(c.user);
    options.command_line("%s", c.command.c_str());
    options.setenv("VARIABLE", "%s", std::string(c.variable_size, 'v').c_str());

    EXPECT_EQ(platform::subprocess::call(options, nullptr) == 0, c.runs) << c.what;

    EXPECT_EQ(std::filesystem::remove(marker), c.runs) << c.what;
    EXPECT_EQ(options.fault().empty(), c.runs) << c.what;
    EXPECT_EQ(contains(log.take_debug(), "cannot be started"), !c.runs) << c.what;
  }
}

TEST_F(ProcessTest, no_user_at_all_is_a_user_that_does_not_exist) {
  Process_Options options;
  EXPECT_EQ(options.setreugid(nullptr), -1);
  EXPECT_EQ(options.fault(), "user '' cannot be looked up");
}

TEST_F(ProcessTest, a_replaced_command_line_leaves_nothing_in_the_buffer) {
  Process_Options options;
  options.command_line("/bin/true %s", "secretword");
  options.command_line("/bin/true");

  std::size_t size = 0;
  const char* const buffer = options.command_line_buf(&size);
  EXPECT_EQ(std::string_view(buffer, size).find("secretword"), std::string_view::npos);
}

TEST_F(ProcessTest, the_environment_is_inherited_with_what_was_set_over_it) {
  ASSERT_EQ(::setenv("GIVEN", "by the caller", 1), 0);
  ASSERT_EQ(::setenv("GIVEN_TOO", "kept", 1), 0);
  Process_Options options;
  options.setenv("GIVEN", "%s", "first");
  options.setenv("GIVEN", "%s=%d", "last", 5);
  options.command_line("/usr/bin/env");
  Line_Keeper keeper;

  EXPECT_EQ(keeper.call(BOTH, options), 0);

  EXPECT_EQ(std::count(keeper.lines.begin(), keeper.lines.end(), "GIVEN=last=5"), 1);
  EXPECT_EQ(std::count(keeper.lines.begin(), keeper.lines.end(), "GIVEN_TOO=kept"), 1);
  EXPECT_EQ(std::count_if(keeper.lines.begin(), keeper.lines.end(),
                          [](const std::string& line) { return line.rfind("GIVEN=", 0) == 0; }),
            1);
}

TEST_F(ProcessTest, a_daemon_left_behind_neither_holds_the_call_nor_dies_with_it) {
  // The last one writes without end into the pipe that it inherited.
  for (const char* daemon :
       {"sleep 60", "sh -c 'trap : PIPE; while echo noise 2>/dev/null; do :; done; exec sleep 60'"}) {
    Line_Keeper keeper;
    const auto start = std::chrono::steady_clock::now();

    EXPECT_EQ(run_script(keeper, std::string(daemon) + " & echo $!"), 0);

    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s) << daemon;
    const auto pid = std::find_if(keeper.lines.begin(), keeper.lines.end(), [](const std::string& line) {
      return line.find_first_not_of("0123456789") == std::string::npos;
    });
    ASSERT_NE(pid, keeper.lines.end());
    EXPECT_EQ(::kill(std::stoi(*pid), SIGKILL), 0) << daemon << " is gone";
  }
}

// A child that tells its end as a sink sees it.
platform::Child_End run_limited(const char* script, const platform::Run_Limits& limits) {
  class : public platform::Output_Sink {
    void output(platform::Output_Stream, const char*, std::size_t) override {}
    void closed(platform::Output_Stream) override {}
  } sink;
  int pipe_ends[2];
  EXPECT_EQ(::pipe2(pipe_ends, O_CLOEXEC), 0);
  std::string shell = "/bin/sh", flag = "-c", text = script;
  char* const arguments[] = {shell.data(), flag.data(), text.data(), nullptr};
  platform::Spawn_Request request{arguments, environ};
  request.standard_output = pipe_ends[1];
  const pid_t pid = platform::spawn(request);
  ::close(pipe_ends[1]);
  platform::Unique_Fd streams[platform::OUTPUT_STREAMS] = {platform::Unique_Fd(pipe_ends[0]), platform::Unique_Fd()};
  return platform::run_child(pid, streams, sink, limits);
}

TEST_F(ProcessTest, a_child_that_closes_its_output_and_lives_on_is_ended_in_time) {
  const struct {
    const char* script;
    platform::Child_End::Kind kind;
  } cases[] = {
      {"exec >&-; sleep 0.2; exit 4", platform::Child_End::exited},
      {"exec >&- sleep 60", platform::Child_End::overdue},
      {"trap '' TERM; exec >&-; while :; do sleep 1; done", platform::Child_End::overdue},
  };
  for (const bool use_pidfd : {true, false}) {
    for (const auto& c : cases) {
      const auto start = std::chrono::steady_clock::now();
      const platform::Child_End end = run_limited(c.script, {600ms, 200ms, 50ms, use_pidfd});
      EXPECT_EQ(end.kind, c.kind) << c.script << use_pidfd;
      EXPECT_LT(std::chrono::steady_clock::now() - start, 30s) << c.script;
    }
  }
}

TEST_F(ProcessTest, without_pidfds_every_ending_is_seen_too) {
  const platform::Run_Limits limits{2000ms, 300ms, 50ms, false};
  EXPECT_EQ(run_limited("exit 5", limits).value, 5);
  EXPECT_EQ(run_limited("kill -9 $$", limits).kind, platform::Child_End::killed);
  EXPECT_EQ(run_limited("sleep 3 & exit 6", limits).value, 6);
}

TEST_F(ProcessTest, no_descriptor_and_no_signal_state_reaches_a_child) {
  const platform::Unique_Fd inheritable(::open("/dev/null", O_RDONLY));
  const platform::Unique_Fd high(::fcntl(inheritable.get(), F_DUPFD, 700));
  const std::vector<const char*> users =
      ::geteuid() == 0 ? std::vector<const char*>{nullptr, "nobody"} : std::vector<const char*>{nullptr};
  sigset_t all, before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  void (*const previous)(int) = ::signal(SIGPIPE, SIG_IGN);

  for (const char* user : users) {
    Line_Keeper keeper;
    EXPECT_EQ(run_script(keeper,
                         "readlink /proc/self/fd/0; for f in /proc/$$/fd/*; do echo ${f##*/}; done;"
                         " grep -E 'Sig(Blk|Ign)' /proc/self/status",
                         user),
              0);
    // 3 is the shell's own, reading the directory.
    const std::vector<std::string> wanted = {
        "/dev/null", "0", "1", "2", "3", "SigBlk:\t0000000000000000", "SigIgn:\t0000000000000000"};
    EXPECT_EQ(keeper.lines, wanted) << (user == nullptr ? "caller" : user);
  }
  ::signal(SIGPIPE, previous);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(ProcessTest, descriptors_can_be_closed_one_by_one_where_no_range_can) {
  const platform::Unique_Fd high(::fcntl(0, F_DUPFD, 700));
  std::string shell = "/bin/sh", flag = "-c", text = "test ! -e /proc/$$/fd/700";
  char* const arguments[] = {shell.data(), flag.data(), text.data(), nullptr};
  platform::Child_Identity nobody{65534, 65534, {65534}};
  for (const platform::Child_Identity* identity : {static_cast<platform::Child_Identity*>(nullptr), &nobody}) {
    if (identity != nullptr && ::geteuid() != 0) continue;
    platform::Spawn_Request request{arguments, environ};
    request.identity = identity;
    request.closing = platform::Descriptor_Closing::one_by_one;

    const pid_t pid = platform::spawn(request);

    int status = -1;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    EXPECT_EQ(status, 0);
  }
}

TEST_F(ProcessTest, a_child_with_another_user_has_that_users_ids_and_groups_only) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  const gid_t extra[] = {4, 24};
  ASSERT_EQ(::setgroups(2, extra), 0);
  Line_Keeper keeper;

  EXPECT_EQ(run_script(keeper, "grep -E '^(Uid|Gid|Groups):' /proc/self/status", "nobody"), 0);

  ASSERT_EQ(::setgroups(0, nullptr), 0);
  EXPECT_EQ(keeper.lines, (std::vector<std::string>{"Uid:\t65534\t65534\t65534\t65534",
                                                    "Gid:\t65534\t65534\t65534\t65534", "Groups:\t65534 "}));
}

TEST_F(ProcessTest, a_user_that_cannot_be_taken_means_that_nothing_ran) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  const test::Temporary_Directory directory;
  ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);
  const std::string marker = directory / "ran";

  expect_in_own_process([&] {
    if (::setgid(1) != 0 || ::setuid(1) != 0) return false;
    Process_Options options;
    options.setreugid("nobody");
    options.command_line("/usr/bin/touch %s", marker.c_str());
    return platform::subprocess::call(options, nullptr) != 0;
  });

  EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST_F(ProcessTest, a_caller_that_is_the_user_already_needs_no_right_to_switch) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  expect_in_own_process([&] {
    const gid_t group = 65534;
    if (::setgroups(1, &group) != 0 || ::setgid(group) != 0 || ::setuid(65534) != 0) return false;
    Process_Options options;
    options.setreugid("nobody");
    options.command_line("/bin/true");
    return platform::subprocess::call(options, nullptr) == 0;
  });
}

void on_signal(int) {}

TEST_F(ProcessTest, unusual_callers_get_a_right_answer_in_time) {
  const auto runs = [](int wanted, std::size_t lines) {
    Line_Keeper keeper;
    const int result = run_script(keeper, "echo line");
    return result == wanted && keeper.lines == std::vector<std::string>(lines, "line");
  };
  const struct {
    const char* caller;
    bool (*prepare)();
    int result;
    std::size_t lines = 1;
  } cases[] = {
      {"ignores SIGCHLD", [] { return ::signal(SIGCHLD, SIG_IGN) != SIG_ERR; }, -1},
      {"reaps every child",
       [] {
         const auto reap = [](int) {
           const int saved_errno = errno;
           while (::waitpid(-1, nullptr, WNOHANG) > 0) {
           }
           errno = saved_errno;
         };
         return ::signal(SIGCHLD, reap) != SIG_ERR;
       },
       -1},
      {"gets a signal every millisecond",
       [] {
         ::signal(SIGALRM, on_signal);
         const itimerval timer{{0, 1000}, {0, 1000}};
         return ::setitimer(ITIMER_REAL, &timer, nullptr) == 0;
       },
       0},
      {"has closed its standard streams", [] { return ::close(0) == 0 && ::close(1) == 0 && ::close(2) == 0; }, 0},
      {"may start no process",
       [] {
         const rlimit none{0, 0};
         return (::geteuid() != 0 || ::setuid(65534) == 0) && ::setrlimit(RLIMIT_NPROC, &none) == 0;
       },
       -1, 0},
      {"forks meanwhile, and its children hold what was open then",
       [] {
         std::thread([caller = ::getpid()] {
           for (int i = 0; i < 100; ++i) {
             if (::fork() == 0) {
               ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // comes when the thread ends, with its process
               while (::getppid() == caller)        // which may have been before
                 ::pause();
               ::_exit(0);
             }
           }
           ::pause();
         }).detach();
         return true;
       },
       0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.caller);
    expect_in_own_process([&] { return c.prepare() && runs(c.result, c.lines); });
  }
}

TEST_F(ProcessTest, a_caller_without_free_descriptors_gets_a_failure) {
  expect_in_own_process([] {
    const int first_free = ::dup(0);
    ::close(first_free);
    for (int spare = 0; spare < 6; ++spare) {
      const rlimit limit{static_cast<rlim_t>(first_free + spare), 20000};
      if (::setrlimit(RLIMIT_NOFILE, &limit) != 0) return false;
      Line_Keeper keeper;
      const int result = run_script(keeper, "echo line");
      if (result == 0 && keeper.lines != std::vector<std::string>{"line"}) return false;
      if (spare == 0 && result == 0) return false;
    }
    return true;
  });
}

TEST_F(ProcessTest, threads_spawn_at_once_without_handing_each_others_pipes_on) {
  std::atomic<int> right{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&right, i] {
      for (int run = 0; run < 20; ++run) {
        Line_Keeper keeper;
        const int result =
            run_script(keeper, "echo " + std::to_string(i) + "; for f in /proc/$$/fd/*; do echo ${f##*/}; done");
        if (result == 0 && keeper.lines == std::vector<std::string>{std::to_string(i), "0", "1", "2", "3"}) ++right;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();

  EXPECT_EQ(right, 160);
}

}  // namespace
