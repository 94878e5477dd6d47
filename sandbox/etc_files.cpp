#include "sandbox/etc_files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "sandbox/paths.h"
#include "sandbox/way.h"

namespace sandbox {

namespace {

using Lines = std::vector<std::string>;

std::string record_of(const std::string& name) {
  return std::string(state_dir) + "/added_to_" + name;
}

Lines read_lines(const std::string& path) {
  std::ifstream file(path);
  Lines lines;
  std::string line;
  while (std::getline(file, line))
    lines.push_back(line);
  return lines;
}

void write_lines(const std::string& path, const Lines& lines) {
  std::string text;
  for (const std::string& line : lines)
    text += line + "\n";
  std::ofstream file(path, std::ios::trunc);
  if (!(file << text << std::flush)) throw std::runtime_error("sandbox: cannot write " + path);
}

std::string first_field(const std::string& line) {
  return line.substr(0, line.find_first_of(": \t"));
}

bool contains(const Lines& lines, const std::string& wanted) {
  return std::find(lines.begin(), lines.end(), wanted) != lines.end();
}

}  // namespace

void add_etc_lines(const std::string& name, const Lines& added) {
  const std::string path = "/etc/" + name;
  Lines lines = read_lines(path);
  const auto taken = [&added](const std::string& line) {
    return std::any_of(added.begin(), added.end(),
                       [&line](const std::string& other) { return first_field(other) == first_field(line); });
  };
  if (name != "hosts") {
    const auto in_the_way = std::remove_if(lines.begin(), lines.end(), taken);
    if (in_the_way != lines.end() && way_inside() == Way::plain)
      throw std::runtime_error("sandbox: " + path + " already holds one of the names that this host needs");
    lines.erase(in_the_way, lines.end());
  }

  write_lines(record_of(name), added);
  lines.insert(lines.end(), added.begin(), added.end());
  write_lines(path, lines);
}

void remove_etc_lines() {
  for (const char* name : {"passwd", "group", "hosts"}) {
    const Lines added = read_lines(record_of(name));
    if (added.empty()) continue;
    Lines lines = read_lines(std::string("/etc/") + name);
    lines.erase(
        std::remove_if(lines.begin(), lines.end(), [&added](const std::string& line) { return contains(added, line); }),
        lines.end());
    write_lines(std::string("/etc/") + name, lines);
    std::filesystem::remove(record_of(name));
  }
}

}  // namespace sandbox
