#include "bench/ratio_table.h"

#include <sys/utsname.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace {

std::string ProcessorName() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);) {
    if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
  }
  utsname name{};
  uname(&name);
  return name.machine;
}

}  // namespace

bool RatioTable::ReportContext(const Context& context) {
  printf("machine   %s, %d processors\n", ProcessorName().c_str(), context.cpu_info.num_cpus);
  printf("compiler  %s\n", __VERSION__);
#ifndef __OPTIMIZE__
  printf("WARNING: built without optimisation, the figures mean nothing\n");
#endif
  fflush(stdout);
  return true;
}

void RatioTable::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.run_type != Run::RT_Iteration) continue;
    seconds_[run.run_name.function_name].push_back(run.real_accumulated_time / static_cast<double>(run.iterations));
  }
}

void RatioTable::Finalize() {
  printf("\n| what | ratio | smallest - largest | target | time (ms) |\n| --- | ---: | --- | --- | ---: |\n");
  for (const Ratio& ratio : ratios_) {
    std::vector<double>& subject = seconds_[ratio.subject];
    const std::vector<double>& base = seconds_[ratio.base];
    std::vector<double> values;
    for (size_t i = 0; i < std::min(subject.size(), base.size()); ++i) values.push_back(subject[i] / base[i]);
    if (values.empty()) continue;
    std::sort(values.begin(), values.end());
    std::vector<double> times = subject;
    std::sort(times.begin(), times.end());
    std::string target = "-";
    if (ratio.target > 0) {
      char text[64];
      snprintf(text, sizeof(text), "%s %g", ratio.atLeast ? "at least" : "at most", ratio.target);
      target = text;
    }
    printf("| %s | %.2f | %.2f - %.2f | %s | %.2f |\n", ratio.what.c_str(), values[values.size() / 2], values.front(),
           values.back(), target.c_str(), times[times.size() / 2] * 1e3);
  }
}
