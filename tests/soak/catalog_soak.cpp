// Keeps jobs and files in the sandbox's catalog service over connections that break and with a service that fails now
// and then, for a time in seconds (argument 1) and a seed (argument 2). What the client was told has to hold: what was
// confirmed is there as it was sent, what was confirmed to be gone is gone, and nothing is there twice.
#include <ace/Log_Msg.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <utility>

#include "hana/common/backint_catalog_helper.h"
#include "platform/http/http_session.h"
#include "platform/json/text.h"
#include "sandbox/catalog_service.h"
#include "tests/soak/flaky_proxy.h"

namespace {

using sap_hana::Backint_Backup_Job_Info;
using sap_hana::Backint_Catalog_helper;
using sap_hana::Backup_File_Info;
using sap_hana::Backup_Files_Info;

Backint_Catalog_helper helper_for(int port) {
  platform::HTTP_Session_Options options;
  options.base_url = "http://127.0.0.1:" + std::to_string(port);
  options.connect_timeout = options.idle_timeout = 5;
  platform::JSON_HTTP_Session session(platform::make_http_session(options), 1, 5);
  Backint_Catalog_helper helper;
  helper.init(session);
  return helper;
}

Backup_File_Info make_file(std::uint64_t number) {
  const std::string text = std::to_string(number);
  Backup_File_Info file{};
  file.info_uuid = "info " + text;
  file.filename = "log_backup_1_0_" + text + "_ä&=\"";
  file.extern_backup_id = "ebid/" + text;
  file.size = UINT64_MAX - number;
  file.storage_size = number;
  return file;
}

std::string text_of(const Backup_File_Info& file) {
  platform::json::Object object;
  file >> object;
  return platform::json::JSON_Dump(object, false).str();
}

enum class Known { PRESENT, ABSENT, EITHER };

class Soak {
 public:
  explicit Soak(std::uint64_t seed)
      : random_(seed),
        proxy_(service_.port(), seed),
        client_(helper_for(proxy_.port())),
        direct_(helper_for(service_.port())) {}

  void step() {
    if (next_ % 50 == 0) add_job();
    if (random_() % 10 == 0) service_.fail_next({sandbox::Catalog_Fault::REPLY, 503, "{}"});
    const auto choice = files_.empty() ? 3 : random_() % 4;
    confirmed_ += (choice == 0 ? remove() : choice == 1 ? look() : add()) ? 1 : 0;
    ++steps_;
  }

  // True if the service holds just what was confirmed. It is asked without the proxy.
  bool is_right() {
    service_.take_requests();
    use_up_faults();
    std::map<std::string, std::string> held;
    if (!seen_right_ || !read_all(held)) return false;
    for (const auto& [number, known] : files_) {
      const Backup_File_Info file = make_file(number);
      const auto found = held.find(file.extern_backup_id);
      const bool present = found != held.end();
      const bool wrong = (known == Known::PRESENT && !present) || (known == Known::ABSENT && present) ||
                         (present && found->second != text_of(file));
      if (wrong) std::printf("file %llu is not as it was confirmed\n", static_cast<unsigned long long>(number));
      if (wrong) return false;
      if (present) held.erase(found);
    }
    if (!held.empty()) std::printf("%zu files came from nowhere\n", held.size());
    return held.empty();
  }

  void report() const { std::printf("%d requests, %d confirmed, %zu files\n", steps_, confirmed_, files_.size()); }

 private:
  static std::string job_of(std::uint64_t number) { return "job " + std::to_string(number / 50); }

  // A fault that was meant for a request that never reached the service is still there.
  void use_up_faults() {
    Backint_Backup_Job_Info job;
    job.uuid = "no job";
    while (!direct_.check_and_add_job(job)) {
    }
  }

  void add_job() {
    use_up_faults();
    Backint_Backup_Job_Info job;
    job.uuid = job_of(next_);
    direct_.check_and_add_job(job);
  }

  bool add() {
    const std::uint64_t number = next_++;
    const bool told = client_.add_file(job_of(number).c_str(), make_file(number));
    files_[number] = told ? Known::PRESENT : Known::EITHER;
    return told;
  }

  std::pair<const std::uint64_t, Known>& pick() {
    const auto file = files_.lower_bound(random_() % next_);
    return file == files_.end() ? *files_.begin() : *file;
  }

  bool remove() {
    auto& [number, known] = pick();
    const bool told = client_.remove_file(make_file(number).extern_backup_id.c_str());
    if (told) {
      known = Known::ABSENT;
    } else if (known == Known::PRESENT) {
      known = Known::EITHER;
    }
    return told;
  }

  bool look() {
    const auto& [number, known] = pick();
    const Backup_File_Info file = make_file(number);
    Backup_File_Info found{};
    if (!client_.get_file_by_ebid(file.extern_backup_id.c_str(), found)) return false;
    seen_right_ = seen_right_ && known != Known::ABSENT && text_of(found) == text_of(file);
    return true;
  }

  bool read_all(std::map<std::string, std::string>& held) {
    std::int64_t total = 0;
    Backup_Files_Info page;
    for (std::int64_t offset = 0; offset == 0 || offset < total; offset += 500) {
      page.clear();
      if (!direct_.get_files("", "", "", total, page, 500, offset)) return false;
      for (const Backup_File_Info& file : page) {
        if (held.emplace(file.extern_backup_id, text_of(file)).second) continue;
        std::printf("'%s' is there twice\n", file.extern_backup_id.c_str());
        return false;
      }
    }
    return true;
  }

  std::mt19937_64 random_;
  sandbox::Catalog_Service service_{{}};
  test::Flaky_Proxy proxy_;
  Backint_Catalog_helper client_;
  Backint_Catalog_helper direct_;
  std::map<std::uint64_t, Known> files_;
  std::uint64_t next_ = 0;
  bool seen_right_ = true;  // whatever was looked up was as it had been confirmed
  int steps_ = 0;
  int confirmed_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  const auto seconds = std::chrono::seconds(argc > 1 ? std::atoi(argv[1]) : 10);
  const std::uint64_t seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : std::random_device()();
  std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
  ACE_LOG_MSG->clr_flags(ACE_Log_Msg::STDERR);

  Soak soak(seed);
  const auto end = std::chrono::steady_clock::now() + seconds;
  while (std::chrono::steady_clock::now() < end) {
    for (int i = 0; i < 100; ++i)
      soak.step();
    if (!soak.is_right()) return 1;
  }
  soak.report();
  return 0;
}
