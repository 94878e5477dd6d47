#include "platform/http/http_headers.h"

#include <boost/algorithm/string/join.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <string_view>

#include "platform/text/case_blind.h"

namespace platform {

std::optional<std::string> HTTP_Headers::get(int id, bool all) const {
  const auto field = lines_.find(id);
  if (field == lines_.end()) return std::nullopt;
  return all ? boost::algorithm::join(field->second, ", ") : field->second.front();
}

void HTTP_Headers::put(int id, const char* value, bool replace) {
  if (replace) lines_.erase(id);
  if (value != nullptr) lines_[id].emplace_back(value);
}

bool http_header_value_match(const char* value, const char* token, char separator) {
  std::string_view list(value == nullptr ? "" : value);
  for (;;) {
    const std::size_t end = list.find(separator);
    const std::string element(list.substr(0, end));
    if (equal_but_for_case(boost::algorithm::trim_copy_if(element, boost::algorithm::is_any_of(" \t")), token))
      return true;
    if (end == std::string_view::npos) return false;
    list.remove_prefix(end + 1);
  }
}

}  // namespace platform
