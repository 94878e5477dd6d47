#include "hana/common/hdbsql_general_text_handler.h"

#include <string.h>

#include <limits>
#include <string_view>
#include <utility>

namespace sap_hana {
namespace {

// Walks the fields of a line from left to right. A separator at either end has an empty field beside it.
class Field_Walk {
 public:
  Field_Walk(const char* line, std::size_t length) : rest_(line, length) {}

  // False after the last field.
  bool next(std::string_view& field) {
    if (done_) return false;
    const std::size_t comma = rest_.find(',');
    field = rest_.substr(0, comma);
    done_ = comma == std::string_view::npos;
    if (!done_) skip_separators(comma);
    return true;
  }

 private:
  void skip_separators(std::size_t from) {
    while (from < rest_.size() && rest_[from] == ',')
      ++from;
    rest_.remove_prefix(from);
  }

  std::string_view rest_;
  bool done_ = false;
};

bool contains(const char* line, std::size_t length, std::string_view part) {
  return ::memmem(line, length, part.data(), part.size()) != nullptr;
}

bool is_count_line(const char* line, std::size_t length) {
  // Rows rarely hold the second word, so that most lines are searched once.
  return contains(line, length, " selected") &&
         (contains(line, length, "row selected") || contains(line, length, "rows selected"));
}

bool is_trimmed(char c) {
  return c == '"' || c == '\n';
}

// Also makes nothing of the empty text "".
std::string_view trim(std::string_view field) {
  while (!field.empty() && is_trimmed(field.front()))
    field.remove_prefix(1);
  while (!field.empty() && is_trimmed(field.back()))
    field.remove_suffix(1);
  return field;
}

}  // namespace

HDBSQL_General_Text_Handler::HDBSQL_General_Text_Handler() : Text_Process_Handler(0), keys_size_(0) {}
HDBSQL_General_Text_Handler::~HDBSQL_General_Text_Handler() = default;

int HDBSQL_General_Text_Handler::handle_stdout_line(const char* line, std::size_t len) {
  if (line == nullptr || len == 0) return -1;
  if (is_count_line(line, len)) return 0;
  return keys_size_ == 0 ? take_header(line, len) : take_row(line, len);
}

int HDBSQL_General_Text_Handler::take_header(const char* line, std::size_t len) {
  key_type keys;
  std::uint16_t position = 0;
  std::string_view field;
  for (Field_Walk fields(line, len); fields.next(field); ++position) {
    if (position == std::numeric_limits<std::uint16_t>::max()) return -1;
    keys[std::string(field)] = position;
  }
  keys_ = std::move(keys);
  keys_size_ = position;
  return 0;
}

int HDBSQL_General_Text_Handler::take_row(const char* line, std::size_t len) {
  std::vector<std::string> row;
  row.reserve(keys_size_);
  std::string_view field;
  for (Field_Walk fields(line, len); fields.next(field);) {
    if (row.size() == keys_size_) return -1;
    row.emplace_back(trim(field));
  }
  if (row.size() != keys_size_) return -1;

  values_.push_back(std::move(row));
  return 0;
}

}  // namespace sap_hana
