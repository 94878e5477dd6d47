#include "bench/measure.h"

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>
#include <numeric>
#include <random>
#include <stdexcept>

#include "bench/program.h"

namespace bench {
namespace {

constexpr int LOOP_ROUNDS = 11;
constexpr int GROWTH_ROUNDS = 7;
constexpr double GROWTH_SECONDS = 0.02;  // of a round, where one pass is shorter

std::string digits(double number) {
  char text[32];
  std::snprintf(text, sizeof(text), "%.3g", number);
  return text;
}

// The straight line that lies closest to some points.
struct Fit {
  double count = 0, x = 0, y = 0, xx = 0, xy = 0;  // their number and sums

  void add(double at, double value) {
    ++count;
    x += at;
    y += value;
    xx += at * at;
    xy += at * value;
  }

  // Empty for a single point.
  std::string slope() const { return count < 2 ? "" : digits((count * xy - x * y) / (count * xx - x * x)); }
};

std::string in_units(double amount, Unit unit) {
  if (unit == Unit::count) return std::to_string(static_cast<long>(amount));
  if (unit == Unit::bytes) return digits(amount / (1 << 20)) + " MiB";
  if (amount >= 1) return digits(amount) + " s";
  if (amount >= 1e-3) return digits(amount * 1e3) + " ms";
  return amount >= 1e-6 ? digits(amount * 1e6) + " us" : digits(amount * 1e9) + " ns";
}

void print_row(const std::string& name, const std::string& ours, const std::string& beside, const std::string& theirs,
               const std::string& ratio, const std::string& to_reach, const std::string& met) {
  std::printf("| %-41s | %8s | %-36s | %8s | %8s | %8s | %-3s |\n", name.c_str(), ours.c_str(), beside.c_str(),
              theirs.c_str(), ratio.c_str(), to_reach.c_str(), met.c_str());
  std::fflush(stdout);
}

// Ours first, then the others in their order.
std::vector<Beside> contestants(const Contest& contest) {
  std::vector<Beside> all{{"ours", contest.ours}};
  all.insert(all.end(), contest.beside.begin(), contest.beside.end());
  return all;
}

double print_rows(const Contest& contest, const std::vector<double>& medians) {
  for (std::size_t i = 0; i < contest.beside.size(); ++i)
    compare(contest.name, medians[0], contest.beside[i].name, medians[i + 1], contest.beside[i].most);
  return medians[0];
}

// The result of `body`, which runs in a child: on a heap that no other run has left its holes in.
template <class Body>
double in_child(Body body) {
  int ends[2];
  expect(::pipe(ends) == 0, "pipe");
  ::malloc_trim(0);
  const pid_t child = start_copy([&] {
    const double result = body();
    expect(::write(ends[1], &result, sizeof(result)) == sizeof(result), "write");
  });
  ::close(ends[1]);
  double result = 0;
  const bool told = ::read(ends[0], &result, sizeof(result)) == sizeof(result);
  ::close(ends[0]);
  finish(child);
  expect(told, "run in a child");
  return result;
}

double most_memory() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) * 1024;
}

template <class Measure>
double race(const Contest& contest, int rounds, Measure measure) {
  const std::vector<Beside> all = contestants(contest);
  std::vector<std::vector<double>> seconds(all.size());
  std::vector<std::size_t> order(all.size());
  std::iota(order.begin(), order.end(), 0);
  std::mt19937 chance;
  for (int round = 0; round <= rounds; ++round) {
    // What went before leaves its mark: a fork, for one, leaves page faults to whoever is next.
    std::shuffle(order.begin(), order.end(), chance);
    for (const std::size_t i : order) {
      const double taken = measure(all[i].run);
      if (round > 0) seconds[i].push_back(taken);  // the first round only warms up
    }
  }

  std::vector<double> medians;
  for (std::vector<double>& taken : seconds)
    medians.push_back(median(std::move(taken)));
  return print_rows(contest, medians);
}

// Takes the medians that Google Benchmark works out, by their benchmarks' names.
class Median_Taker : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.aggregate_name == "median") seconds[run.run_name.function_name] = run.GetAdjustedRealTime() * 1e-9;
    }
  }

  std::map<std::string, double> seconds;
};

}  // namespace

double seconds_of(const std::function<void()>& run) {
  const auto begin = std::chrono::steady_clock::now();
  run();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double race_loops(const Contest& contest) {
  static char program[] = "bench";
  static char in_turns[] = "--benchmark_enable_random_interleaving=true";
  static char* arguments[] = {program, in_turns, nullptr};
  int count = 2;
  benchmark::Initialize(&count, arguments);

  const std::vector<Beside> all = contestants(contest);
  for (std::size_t i = 0; i < all.size(); ++i) {
    const auto& run = all[i].run;
    const auto loop = [&run](benchmark::State& state) {
      for (auto pass : state) {
        static_cast<void>(pass);
        run();
      }
    };
    benchmark::RegisterBenchmark(std::to_string(i).c_str(), loop)
        ->UseRealTime()
        ->Repetitions(LOOP_ROUNDS)
        ->MinTime(0.05);
  }
  Median_Taker taker;
  benchmark::RunSpecifiedBenchmarks(&taker);
  benchmark::ClearRegisteredBenchmarks();

  std::vector<double> medians;
  for (std::size_t i = 0; i < all.size(); ++i)
    medians.push_back(taker.seconds.at(std::to_string(i)));
  return print_rows(contest, medians);
}

double race_runs(const Contest& contest, int rounds) {
  return race(contest, rounds, seconds_of);
}

double race_fresh_runs(const Contest& contest, int rounds) {
  return race(contest, rounds, [](const auto& run) { return in_child([&] { return seconds_of(run); }); });
}

double peak_memory(const std::function<void()>& run) {
  return in_child([&] {
    const double before = most_memory();
    run();
    return most_memory() - before;
  });
}

void print_table_head() {
  std::puts("");
  print_row("case", "ours", "beside", "theirs", "ratio", "to reach", "met");
  print_row("---", "---:", "---", "---:", "---:", "---:", "---");
}

void compare(const std::string& name, double ours, const std::string& beside, double theirs, double most, Unit unit) {
  const double ratio = ours / theirs;
  const char* const verdict = ratio <= most ? "yes" : "NO";
  print_row(name, in_units(ours, unit), beside, in_units(theirs, unit), digits(ratio),
            most > 0 ? "<= " + digits(most) : "", most > 0 ? verdict : "");
}

void print_growth_head() {
  std::puts("\n| what grows                           |     size |         us | exponent |");
  std::puts("| ---                                  |     ---: |       ---: |     ---: |");
}

void grow(const std::string& name, std::size_t size, const std::function<void()>& run) {
  run();  // warms up
  const int passes = 1 + static_cast<int>(GROWTH_SECONDS / seconds_of(run));
  std::vector<double> seconds;
  for (int round = 0; round < GROWTH_ROUNDS; ++round) {
    const auto all = [&] {
      for (int pass = 0; pass < passes; ++pass)
        run();
    };
    seconds.push_back(seconds_of(all) / passes);
  }

  static std::map<std::string, Fit> fits;
  Fit& fit = fits[name];
  const double taken = median(std::move(seconds));
  fit.add(std::log(static_cast<double>(size)), std::log(taken));
  std::printf("| %-36s | %8zu | %10.1f | %8s |\n", name.c_str(), size, taken * 1e6, fit.slope().c_str());
  std::fflush(stdout);
}

void expect(bool done, const char* what) {
  if (!done) throw std::runtime_error(std::string("bench: ") + what + " failed");
}

}  // namespace bench
