#include <ace/Log_Record.h>
#include <grp.h>
#include <sys/syscall.h>
#include <sys/time.h>

#include "platform/log/log.h"
#include "platform/process/child_watch.h"
#include "platform/process/spawn.h"
#include "platform/process/subprocess.h"
#include "platform/process/text_process_handler.h"
#include "platform/users/accounts.h"
#include "sandbox/way.h"
#include "tests/support/failing_call.h"
#include "tests/support/test.h"

namespace {

using namespace std::chrono_literals;
using namespace platform;

constexpr unsigned BOTH = ACE_Process_Ex::REDIRECT_STDOUT_STDERR;
constexpr gid_t NOBODY = 65534;

// Keeps the lines of standard output and rejects each of them.
class Line_Keeper : public platform::Text_Process_Handler {
 public:
  Line_Keeper() : Text_Process_Handler(0) {}

  std::vector<std::string> lines;
  std::size_t segment_bytes = 0;
  std::string order;                      // "o", "e" for a close of standard output, error; "l" for a line of error
  std::function<void()> thrower = [] {};  // called by every callback

 protected:
  int handle_stdout_line(const char* line, std::size_t length) override {
    lines.emplace_back(line, length);
    thrower();
    return -1;
  }
  void handle_stdout_segment(const char*, std::size_t length) override {
    segment_bytes += length;
    thrower();
  }
  void handle_stdout_close() override {
    order += 'o';
    thrower();
  }
  void handle_stderr_close() override { order += 'e'; }
  void handle_stderr_line(const char* line, std::size_t length) override {
    order += 'l';
    Text_Process_Handler::handle_stderr_line(line, length);
  }
};

// Runs a script with /bin/sh; the script holds no double quote.
int run_script(Line_Keeper& keeper, const std::string& script, const char* user = nullptr) {
  Process_Options options;
  options.command_line("/bin/sh -c \"%s\"", script.c_str());
  if (user != nullptr) options.setreugid(user);
  return keeper.call(BOTH, options);
}

// This process's descriptors and its mappings that it shares with children.
std::string holdings() {
  std::string held;
  for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd"))
    held += descriptor.path().filename().string() + " ";
  const std::string maps = test::content_of("/proc/self/maps");
  const std::regex shared("/dev/zero");
  return held + std::to_string(std::distance(std::sregex_iterator(maps.begin(), maps.end(), shared), {}));
}

// After each test, on whatever path, no child is left and no descriptor or mapping more than before.
class ProcessTest : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(holdings(), before_);
    EXPECT_TRUE(::waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD) << "a child was left";
  }

  test::Log_Capture log;

 private:
  const std::string before_ = holdings();
};

TEST_F(ProcessTest, every_line_arrives_as_it_was_written_though_the_callbacks_reject_it_or_throw) {
  const auto inherited = [] { return test::run_command("ls /proc/self/fd").output; };
  const std::string before = inherited();
  const std::pair<std::function<void()>, std::string> throwers[] = {
      {[&] { EXPECT_EQ(inherited(), before); }, ""},
      {[] { throw std::runtime_error("handler threw"); }, "Failed to take output: handler threw\n"},
      {[] { throw 5; }, "Failed to take output: unknown exception\n"}};
  for (const auto& [thrower, told] : throwers) {
    Line_Keeper keeper;
    keeper.thrower = thrower;

    EXPECT_EQ(run_script(keeper, "printf 'a\\000b\\r\\n\\nla'; sleep 0.05; printf st"), 0);

    EXPECT_EQ(keeper.lines, (std::vector<std::string>{std::string("a\0b\r", 4), "", "last"}));
    EXPECT_EQ(keeper.order.size(), 2U);
    EXPECT_EQ(log.take_debug(), std::vector<std::string>(told.empty() ? 0 : 6, told));
  }
}

TEST_F(ProcessTest, a_log_callback_may_throw_and_is_let_go_when_the_run_ends) {
  struct Thrower : ACE_Log_Msg_Callback {
    void log(ACE_Log_Record& record) override {
      calls += record.type() == LM_DEBUG ? 1 : 100;
      throw 5;
    }
    int calls = 0;
  };
  const auto callback = std::make_shared<Thrower>();
  Line_Keeper keeper;
  for (const int status : {0, 3}) {
    Process_Options options;
    options.command_line("/bin/sh -c \"echo one >&2; echo two >&2; exit %d\"", status);
    ACE_Process_Ex process(BOTH, nullptr, callback);
    EXPECT_EQ(keeper.call(&process, options), status == 0 ? 0 : -1);
  }
  EXPECT_EQ(callback->calls, 5);
  EXPECT_EQ(callback.use_count(), 1);
}

