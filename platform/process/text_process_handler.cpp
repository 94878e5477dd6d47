#include "platform/process/text_process_handler.h"

#include <exception>

#include "platform/process/activity_log.h"
#include "platform/process/line_splitter.h"
#include "platform/process/run.h"

namespace platform {
namespace {

constexpr std::size_t LINE_LIMIT = std::size_t{16} << 20;

}  // namespace

// Cuts a child's output into lines for the handler's callbacks, and lets no standard exception out of them.
class Line_Dispatch : public Output_Sink {
 public:
  explicit Line_Dispatch(Text_Process_Handler& handler) : handler_(handler) {}

  void output(Output_Stream stream, const char* data, std::size_t length) override {
    guard([&] {
      if (stream == OUTPUT_STDOUT) {
        handler_.handle_stdout_segment(data, length);
        stdout_.feed(data, length);
      } else {
        stderr_.feed(data, length);
      }
    });
  }

  void closed(Output_Stream stream) override {
    guard([&] { stream == OUTPUT_STDOUT ? stdout_.finish() : stderr_.finish(); });
    guard([&] { stream == OUTPUT_STDOUT ? handler_.handle_stdout_close() : handler_.handle_stderr_close(); });
  }

 private:
  template <class Action>
  static void guard(Action action) {
    try {
      action();
    } catch (const std::exception& error) {
      log_debug("Failed to take output: %s\n", error.what());
    }
  }

  static void drop() { log_error("Failed to read a line of output: longer than %d bytes\n", int{LINE_LIMIT}); }

  struct Take_Stdout {
    Text_Process_Handler& handler;
    void operator()(const char* line, std::size_t length) const {
      guard([&] { handler.handle_stdout_line(line, length); });  // a rejected line was rejected there
    }
  };
  struct Take_Stderr {
    Text_Process_Handler& handler;
    void operator()(const char* line, std::size_t length) const {
      guard([&] { handler.handle_stderr_line(line, length); });
    }
  };

  Text_Process_Handler& handler_;
  Line_Splitter<Take_Stdout, void (*)()> stdout_{LINE_LIMIT, Take_Stdout{handler_}, drop};
  Line_Splitter<Take_Stderr, void (*)()> stderr_{LINE_LIMIT, Take_Stderr{handler_}, drop};
};

Text_Process_Handler::Text_Process_Handler(unsigned int) {}
Text_Process_Handler::~Text_Process_Handler() = default;
Text_Process_Handler::Text_Process_Handler(const Text_Process_Handler&) = default;
Text_Process_Handler::Text_Process_Handler(Text_Process_Handler&&) noexcept = default;
Text_Process_Handler& Text_Process_Handler::operator=(const Text_Process_Handler&) = default;
Text_Process_Handler& Text_Process_Handler::operator=(Text_Process_Handler&&) noexcept = default;

int Text_Process_Handler::call(ACE_Process_Ex* process, Process_Options& options) {
  callback_ = process->callback();
  Line_Dispatch dispatch(*this);
  return run(*process, options, dispatch);
}

int Text_Process_Handler::call(unsigned int flags, Process_Options& options) {
  ACE_Process_Ex process(flags, nullptr, ACE_Log_Msg_Callback_var());
  return call(&process, options);
}

int Text_Process_Handler::handle_stdout_line(const char*, std::size_t) {
  return 0;
}

void Text_Process_Handler::handle_stderr_line(const char* line, std::size_t length) {
  log_activity(callback_, line, length);
}

void Text_Process_Handler::handle_stdout_segment(const char*, std::size_t) {}
void Text_Process_Handler::handle_stdout_close() {}
void Text_Process_Handler::handle_stderr_close() {}

}  // namespace platform
