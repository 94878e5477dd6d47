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
#include <vector>

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

template <class Record>
std::string text_of(const Record& record) {
  platform::json::Object object;
  record >> object;
  return platform::json::JSON_Dump(object, false).str();
}

Backint_Backup_Job_Info make_job(std::uint64_t number) {
  Backint_Backup_Job_Info job;
  job.uuid = "job " + std::to_string(number);
  job.sid = "HXE";
  job.database_backup_id = number;
  return job;
}

// The records of one kind by their numbers, and what the client was told about each.
class Told {
 public:
  std::uint64_t make() { return next_++; }
  void added(std::uint64_t number, bool confirmed) { known_[number] = confirmed ? PRESENT : EITHER; }
  void removed(std::uint64_t number, bool confirmed) {
    Known& known = known_[number];
    known = confirmed ? ABSENT : known == PRESENT ? EITHER : known;
  }
  // Whether a record that was looked up may be there, or may not.
  bool allows(std::uint64_t number, bool present) const {
    return known_.at(number) == EITHER || (known_.at(number) == PRESENT) == present;
  }

  bool empty() const { return known_.empty(); }
  std::size_t size() const { return known_.size(); }
  std::uint64_t any(std::uint64_t random) const {
    const auto found = known_.lower_bound(random % next_);
    return found == known_.end() ? known_.begin()->first : found->first;
  }
  std::vector<std::uint64_t> numbers() const {
    std::vector<std::uint64_t> numbers;
    for (const auto& entry : known_)
      numbers.push_back(entry.first);
    return numbers;
  }

 private:
  enum Known { PRESENT, ABSENT, EITHER };
  std::map<std::uint64_t, Known> known_;
  std::uint64_t next_ = 0;
};

class Soak {
 public:
  explicit Soak(std::uint64_t seed)
      : random_(seed),
        proxy_(service_.port(), seed),
        client_(helper_for(proxy_.port())),
        direct_(helper_for(service_.port())) {
    Backint_Backup_Job_Info job;
    job.uuid = FILES_JOB;
    direct_.check_and_add_job(job);
  }

  void step() {
    if (random_() % 10 == 0) service_.fail_next(503);
    const bool with_job = random_() % 4 == 0;
    const auto choice = (with_job ? jobs_ : files_).empty() ? 2 : random_() % 4;
    const bool confirmed = choice == 0   ? remove(with_job)
                           : choice == 1 ? (with_job ? look_at_job() : look_at_file())
                                         : add(with_job);
    confirmed_ += confirmed ? 1 : 0;
    ++steps_;
  }

  // True if the service holds just what was confirmed. It is asked without the proxy.
  bool is_right() {
    service_.take_requests();
    use_up_faults();
    if (!seen_right_) std::puts("what was looked up was not as it had been confirmed");
    return seen_right_ && files_are_right() && jobs_are_right();
  }

  void report() const {
    std::printf("%d requests, %d confirmed, %zu files, %zu jobs\n", steps_, confirmed_, files_.size(), jobs_.size());
  }

 private:
  static constexpr const char* FILES_JOB = "the job of all files";

  // A fault that was meant for a request that never reached the service is still there.
  void use_up_faults() {
    Backint_Backup_Job_Info job;
    job.uuid = FILES_JOB;
    while (!direct_.check_and_add_job(job)) {
    }
  }

  bool add(bool with_job) {
    Told& told = with_job ? jobs_ : files_;
    const std::uint64_t number = told.make();
    const bool confirmed =
        with_job ? client_.add_job(make_job(number)) : client_.add_file(FILES_JOB, make_file(number));
    told.added(number, confirmed);
    return confirmed;
  }

  bool remove(bool with_job) {
    Told& told = with_job ? jobs_ : files_;
    const std::uint64_t number = told.any(random_());
    const bool confirmed = with_job ? client_.remove_job(make_job(number).uuid.c_str())
                                    : client_.remove_file(make_file(number).extern_backup_id.c_str());
    told.removed(number, confirmed);
    return confirmed;
  }

  bool look_at_file() {
    const std::uint64_t number = files_.any(random_());
    const Backup_File_Info file = make_file(number);
    Backup_File_Info found{};
    if (!client_.get_file_by_ebid(file.extern_backup_id.c_str(), found)) return false;
    seen_right_ = seen_right_ && files_.allows(number, true) && text_of(found) == text_of(file);
    return true;
  }

  bool look_at_job() {
    const std::uint64_t number = jobs_.any(random_());
    const Backint_Backup_Job_Info job = make_job(number);
    Backint_Backup_Job_Info found;
    if (!client_.get_job(job.uuid.c_str(), found)) return false;
    seen_right_ = seen_right_ && jobs_.allows(number, true) && text_of(found) == text_of(job);
    return true;
  }

  bool files_are_right() {
    std::map<std::string, std::string> held;
    if (!read_all(held)) return false;
    for (const std::uint64_t number : files_.numbers()) {
      const Backup_File_Info file = make_file(number);
      const auto found = held.find(file.extern_backup_id);
      const bool present = found != held.end();
      if (!files_.allows(number, present) || (present && found->second != text_of(file)))
        return is_wrong("file", number);
      if (present) held.erase(found);
    }
    if (!held.empty()) std::printf("%zu files came from nowhere\n", held.size());
    return held.empty();
  }

  bool jobs_are_right() {
    for (const std::uint64_t number : jobs_.numbers()) {
      const Backint_Backup_Job_Info job = make_job(number);
      Backint_Backup_Job_Info found;
      const bool present = direct_.get_job(job.uuid.c_str(), found);
      if (!jobs_.allows(number, present) || (present && text_of(found) != text_of(job))) return is_wrong("job", number);
    }
    return true;
  }

  static bool is_wrong(const char* kind, std::uint64_t number) {
    std::printf("%s %llu is not as it was confirmed\n", kind, static_cast<unsigned long long>(number));
    return false;
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
  Told files_;
  Told jobs_;
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