TEST_F(ProcessTest, a_line_over_the_limit_is_dropped_and_the_next_one_taken) {
  Line_Keeper keeper;

  EXPECT_EQ(run_script(keeper, "head -c 16777217 /dev/zero; echo; head -c 16777216 /dev/zero; echo; echo next"), 0);

  ASSERT_EQ(keeper.lines.size(), 2U);
  EXPECT_EQ(keeper.lines[0].size(), 16777216U);
  EXPECT_EQ(keeper.lines[1], "next");
  log.expect_error("Failed to read a line of output: longer than 16777216 bytes\n");
}

TEST_F(ProcessTest, both_streams_flow_at_once_and_stay_apart) {
  Line_Keeper keeper;

  EXPECT_EQ(run_script(keeper, "for i in 1 2 3; do printf '%3000000s\\n' e >&2; printf '%3000000s\\n' o; done"), 0);

  EXPECT_EQ(keeper.lines, std::vector<std::string>(3, std::string(2'999'999, ' ') + "o"));
  EXPECT_EQ(keeper.segment_bytes, 3 * 3'000'001U);
  EXPECT_EQ(log.take_debug().size(), 3U);
}

TEST_F(ProcessTest, a_stream_is_captured_if_asked_for_and_closed_by_itself) {
  const std::tuple<unsigned, std::string, std::string> cases[] = {{ACE_Process_Ex::REDIRECT_STDOUT, "out", "o"},
                                                                  {ACE_Process_Ex::REDIRECT_STDERR, "err\n", "le"},
                                                                  {BOTH, "outerr\n", "ole"},
                                                                  {0, "", ""}};
  for (const auto& [flags, captured, order] : cases) {
    Process_Options options;
    options.command_line("/bin/sh -c \"echo out; exec >&-; sleep 0.1; echo err >&2\"");
    Line_Keeper keeper;

    EXPECT_EQ(keeper.call(flags, options), 0);

    std::string seen = keeper.lines.empty() ? "" : keeper.lines[0];
    for (const std::string& text : log.take_debug())
      seen += text;
    EXPECT_EQ(seen, captured);
    EXPECT_EQ(keeper.order, order);
  }
}

TEST_F(ProcessTest, only_a_program_that_ran_and_exited_with_0_is_a_success) {
  const auto told = [&](const char* command) {
    Process_Options options;
    options.command_line("%s", command);
    const int result = platform::subprocess::call(options, nullptr);
    const std::vector<std::string> texts = log.take_debug();
    EXPECT_EQ(result, texts.empty() ? 0 : -1) << command;
    EXPECT_EQ(Line_Keeper().call(BOTH, options), result) << command;
    EXPECT_EQ(log.take_debug(), texts);
    return texts.empty() ? "" : texts[0];
  };
  EXPECT_EQ(told("/bin/true"), "");
  EXPECT_EQ(told("/bin/sh -c \"exit 127\""), "'/bin/sh' exited with status 127\n");
  EXPECT_EQ(told("/bin/sh -c \"kill -SEGV $$\""), "'/bin/sh' was killed by signal 11\n");
  EXPECT_EQ(told(""), "child cannot be started: command line is empty\n");
#ifndef __SANITIZE_THREAD__  // which makes a fork() of each vfork(), and that does not wait for the program to run
  EXPECT_EQ(told("/no/such/program"), "'/no/such/program' cannot be started: No such file or directory\n");
  EXPECT_EQ(told("true"), "'true' cannot be started: No such file or directory\n");
  EXPECT_EQ(told("\x1B[2J\xC2\x9B\xC3\x9B\x7F"),
            "'\\x1B[2J\\x9B\xC3\x9B\\x7F' cannot be started: No such file or directory\n");
  EXPECT_EQ(told("/etc/passwd"), "'/etc/passwd' cannot be started: Permission denied\n");
  EXPECT_EQ(told("/usr"), "'/usr' cannot be started: Permission denied\n");
  EXPECT_EQ(told("/o'brien/tool -p Secret 'x'"), "'/o'brien/tool' cannot be started: No such file or directory\n");
#endif
}

