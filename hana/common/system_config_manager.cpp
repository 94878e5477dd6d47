#include "hana/common/system_config_manager.h"

#include <cstddef>

#include "hana/common/hdbsql_general_text_handler.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"
#include "platform/text/case_blind.h"
#include "platform/text/format.h"

namespace sap_hana {
namespace {

using platform::equal_but_for_case;

// One line of a table that gives values their texts. A null text ends the table.
template <class T>
struct Key2_Value_T {
  const char* text;
  std::size_t length;
  T value;
};

const Key2_Value_T<System_Config_Manager::LOG_MODE> mode_table[] = {
    {"overwrite", 9, System_Config_Manager::LOG_MODE_OVERWRITE},
    {"normal", 6, System_Config_Manager::LOG_MODE_NORMAL},
    {nullptr, 0, System_Config_Manager::LOG_MODE_UNKNOWN}};

// The first entry with the value, or the table's end.
template <class T>
const Key2_Value_T<T>& get_key_value_entry(const Key2_Value_T<T>* table, T value) {
  while (table->text != nullptr && table->value != value)
    ++table;
  return *table;
}

System_Config_Manager::LOG_MODE log_mode_of(const std::string& text) {
  const auto* entry = mode_table;
  while (entry->text != nullptr && !equal_but_for_case(text, entry->text))
    ++entry;
  return entry->value;
}

}  // namespace

System_Config_Manager::System_Config_Manager(const HDBSQL_Executor& hdbsql)
    : hdbsql_(platform::kept(hdbsql, HDBSQL_Executor(""))) {}

bool System_Config_Manager::get_inifile_value(const std::string& key, std::string& value) try {
  const platform::snprintf_t<4096> sql(
      "SELECT VALUE from M_INIFILE_CONTENTS where key = '%s' and LAYER_NAME = 'SYSTEM'", key.c_str());
  HDBSQL_General_Text_Handler handler;
  if (!hdbsql_.execute(sql.str(), &handler, platform::ACE_Log_Msg_Callback_var())) return false;
  if (handler.get_values().empty()) return false;

  const auto column = handler.get_key().find("VALUE");
  const std::size_t position = column == handler.get_key().end() ? 0 : static_cast<std::size_t>(column->second);
  value = handler.get_values().back()[position];
  // Deliberate: true for an empty value. The callers look at the value alone.
  return value.empty();
} catch (...) {
  return platform::failed();
}

bool System_Config_Manager::string_to_bool(const std::string& input, bool& output) {
  const bool yes = equal_but_for_case(input, "yes") || equal_but_for_case(input, "true");
  if (!yes && !equal_but_for_case(input, "no") && !equal_but_for_case(input, "false")) return false;
  output = yes;
  return true;
}

bool System_Config_Manager::alter_system_value(const char* layer, const char* key, bool value) try {
  return alter_system_value(layer, key, value ? "true" : "false");
} catch (...) {
  return platform::failed();
}

bool System_Config_Manager::alter_system_value(const char* layer, const char* key, const char* value) try {
  const platform::snprintf_t<4096> sql(
      "ALTER SYSTEM ALTER CONFIGURATION ('global.ini', 'SYSTEM') SET ('%s', '%s') = '%s' WITH RECONFIGURE", layer, key,
      value);
  return hdbsql_.execute(sql.str(), platform::ACE_Log_Msg_Callback_var());
} catch (...) {
  return platform::failed();
}

bool System_Config_Manager::alter_log_mode(LOG_MODE mode) try {
  const char* const text = get_key_value_entry(mode_table, mode).text;
  if (text == nullptr) {
    platform::log_error("Failed to alter log mode: unkonwn mode\n");
    return false;
  }

  std::string current;
  get_inifile_value("log_mode", current);
  if (log_mode_of(current) == mode) return true;

  if (!alter_system_value("persistence", "log_mode", text)) {
    platform::log_error("Failed to alter log mode to %s\n", text);
    return false;
  }
  return true;
} catch (...) {
  return platform::failed();
}

bool System_Config_Manager::alter_flag(const char* layer, const char* key, bool action, const char* failure) try {
  std::string text;
  bool current = false;
  get_inifile_value(key, text);
  string_to_bool(text, current);
  if (current == action) return true;

  if (!alter_system_value(layer, key, action)) {
    platform::log_error(failure, action ? "enable" : "disable");
    return false;
  }
  return true;
} catch (...) {
  return platform::failed();
}

bool System_Config_Manager::alter_auto_log_backup(bool action) {
  return alter_flag("persistence", "enable_auto_log_backup", action, "Failed to %s auto log backup\n");
}

bool System_Config_Manager::alter_log_backup_using_backint(bool action) {
  return alter_flag("backup", "log_backup_using_backint", action, "Failed to %s log backup using backint\n");
}

bool System_Config_Manager::alter_catalog_backup_using_backint(bool action) {
  return alter_flag("backup", "catalog_backup_using_backint", action, "Failed to %s catalog backup using backint\n");
}

}  // namespace sap_hana
