#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

// Something that does the same as ours, and how many times its time ours may take at most; 0: only shown.
struct Beside {
  std::string name;
  std::function<void()> run;
  double most = 0;
};

struct Contest {
  std::string name;
  std::function<void()> ours;
  std::vector<Beside> beside;
};

// Measures ours and what stands beside it in turns, so that whatever else the machine does meanwhile meets all of them
// alike, and prints a row of the table for each comparison. The seconds that ours took.
//
// A loop is timed over many passes by Google Benchmark; a run, which starts processes or takes long, once a round; a
// fresh run so in a child of its own, with a heap that no other run has left its holes in. All give the median.
double race_loops(const Contest& contest);
double race_runs(const Contest& contest, int rounds);
double race_fresh_runs(const Contest& contest, int rounds);

double seconds_of(const std::function<void()>& run);
double median(std::vector<double> values);

// The most memory, in bytes, that `run` adds to this process's, seen in a child.
double peak_memory(const std::function<void()>& run);

// Prints a row for two amounts that were measured before.
enum class Unit { seconds, bytes, count };
void compare(const std::string& name, double ours, const std::string& beside, double theirs, double most,
             Unit unit = Unit::seconds);

void print_table_head();

// Prints what a run costs at this size, beside what it cost at the sizes before under the same name: the exponent by
// which it grows, 1 where twice the size takes twice as long.
void grow(const std::string& name, std::size_t size, const std::function<void()>& run);
void print_growth_head();

// Throws std::runtime_error: a contestant that does not do its work measures nothing.
void expect(bool done, const char* what);

}  // namespace bench