TEST_F(ProcessTest, options_that_do_not_fit_are_never_run) {
  const std::string me = platform::user_name(::geteuid());
  const auto runs = [&](int length, int arguments, int variable_length, const char* user) {
    std::string command = "/bin/true";
    for (int count = 1; count < arguments; ++count)
      command += " /";
    Process_Options options;
    options.setreugid(user);
    options.command_line("%-*s", length, command.c_str());
    options.setenv("VARIABLE", "%*s", variable_length, "");
    const bool ran = platform::subprocess::call(options, nullptr) == 0;
    EXPECT_EQ(options.fault().empty(), ran);
    EXPECT_EQ(log.take_debug().empty(), ran);
    return ran;
  };
  EXPECT_TRUE(runs(1023, 1, 1, me.c_str()));
  EXPECT_FALSE(runs(1024, 1, 1, me.c_str()));
  EXPECT_TRUE(runs(500, 127, 1, me.c_str()));
  EXPECT_FALSE(runs(500, 128, 1, me.c_str()));
  EXPECT_TRUE(runs(9, 1, 8000, me.c_str()));
  EXPECT_FALSE(runs(9, 1, 17000, me.c_str()));
  EXPECT_FALSE(runs(9, 1, 1, "no such user"));
  EXPECT_FALSE(runs(9, 1, 1, nullptr));

  void (ACE_Process_Options::*const changes[])(uid_t) = {&ACE_Process_Options::setruid, &ACE_Process_Options::seteuid,
                                                         &ACE_Process_Options::setrgid, &ACE_Process_Options::setegid};
  for (const auto change : changes) {
    ACE_Process_Options options;
    options.command_line("/bin/true");
    (options.*change)(NOBODY);
    EXPECT_EQ(ACE_Process_Ex(BOTH, nullptr, nullptr).spawn(options), -1);
  }
  EXPECT_EQ(log.take_debug(),
            std::vector<std::string>(4, "'/bin/true' cannot be started: its user was set without the groups\n"));
}

TEST_F(ProcessTest, a_failed_start_as_another_user_is_waited_for) {
  if (!sandbox::second_user_available()) GTEST_SKIP() << "only root may become somebody else";
  const auto fails = [] {
    Process_Options options;
    options.setreugid("nobody");
    options.command_line("/no/such/program");
    return platform::subprocess::call(options, nullptr) == -1;
  };
  EXPECT_TRUE(fails());
  EXPECT_TRUE(test::in_own_process([&] { return ::signal(SIGCHLD, SIG_IGN) != SIG_ERR && fails(); }));
}

TEST_F(ProcessTest, a_user_with_a_long_record_and_many_groups_has_all_of_them) {
  if (::access("/", W_OK) == 0) GTEST_SKIP() << "these are this machine's own accounts";
  std::ofstream("/etc/passwd", std::ios::app) << "many:x:60123:60123:" << std::string(9000, 'x') << ":/:/bin/sh\n";
  std::ofstream groups("/etc/group", std::ios::app);
  for (int id = 60200; id < 60300; ++id)
    groups << 'g' << id << ":x:" << id << ":many\n";
  groups.close();

  Process_Options options;
  EXPECT_EQ(options.setreugid("many"), 0);
  EXPECT_EQ(options.groups().size(), 101U);
  EXPECT_EQ(platform::user_name(60123), "many");
}

TEST_F(ProcessTest, a_message_has_the_callers_errno_and_leaves_it) {
  errno = ENOENT;
  platform::log_error("%m\n");
  EXPECT_EQ(errno, ENOENT);
  log.expect_error("No such file or directory\n");
}

