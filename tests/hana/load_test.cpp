#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "hana/common/backint_catalog_helper.h"
#include "hana/common/environ_getter.h"
#include "hana/common/filename_parser.h"
#include "hana/common/hdbsql_executor.h"
#include "hana/common/hdbsql_general_text_handler.h"
#include "hana/common/host_info_getter.h"
#include "hana/common/instance_control.h"
#include "hana/common/nameserver_config_parser.h"
#include "hana/common/system_control.h"
#include "platform/instances/instance_manager.h"
#include "platform/process/subprocess.h"
#include "sandbox/catalog_service.h"
#include "sandbox/host.h"
#include "sandbox/way.h"

namespace {

constexpr int THREADS = 8;
constexpr int OPERATIONS = 1'000;

std::size_t entries(const char* directory) {
  const std::filesystem::directory_iterator all(directory);
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

std::size_t heap_in_use() {
#if __GLIBC_PREREQ(2, 33)
  return ::mallinfo2().uordblks;
#else
  return static_cast<std::size_t>(::mallinfo().uordblks);
#endif
}

// What must not grow. Under a sanitizer the heap counts as empty; the sanitizer looks for leaks itself.
struct Holdings {
  std::size_t descriptors = entries("/proc/self/fd");
  std::size_t threads = entries("/proc/self/task");
  std::size_t heap = heap_in_use();
};

// A child that nobody has waited for; 0 if there is none.
pid_t zombie() {
  siginfo_t child{};
  ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT);
  return child.si_pid;
}

constexpr std::size_t HEAP_SLACK = 32 * 1024;  // bytes; thirty-three lost in each operation would be more

bool run_statement() {
  sap_hana::Database_Info info{};
  sap_hana::HDBSQL_Executor executor("/bin/echo");
  sap_hana::HDBSQL_General_Text_Handler handler;
  return executor.init(info, "SYSTEM", "password") && executor.execute("select 1 from dummy", &handler, nullptr) &&
         handler.get_key().size() == 1;
}

bool run_as_other() {
  if (!sandbox::second_user_available()) return true;
  platform::Process_Options options;
  options.setreugid("nobody");
  options.command_line("/bin/true");
  return platform::subprocess::call(options, nullptr) == 0;
}

char catalog_url[100];

// In a process of its own, which ends with this one: what the catalog holds is not the library's.
void serve_catalog() {
  int pipe[2];
  ASSERT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
  if (::fork() == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const sandbox::Catalog_Service service({});
    ::dprintf(pipe[1], "%s", service.base_url().c_str());
    ::pause();
  }
  ASSERT_GT(::read(pipe[0], catalog_url, sizeof(catalog_url) - 1), 0);
  ::close(pipe[0]);
  ::close(pipe[1]);
}

// Through one session, which all threads share.
bool record_a_job() {
  static std::atomic<int> number{0};
  static const platform::HTTP_Session_var shared = [] {
    platform::HTTP_Session_Options options;
    options.base_url = catalog_url;
    return platform::make_http_session(options);
  }();
  platform::JSON_HTTP_Session session(shared, 0, 0);
  sap_hana::Backint_Catalog_helper helper;
  sap_hana::Backint_Backup_Job_Info job, found;
  job.uuid = std::to_string(++number);
  const char* const uuid = job.uuid.c_str();
  return helper.init(session) && helper.add_job(job) && helper.get_job(uuid, found) && found.uuid == job.uuid &&
         helper.remove_job(uuid);
}

const struct {
  const char* name;
  bool (*operation)();
} FAMILIES[] = {
    {"environment",
     [] {
       sap_hana::HANA_Env_Value val{};
       return sap_hana::Environ_Getter::instance()->get("HXE", val) && val.instance_number == 90;
     }},
    {"host name",
     [] {
       std::string name;
       return sap_hana::Host_Info_Getter("HXE").hostname(name) && name == "hxehost";
     }},
    {"topology",
     [] {
       std::string id;
       return sap_hana::Name_Server_Config_Parser("HXE").landscape_uuid(id) &&
              sap_hana::System_Controller("HXE").is_multi_container();
     }},
    {"instance state",
     [] {
       auto state = sap_hana::Instance_Controller::INSTANCE_STATE_UNKNOWN;
       return sap_hana::Instance_Controller("HXE").get_state("HDB90", state) &&
              state == sap_hana::Instance_Controller::INSTANCE_STATE_RUNNING;
     }},
    {"backup name",
     [] {
       sap_hana::Filename_Parser::Log_File_Entry entry{};
       return sap_hana::Filename_Parser().parse_log_file("log_backup_2_0_1000_2000.1415905765532", entry);
     }},
    {"configured instance",
     [] {
       platform::Instance_Manager& manager = *platform::Instance_Manager::instance();
       manager.add("hana", "HXE", platform::Instance());
       const platform::Instance_var found = manager.find("hana", "HXE");
       if (found) found->set_option("sid", "HXE");
       return found != nullptr;
     }},
    {"catalog", record_a_job},
    {"statement", run_statement},
    {"child of another user", run_as_other},
};

// Runs an operation on all threads at once; the number that went wrong.
int run(bool (*operation)(), int count) {
  std::atomic<int> left{count}, wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < THREADS; ++i) {
    threads.emplace_back([&] {
      while (left.fetch_sub(1) > 0)
        wrong += operation() ? 0 : 1;
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  return wrong;
}

// LOAD_OPERATIONS in the environment asks for another number, where a sanitizer makes each of them slow.
TEST(Load, a_thousand_operations_of_each_family_leave_the_process_as_it_was) {
  serve_catalog();
  const sandbox::Host host;
  const char* const asked = std::getenv("LOAD_OPERATIONS");
  const int count = asked == nullptr ? OPERATIONS : std::atoi(asked);
  sap_hana::Environ_Getter::instance();  // made before there are threads
  for (const auto& family : FAMILIES) {
    SCOPED_TRACE(family.name);
    EXPECT_EQ(run(family.operation, 10 * THREADS), 0);
    const Holdings before;

    EXPECT_EQ(run(family.operation, count), 0);

    // A thread that has been joined may still be on its way out.
    for (int wait = 0; wait < 500 && entries("/proc/self/task") > before.threads; ++wait)
      ::usleep(10'000);
    const Holdings after;
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_LT(after.heap, before.heap + HEAP_SLACK);
    EXPECT_EQ(zombie(), 0);
  }
}

}  // namespace
