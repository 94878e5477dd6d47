#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace tools {

// A line on the terminal that says what is waited for and since when, from its second second until the object goes.
// Where standard output is no terminal nothing is written. Nobody else may write there meanwhile.
class Progress {
 public:
  explicit Progress(const std::string& what);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void show(const std::string& what);

  std::mutex mutex_;
  std::condition_variable changed_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace tools