TEST_F(ProcessTest, the_environment_is_inherited_with_what_was_set_over_it) {
  ASSERT_EQ(::setenv("GIVEN", "by the caller", 1), 0);
  ASSERT_EQ(::setenv("GIVEN_TOO", "kept", 1), 0);
  Process_Options options;
  options.setenv("GIVEN", "first");
  options.setenv("GIVEN", "%s=%d", "last", 5);
  options.command_line("/bin/grep -z ^GIVEN /proc/self/environ");
  Line_Keeper keeper;

  EXPECT_EQ(keeper.call(BOTH, options), 0);

  EXPECT_EQ(keeper.lines, std::vector<std::string>{std::string("GIVEN=last=5\0GIVEN_TOO=kept\0", 28)});

  Process_Options bare(false);
  bare.command_line("/usr/bin/env");
  Line_Keeper nothing;
  EXPECT_EQ(nothing.call(BOTH, bare), 0);
  EXPECT_TRUE(nothing.lines.empty());
}

TEST_F(ProcessTest, a_daemon_left_behind_neither_holds_the_call_nor_dies_with_it) {
  // The last one writes without end into the pipe that it inherited.
  for (const char* daemon :
       {"sleep 60", "sh -c 'trap : PIPE; while echo noise 2>/dev/null; do :; done; exec sleep 60'"}) {
    Line_Keeper keeper;
    const auto start = std::chrono::steady_clock::now();

    EXPECT_EQ(run_script(keeper, std::string("echo $$; ") + daemon + " & echo $!; sleep 0.05"), 0);

    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s) << daemon;
    keeper.lines.erase(std::remove(keeper.lines.begin(), keeper.lines.end(), "noise"), keeper.lines.end());
    ASSERT_EQ(keeper.lines.size(), 2U) << daemon;
    EXPECT_EQ(::kill(std::stoi(keeper.lines[1]), SIGKILL), 0) << daemon << " is gone";
  }
}

// Runs a program below what the handlers stand on, with short limits, and keeps what it writes if it has a pipe.
Child_End run_below(std::vector<std::string> command, std::string& output,
                    const platform::Child_Identity* identity = nullptr, bool has_pipe = true) {
  struct Keeper : platform::Output_Sink {
    explicit Keeper(std::string& output) : text(output) {}
    void take(const char* data, std::size_t length) override { text.append(data, length); }
    void close() override {}
    std::string& text;
  } keeper(output);
  int pipe_ends[2];
  EXPECT_EQ(::pipe2(pipe_ends, O_CLOEXEC), 0);
  platform::Unique_Fd reader(pipe_ends[0]), writer(pipe_ends[1]);
  if (!has_pipe) reader.reset();
  std::vector<char*> arguments;
  for (std::string& word : command)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const pid_t pid = platform::start_child({arguments.data(), environ, has_pipe ? writer.get() : -1, -1, identity});
  writer.reset();
  platform::Output_Stream streams[platform::OUTPUT_STREAMS] = {{std::move(reader), keeper},
                                                               {platform::Unique_Fd(), keeper}};
  return platform::watch_child(pid, streams, {600ms, 200ms, 50ms});
}

TEST_F(ProcessTest, each_ending_is_seen_and_a_child_without_output_ended) {
  const std::tuple<const char*, Child_End::Kind, int> cases[] = {
      {"exit 5", Child_End::exited, 5},
      {"kill -9 $$", Child_End::killed, 9},
      {"sleep 60 & exit 6", Child_End::exited, 6},
      {"exec >&-; sleep 0.2; exit 4", Child_End::exited, 4},
      {"exec >&- sleep 60", Child_End::overdue, 0},
      {"trap '' TERM; exec >&-; while :; do sleep 1; done", Child_End::overdue, 0},
      {"trap 'echo >/tmp/told' TERM; exec >&-; while :; do sleep 0.05; done", Child_End::overdue, 0},
  };
  for (const auto& [script, kind, value] : cases) {
    const auto start = std::chrono::steady_clock::now();
    std::string output;
    const Child_End end = run_below({"/bin/sh", "-c", script}, output);
    EXPECT_EQ(end.kind, kind) << script;
    EXPECT_EQ(end.value, value) << script;
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s) << script;
  }
  EXPECT_TRUE(std::filesystem::remove("/tmp/told")) << "killed before it was asked to end";

  std::string output;
  EXPECT_EQ(run_below({"/bin/sleep", "1"}, output, nullptr, false).kind, Child_End::exited) << "without output";
}

const platform::Child_Identity NOBODY_ALONE{NOBODY, NOBODY, {NOBODY}};

