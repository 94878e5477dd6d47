#include <ace/Log_Msg.h>

#include "tests/support/faults.h"
#include "tests/support/test.h"
#include "tests/torture/operations.h"

// Nothing fails here.
test::Fault_Pause::Fault_Pause() : was_armed_(false) {}
test::Fault_Pause::~Fault_Pause() = default;

namespace {

using torture::Operation;

constexpr int THREADS = 8;

std::string outcome(const Operation& operation) {
  std::string told;
  told.reserve(1 << 16);  // what other threads ran meanwhile is told, too, and left out
  const bool ok = operation.run(told);
  return torture::without_extras(told) + (ok ? "true" : "false");
}

// Has all threads run all that may run at once, each beginning with another operation, over one session.
void run_all(const std::vector<const Operation*>& operations, const std::vector<std::string>& expected, int rounds) {
  platform::HTTP_Session_Options options;
  options.base_url = torture::world->catalog.base_url();
  torture::world->session = platform::make_http_session(options);
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < THREADS; ++thread) {
    threads.emplace_back([&, thread] {
      for (std::size_t i = 0; i < operations.size() * static_cast<std::size_t>(rounds); ++i) {
        const std::size_t which = (i + thread * operations.size() / THREADS) % operations.size();
        EXPECT_EQ(outcome(*operations[which]), expected[which]) << operations[which]->name;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  torture::world->session = nullptr;
  torture::world->catalog.take_requests();
}

// LOAD_ROUNDS in the environment asks for another number, where a sanitizer makes each of them slow.
TEST(Load, threads_do_everything_at_once_and_leave_the_process_as_it_was) {
  ACE_LOG_MSG->clr_flags(ACE_Log_Msg::STDERR);
  torture::World world;  // and its service, which closes its ends of connections in its own time
  std::vector<const Operation*> operations;
  std::vector<std::string> expected;
  for (const Operation& operation : torture::OPERATIONS) {
    if ((operation.traits & torture::ALONE) != 0) continue;
    if (operation.prepare != nullptr) operation.prepare();
    operations.push_back(&operation);
    expected.push_back(outcome(operation));
  }

  const char* const asked = std::getenv("LOAD_ROUNDS");
  run_all(operations, expected, 1);
  const torture::Holdings before;
  run_all(operations, expected, asked == nullptr ? 10 : std::atoi(asked));

  EXPECT_TRUE(torture::is_given_back(before)) << "a descriptor or a thread";
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child that nobody has waited for";
}

}  // namespace
