#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/cases.h"
#include "bench/measure.h"
#include "platform/json/object.h"
#include "platform/json/text.h"

namespace bench {
namespace {

using platform::json::Array;
using platform::json::Object;
using platform::json::Value;

constexpr std::uint64_t RECORDS = 100'000;
constexpr int ROUNDS = 9;

// A backup file's record as the catalog's server keeps it.
struct Record {
  explicit Record(std::uint64_t number)
      : id(number),
        filename("/usr/sap/HXE/SYS/global/hdb/backint/DB_TEN1/log_backup_2_0_" + std::to_string(number * 64) + "_" +
                 std::to_string(number * 64 + 64)),
        extern_backup_id("1415905765532-" + std::to_string(number)),
        storage_path("/pool/hana/HXE/TEN1/" + std::to_string(number % 1000) + "/" + std::to_string(number)) {}

  std::uint64_t id;
  std::string info_uuid = "7b4f1c52-90f1-4f6e-8a1b-8f1f4c3f2b7d";
  std::string filename;
  std::string origin_path = "/usr/sap/HXE/SYS/global/hdb/backint/DB_TEN1/log_pipe";
  std::uint64_t size = 67'108'864;
  std::uint64_t storage_size = 16'777'216;
  std::string extern_backup_id;
  std::string source_type = "log";
  std::string pool_uuid = "c7f0a1de-3b1c-4e59-9d0f-1f2e3d4c5b6a";
  std::string storage_path;
  std::uint64_t database_backup_id = 1'415'905'765'532;
};

std::vector<Record> make_records(std::uint64_t count) {
  std::vector<Record> records;
  records.reserve(count);
  for (std::uint64_t i = 0; i < count; ++i)
    records.emplace_back(i);
  return records;
}

// The floor of reading: the same maps, made from what lies in memory.
Value build_tree(const std::vector<Record>& records) {
  Array array;
  for (const Record& record : records) {
    Object object;
    // clang-format off
    platform::json::insert(object)
        ("id", record.id)
        ("info_uuid", record.info_uuid)
        ("filename", record.filename)
        ("origin_path", record.origin_path)
        ("size", record.size)
        ("storage_size", record.storage_size)
        ("extern_backup_id", record.extern_backup_id)
        ("source_type", record.source_type)
        ("pool_uuid", record.pool_uuid)
        ("storage_path", record.storage_path)
        ("database_backup_id", record.database_backup_id);
    // clang-format on
    array.emplace_back(std::move(object));
  }
  return array;
}

// The records' text with the members in their own order, which is not the maps'.
std::string make_text(const std::vector<Record>& records) {
  std::string text = "[";
  const auto add = [&](const char* key, const std::string& value) {
    text.append("\"").append(key).append("\":").append(value).append(",");
  };
  const auto add_text = [&](const char* key, const std::string& value) { add(key, '"' + value + '"'); };
  for (const Record& record : records) {
    text += text.size() == 1 ? "{" : ",{";
    add("id", std::to_string(record.id));
    add_text("info_uuid", record.info_uuid);
    add_text("filename", record.filename);
    add_text("origin_path", record.origin_path);
    add("size", std::to_string(record.size));
    add("storage_size", std::to_string(record.storage_size));
    add_text("extern_backup_id", record.extern_backup_id);
    add_text("source_type", record.source_type);
    add_text("pool_uuid", record.pool_uuid);
    add_text("storage_path", record.storage_path);
    add("database_backup_id", std::to_string(record.database_backup_id));
    text.back() = '}';
  }
  return text + ']';
}

// The floor of writing: every key, text and number put down as it is, nothing looked at.
void walk(const Value& value, std::string& text) {
  switch (value.type()) {
    case platform::json::obj_type:
      text += '{';
      for (const auto& [key, member] : value.get_obj()) {
        text.append("\"").append(key).append("\":");
        walk(member, text);
        text += ',';
      }
      text += '}';
      return;
    case platform::json::array_type:
      text += '[';
      for (const Value& element : value.get_array()) {
        walk(element, text);
        text += ',';
      }
      text += ']';
      return;
    case platform::json::str_type:
      text.append("\"").append(value.get_str()).append("\"");
      return;
    default:
      text += std::to_string(value.get_uint64());
  }
}

void read_text(const std::string& text) {
  Value value;
  expect(platform::json::loads_json(text.data(), text.size(), value, 0), "reading the records");
  benchmark::DoNotOptimize(value);
}

template <class Make>
auto made_by(Make make) {
  return [make] {
    auto made = make();
    benchmark::DoNotOptimize(made);
  };
}

void race_reading(const std::vector<Record>& records, const std::string& text) {
  const auto ours = [&] { read_text(text); };
  const auto tree = made_by([&] { return build_tree(records); });
  race_fresh_runs({"100,000 records read", ours, {{"floor: the tree alone", tree, 1.1}}}, ROUNDS);
  compare("100,000 records read, peak memory", peak_memory(ours), "the tree alone", peak_memory(tree), 1.1,
          Unit::bytes);
}

void race_writing(const Value& value) {
  race_fresh_runs({"100,000 records written",
                   made_by([&] { return platform::json::JSON_Dump(value, false); }),
                   {{"floor: a bare walk", made_by([&] {
                       std::string walked;
                       walk(value, walked);
                       return walked;
                     }),
                     1.15}}},
                  ROUNDS);
}

}  // namespace

void json_records() {
  const std::vector<Record> records = make_records(RECORDS);
  const std::string text = make_text(records);
  const Value value = build_tree(records);
  Value read;
  expect(platform::json::loads_json(text.data(), text.size(), read, 0), "reading the records");
  expect(platform::json::JSON_Dump(read, false).str() == platform::json::JSON_Dump(value, false).str(),
         "reading what was built");
  race_reading(records, text);
  race_writing(value);
}

void record_growth() {
  for (const std::size_t count : {100, 1'000, 10'000, 100'000}) {
    const std::string text = make_text(make_records(count));
    grow("records read from JSON", count, [&] { read_text(text); });
  }
}

}  // namespace bench
