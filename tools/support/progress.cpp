#include "tools/support/progress.h"

#include <unistd.h>

#include <chrono>
#include <iostream>

namespace tools {

Progress::Progress(const std::string& what) {
  if (::isatty(STDOUT_FILENO)) thread_ = std::thread([this, what] { show(what); });
}

Progress::~Progress() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Progress::show(const std::string& what) {
  std::unique_lock<std::mutex> lock(mutex_);
  int seconds = 0;
  while (!changed_.wait_for(lock, std::chrono::seconds(1), [this] { return ended_; }))
    std::cout << '\r' << what << " ... " << ++seconds << " s" << std::flush;
  if (seconds > 0) std::cout << "\r\033[K" << std::flush;
}

}  // namespace tools
