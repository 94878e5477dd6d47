#pragma once

namespace bench {

// Each measures one area and prints its rows.
void process_scan();
void child_start();
void child_output();
void listening_check();
void backup_names();
void json_records();
void http_requests();
void discovery();

// What cost does as size grows.
void process_growth();
void line_growth();
void record_growth();
void connection_growth();

}  // namespace bench