TEST_F(ProcessTest, no_descriptor_no_signal_state_and_no_strangers_session_reaches_a_child) {
  EXPECT_TRUE(test::in_own_process([] {
    int input[2];
    EXPECT_TRUE(::pipe(input) == 0 && ::dup2(input[0], 0) == 0);
    sigset_t all;
    ::sigfillset(&all);
    ::sigdelset(&all, SIGALRM);
    ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    const platform::Unique_Fd high(::fcntl(input[0], F_DUPFD, 700));
    std::atomic<bool> stop{false};
    std::thread opener([&] {
      while (!stop)
        platform::Unique_Fd first(::dup(input[0])), second(::dup(input[0]));
    });

    for (const auto* identity : {&NOBODY_ALONE, static_cast<const platform::Child_Identity*>(nullptr)}) {
      if (identity != nullptr && !sandbox::second_user_available()) continue;
      for (int round = 0; round < 50; ++round) {
        std::string output;
        run_below({"/bin/sh", "-c", "readlink /proc/self/fd/0; cd /proc/$$/fd && echo *"}, output, identity);
        // Not through the shell, which lets all signals in by itself.
        run_below({"/bin/grep", "-E", "Sig(Blk|Ign)", "/proc/self/status"}, output, identity);
        run_below(
            {"/bin/sh", "-c", "read -r id name is parent group session rest </proc/$$/stat; echo $((session == $$))"},
            output, identity);
        // 3 is the shell's own, reading the directory. Another user's child has a session of its own.
        EXPECT_EQ(output, std::string("/dev/null\n0 1 2 3\nSigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n") +
                              (identity == nullptr ? "0\n" : "1\n"));
      }
    }
    stop = true;
    opener.join();
    return true;
  }));
}

void reap_all(int) {
  const int saved_errno = errno;
  while (::waitpid(-1, nullptr, WNOHANG) > 0) {
  }
  errno = saved_errno;
}

auto becoming(gid_t id, const std::vector<gid_t>& groups) {
  return [=] { return ::setgroups(groups.size(), groups.data()) == 0 && ::setgid(id) == 0 && ::setuid(id) == 0; };
}

TEST_F(ProcessTest, unusual_callers_get_a_right_answer_in_time) {
  const itimerval each_millisecond{{0, 1000}, {0, 1000}};
  const struct {
    const char* caller;
    std::function<bool()> prepare;
    int result;
    std::size_t lines;
    const char* user = nullptr;
  } cases[] = {
      {"ignores SIGCHLD", [] { return ::signal(SIGCHLD, SIG_IGN) != SIG_ERR; }, -1, 1},
      {"reaps every child", [] { return ::signal(SIGCHLD, reap_all) != SIG_ERR; }, -1, 1},
      {"gets signals",
       [&] {
         return ::signal(SIGALRM, [](int) {}) != SIG_ERR && ::setitimer(ITIMER_REAL, &each_millisecond, nullptr) == 0;
       },
       0, 1},
      {"has no standard streams", [] { return ::close(0) + ::close(1) + ::close(2) == 0; }, 0, 1},
      {"is the user already", becoming(NOBODY, {NOBODY}), 0, 1, "nobody"},
      {"is the user but for its effective rights", [] { return ::setresuid(NOBODY, 0, NOBODY) == 0; }, 0, 1, "nobody"},
      {"is the user with other groups", becoming(NOBODY, {1, 2}), 0, 1, "nobody"},
      {"cannot wait for output", [] { return test::let_call_fail(SYS_poll, ENOMEM); }, -1, 0},
      {"cannot read output", [] { return test::let_call_fail(SYS_read, EIO, 2, 256 * 1024); }, -1, 0},
      {"is told of groups that are not set", [] { return test::let_call_fail(SYS_setgroups, 0); }, -1, 0, "nobody"},
      {"may not become the user", becoming(1, {1}), -1, 0, "nobody"},
  };
  for (const auto& c : cases) {
    if (c.user != nullptr && !sandbox::second_user_available()) continue;
    SCOPED_TRACE(c.caller);
    EXPECT_TRUE(test::in_own_process([&] {
      Line_Keeper keeper;
      if (!c.prepare() || run_script(keeper, "id -u; sleep 0.1", c.user) != c.result) return false;
      return keeper.lines == std::vector(c.lines, std::to_string(c.user == nullptr ? ::geteuid() : NOBODY));
    }));
  }
}

}  // namespace
