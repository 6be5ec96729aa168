#ifndef BENCH_RATIO_TABLE_H
#define BENCH_RATIO_TABLE_H

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

// One line of the result: how many times the time of `base` the benchmark `subject` takes.
struct Ratio {
  std::string what;
  std::string subject;
  std::string base;
  double target;  // that the ratio is to stay below, or above when `atLeast` is set; 0 for none
  bool atLeast = false;
};

// Collects the repetitions of all benchmarks and prints ratios in place of times: repetition by repetition, the median
// with the smallest and the largest.
class RatioTable : public benchmark::BenchmarkReporter {
 public:
  explicit RatioTable(std::vector<Ratio> ratios) : ratios_(std::move(ratios)) {}

  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  std::vector<Ratio> ratios_;
  std::map<std::string, std::vector<double>> seconds_;  // benchmark -> per repetition, in order
};

#endif  // BENCH_RATIO_TABLE_H
