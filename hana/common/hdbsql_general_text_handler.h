#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/process/text_process_handler.h"

namespace sap_hana {

// Reads the result set that hdbsql prints for one statement: the first line names the columns, each later one is a row.
//
//   DATABASE_NAME,DESCRIPTION          get_key(): DATABASE_NAME 0, DESCRIPTION 1
//   "SYSTEMDB","SystemDB-HXE-90"       get_values(): SYSTEMDB | SystemDB-HXE-90
//   2 rows selected (overall time ...)
//
// Lines are cut at every comma, a run of commas counting as one; quoting is not understood, so a row with a comma
// inside a value has too many fields and is lost. A handler serves one statement: a second one's header would be taken
// for a row. One thread uses it at a time.
class GUSTAIKRUM_EXPORT HDBSQL_General_Text_Handler : public platform::Text_Process_Handler {
 public:
  // Column names with their positions, and rows of fields.
  typedef std::map<std::string, int> key_type;
  typedef std::list<std::vector<std::string>> values_list_type;

  // Has neither columns nor rows, and is ready for a statement. A value: a copy carries what was read.
  HDBSQL_General_Text_Handler();
  virtual ~HDBSQL_General_Text_Handler();
  HDBSQL_General_Text_Handler(const HDBSQL_General_Text_Handler&) = default;
  HDBSQL_General_Text_Handler(HDBSQL_General_Text_Handler&&) = default;
  HDBSQL_General_Text_Handler& operator=(const HDBSQL_General_Text_Handler&) = default;
  HDBSQL_General_Text_Handler& operator=(HDBSQL_General_Text_Handler&&) = default;

  // The columns and their positions, from 0. A name is what stood in the header, with its quotes, blanks or line end;
  // a name that stands there twice has the later position.
  const key_type& get_key() const { return keys_; }

  // The rows in the order of the output, each with as many fields as the header has. Quotes and line feeds are taken
  // off both ends of a field; blanks and carriage returns stay. A NULL is the text "?".
  const values_list_type& get_values() const { return values_; }

 protected:
  // Takes one line of output. 0 if it was stored, or skipped because it holds "row selected" or "rows selected"
  // anywhere. -1, with nothing stored, for a null or empty line, a row with another number of fields than the header,
  // or a header of more than 65,535 fields.
  int handle_stdout_line(const char* line, std::size_t len) override;

 private:
  int take_header(const char* line, std::size_t len);
  int take_row(const char* line, std::size_t len);

  key_type keys_;
  std::uint16_t keys_size_;  // fields of the header; 0 before there was one
  values_list_type values_;
};

}  // namespace sap_hana
