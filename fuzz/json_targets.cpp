#include <boost/json.hpp>
#include <string>

#include "fuzz/fuzz.h"
#include "hana/backint_catalog/backint_backup_file.h"
#include "hana/backint_catalog/backint_job.h"
#include "platform/json/text.h"

namespace {

using platform::json::JSON_Dump;
using platform::json::Object;
using platform::json::Value;

bool load(std::string_view text, Value& value) {
  return platform::json::loads_json(text.data(), text.size(), value, 1);
}

std::string dump(const Value& value) {
  return JSON_Dump(value, false).str();
}

void json(std::string_view input) {
  Value value;
  const bool taken = load(input, value);

  boost::system::error_code other_error;
  boost::json::parse_options options;
  options.max_depth = 64;
  const boost::json::value other = boost::json::parse({input.data(), input.size()}, other_error, {}, options);
  if (!taken) {
    const std::string shown = other_error ? "" : boost::json::serialize(other);
    const bool has_infinity = shown.find("Infinity") != std::string::npos || shown.find("1e99999") != std::string::npos;
    fuzz::expect(other_error || has_infinity, "what another reader takes is taken");
    return;
  }
  fuzz::expect(!other_error, "what another reader refuses is refused");

  Value again, pretty;
  fuzz::expect(load(dump(value), again) && dump(again) == dump(value), "what is written reads back");
  fuzz::expect(load(JSON_Dump(value, true).str(), pretty) && dump(pretty) == dump(value), "pretty or not");
  fuzz::expect(dump(Value(value)) == dump(value), "a copy is the same");
}

// Any text at all becomes a JSON text; one that was UTF-8 comes back as it was.
void json_string(std::string_view input) {
  Value value, again;
  fuzz::expect(load(dump(std::string(input)), value), "what is written is JSON");
  fuzz::expect(load(dump(value), again) && again.get_str() == value.get_str(), "valid text comes back");
}

// What a record takes from an object it writes, and takes again.
template <class Record>
void record(const Object& object) {
  Record strict{}, lenient{}, again{};
  strict.parse(object);
  lenient << object;
  Object written, written_again;
  lenient >> written;
  again << written;
  again >> written_again;
  fuzz::expect(dump(written) == dump(written_again), "what a record writes it reads back");
}

void records(std::string_view input) {
  Value value;
  if (!load(input, value)) return;
  if (value.type() == platform::json::obj_type) {
    record<sap_hana::Backup_File_Info>(value.get_obj());
    record<sap_hana::Backint_Backup_Job_Info>(value.get_obj());
  }
  if (value.type() == platform::json::array_type) {
    sap_hana::Backup_Files_Info files;
    sap_hana::Array_to_Backup_File_Info(value.get_array(), files);
    fuzz::expect(files.size() <= value.get_array().size(), "no record comes from nowhere");
  }
}

const bool known = fuzz::add("json", json) && fuzz::add("json_string", json_string) && fuzz::add("records", records);

}  // namespace
