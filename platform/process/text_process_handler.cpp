#include "platform/process/text_process_handler.h"

#include <cxxabi.h>

#include <cerrno>
#include <exception>
#include <new>

#include "platform/process/activity_log.h"
#include "platform/process/child_watch.h"
#include "platform/process/line_splitter.h"
#include "platform/text/format.h"

namespace platform {
namespace {

constexpr std::size_t LINE_LIMIT = std::size_t{16} << 20;

const Run_Limits LIMITS{std::chrono::seconds(Text_Process_Handler::TERM_TIMEOUT),
                        std::chrono::seconds(Text_Process_Handler::TERM_RETRY_INTERVAL),
                        std::chrono::seconds(Text_Process_Handler::REACTOR_EVENT_WAIT_TIME)};

// Calls back a handler, whose exceptions harm what it was called for and nothing else. Two go on: without memory the
// run cannot be right, and a thread that is cancelled has to unwind.
template <class Callback>
void call_back(Callback callback) {
  try {
    callback();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (const std::exception& error) {
    log_debug("Failed to take output: %s\n", error.what());
  } catch (...) {
    log_debug("Failed to take output: unknown exception\n");
  }
}

// Cuts a stream into lines, as long as there is memory: the line after a lost one could be its rest.
class Line_Sink : public Output_Sink, private Line_Splitter {
 public:
  Line_Sink() : Line_Splitter(LINE_LIMIT) {}

  bool has_lost_lines() const { return lost_; }

  void take(const char* data, std::size_t length) final {
    if (lost_) return;
    with_memory([&] {
      take_segment(data, length);
      feed(data, length);
    });
  }
  void close() final {
    if (!lost_) with_memory([&] { finish(); });
    with_memory([&] { closed(); });
  }

 private:
  virtual void take_segment(const char* data, std::size_t length) = 0;
  virtual void closed() = 0;

  void drop_line() final {
    log_error("Failed to read a line of output: longer than %d bytes\n", static_cast<int>(LINE_LIMIT));
  }

  template <class Action>
  void with_memory(Action action) {
    try {
      action();
    } catch (const std::bad_alloc&) {
      lost_ = true;
    }
  }

  bool lost_ = false;
};

// 0 for a run that was all right; else tells what was not.
int judge(const ACE_Process_Ex& process, Process_Options& options, const Child_End& end, int read_error) {
  if (read_error != 0) {
    process.tell(options, "was not read to its end", read_error);
    return -1;
  }
  switch (end.kind) {
    case Child_End::exited:
      if (end.value == 0) return 0;
      process.tell(options, snprintf_t<64>("exited with status %d", end.value).c_str());
      break;
    case Child_End::killed:
      process.tell(options, snprintf_t<64>("was killed by signal %d", end.value).c_str());
      break;
    case Child_End::overdue:
      process.tell(options, "did not end after it had closed its output");
      break;
    case Child_End::unknown:
      process.tell(options, "ended, but its status was not to be had");
      break;
  }
  return -1;
}

}  // namespace

class Text_Process_Handler::Stdout_Sink : public Line_Sink {
 public:
  explicit Stdout_Sink(Text_Process_Handler& handler) : handler_(handler) {}

 private:
  void take_segment(const char* data, std::size_t length) override {
    call_back([&] { handler_.handle_stdout_segment(data, length); });
  }
  void take_line(const char* line, std::size_t length) override {
    call_back([&] { handler_.handle_stdout_line(line, length); });  // a line that it rejects it has rejected
  }
  void closed() override {
    call_back([&] { handler_.handle_stdout_close(); });
  }

  Text_Process_Handler& handler_;
};

class Text_Process_Handler::Stderr_Sink : public Line_Sink {
 public:
  explicit Stderr_Sink(Text_Process_Handler& handler) : handler_(handler) {}

 private:
  void take_segment(const char*, std::size_t) override {}
  void take_line(const char* line, std::size_t length) override {
    call_back([&] { handler_.handle_stderr_line(line, length); });
  }
  void closed() override {
    call_back([&] { handler_.handle_stderr_close(); });
  }

  Text_Process_Handler& handler_;
};

Text_Process_Handler::Text_Process_Handler(unsigned int) {}
Text_Process_Handler::~Text_Process_Handler() = default;
Text_Process_Handler::Text_Process_Handler(const Text_Process_Handler&) = default;
Text_Process_Handler::Text_Process_Handler(Text_Process_Handler&&) noexcept = default;
Text_Process_Handler& Text_Process_Handler::operator=(const Text_Process_Handler&) = default;
Text_Process_Handler& Text_Process_Handler::operator=(Text_Process_Handler&&) noexcept = default;

int Text_Process_Handler::call(ACE_Process_Ex* process, Process_Options& options) {
  const pid_t pid = process->spawn(options);
  if (pid < 0) return -1;

  Stdout_Sink output(*this);
  Stderr_Sink error(*this);
  Output_Stream streams[OUTPUT_STREAMS] = {{Unique_Fd(process->take_stdout()), output},
                                           {Unique_Fd(process->take_stderr()), error}};
  callback_ = process->callback();
  const Child_End end = watch_child(pid, streams, LIMITS);
  callback_.reset();

  const bool has_lost_lines = output.has_lost_lines() || error.has_lost_lines();
  return judge(*process, options, end, has_lost_lines ? ENOMEM : end.read_error);
}

int Text_Process_Handler::call(unsigned int flags, Process_Options& options) {
  ACE_Process_Ex process(flags, nullptr, ACE_Log_Msg_Callback_var());
  return call(&process, options);
}

int Text_Process_Handler::handle_stdout_line(const char*, std::size_t) {
  return 0;
}

void Text_Process_Handler::handle_stderr_line(const char* line, std::size_t length) {
  log_activity(callback_, {line, length});
}

void Text_Process_Handler::handle_stdout_segment(const char*, std::size_t) {}
void Text_Process_Handler::handle_stdout_close() {}
void Text_Process_Handler::handle_stderr_close() {}

}  // namespace platform
