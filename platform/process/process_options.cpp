#include "platform/process/process_options.h"

#include <ace/Tokenizer_T.h>
#include <grp.h>
#include <string.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

#include "platform/text/format.h"
#include "platform/users/accounts.h"

namespace platform {
namespace {

constexpr std::size_t MAX_ARGUMENTS = 127;

// One place more than is allowed (and one for the null) shows that there was more.
constexpr std::size_t ARGUMENT_TABLE_SIZE = MAX_ARGUMENTS + 2;

constexpr char OUT_OF_MEMORY[] = "out of memory";  // short enough for a text that takes none

// Nothing if they cannot be looked up.
std::optional<std::vector<gid_t>> find_groups(const char* user, gid_t primary) {
  int count = 32;
  std::vector<gid_t> groups(static_cast<std::size_t>(count));
  while (::getgrouplist(user, primary, groups.data(), &count) < 0) {
    const bool lacks_room = static_cast<std::size_t>(count) > groups.size();
    if (!lacks_room) return std::nullopt;
    groups.resize(static_cast<std::size_t>(count));
  }
  groups.resize(static_cast<std::size_t>(count));
  return groups;
}

}  // namespace

Process_Options::Process_Options(bool inherit_environment)
    : ACE_Process_Options(inherit_environment, DEFAULT_COMMAND_LINE_BUF_LEN, ENVIRONMENT_BUFFER, MAX_ENVIRONMENT_ARGS,
                          ARGUMENT_TABLE_SIZE) {
  if (command_line_argv_ != nullptr) {
    wipe_command_line();
    return;
  }
  // ACE has stopped where memory ran out. The table of variables, the third of four, it then leaves without a value.
  if (command_line_buf_ == nullptr || environment_buf_ == nullptr) environment_argv_ = nullptr;
  delete[] std::exchange(command_line_buf_, nullptr);
  fault_ = OUT_OF_MEMORY;
}

Process_Options::~Process_Options() {
  wipe_command_line();
}

// Leaves no arguments. Nor does ACE then make them: its own way writes where it may not when memory runs out.
void Process_Options::wipe_command_line() {
  if (command_line_buf_ == nullptr) return;
  command_line_argv_[0] = nullptr;
  command_line_argv_calculated_ = true;
  ::explicit_bzero(command_line_buf_, command_line_buf_len_);
  if (command_line_copy_ != nullptr) {
    // As long as the text that it was copied from; the tokenizer has put NULs in place of separators.
    ::explicit_bzero(command_line_copy_, std::exchange(command_line_length_, 0));
    delete[] std::exchange(command_line_copy_, nullptr);
  }
}

// Splits a copy of the command line at blanks, as ACE does; text between quotes is one argument. The number of
// arguments, as far as there is room for them.
std::size_t Process_Options::split_command_line() {
  std::memcpy(command_line_copy_, command_line_buf_, command_line_length_ + 1);
  ACE_Tokenizer tokens(command_line_copy_);
  tokens.delimiter_replace(' ', '\0');
  tokens.preserve_designators('"', '"');
  tokens.preserve_designators('\'', '\'');

  std::size_t count = 0;
  while (count + 1 < ARGUMENT_TABLE_SIZE && (command_line_argv_[count] = tokens.next()) != nullptr)
    ++count;
  command_line_argv_[count] = nullptr;
  return count;
}

int Process_Options::fail(std::string fault) {
  wipe_command_line();
  if (fault_.empty()) fault_ = std::move(fault);
  return -1;
}

int Process_Options::command_line(const char* format, ...) try {
  if (!fault_.empty()) return -1;
  wipe_command_line();

  std::va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(command_line_buf_, command_line_buf_len_, format, args);
  va_end(args);

  if (length < 0) return fail("command line cannot be formatted");
  if (static_cast<std::size_t>(length) >= command_line_buf_len_) {
    return fail("command line of " + std::to_string(length) + " characters is too long");
  }
  command_line_length_ = static_cast<std::size_t>(length);
  command_line_copy_ = new (std::nothrow) char[command_line_length_ + 1];
  if (command_line_copy_ == nullptr) return fail(OUT_OF_MEMORY);
  const std::size_t count = split_command_line();
  if (count == 0) return fail("command line is empty");
  if (count > MAX_ARGUMENTS) return fail("more than " + std::to_string(MAX_ARGUMENTS) + " arguments");
  return 0;
} catch (const std::bad_alloc&) {
  return fail(OUT_OF_MEMORY);
}

int Process_Options::setenv(const char* name, const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  const int result = set_variable(name, format, args);
  va_end(args);
  return result;
}

int Process_Options::set_variable(const char* name, const char* format, std::va_list args) try {
  if (!fault_.empty()) return -1;
  std::string value;
  const bool formatted = string_vsprintf(value, format, args);
  std::string entry = std::string(name) + "=" + value;
  if (!formatted || setenv_i(entry.data(), entry.size()) != 0) {
    return fail("environment entry '" + std::string(name) + "' does not fit");
  }
  return 0;
} catch (const std::bad_alloc&) {
  return fail(OUT_OF_MEMORY);
}

int Process_Options::setreugid(const char* user) try {
  User_Ids ids{};
  const int error = find_user(user, ids);
  std::optional<std::vector<gid_t>> groups;
  if (error == 0) groups = find_groups(user, ids.gid);
  if (!groups) return fail("user '" + std::string(user == nullptr ? "" : user) + "' cannot be looked up");

  groups_ = std::move(*groups);
  ruid_ = euid_ = ids.uid;
  rgid_ = egid_ = ids.gid;
  return 0;
} catch (const std::bad_alloc&) {
  return fail(OUT_OF_MEMORY);
}

}  // namespace platform
