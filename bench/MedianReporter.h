// A console reporter that keeps the median CPU time of each benchmark's repetitions (which a
// machine shared with other work disturbs least), for reporters that print ratios after the runs.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace quillon::bench {

class MedianReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs)
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median" &&
          !run.error_occurred)
        medians[run.run_name.function_name +
                (run.run_name.args.empty() ? "" : "/" + run.run_name.args)] =
            run.GetAdjustedCPUTime();
  }

protected:
  // The median by "BM_Name" or "BM_Name/args", in the benchmark's time unit; 0 when it did not run.
  double Median(const std::string& name) const {
    const auto found = medians.find(name);
    return found == medians.end() ? 0.0 : found->second;
  }

private:
  std::map<std::string, double> medians;
};

} // namespace quillon::bench
