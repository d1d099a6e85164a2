#include "ratios.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>

namespace bench {
namespace {

constexpr int kRounds = 7;

class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred)
        std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
      const std::string& name = run.run_name.function_name;
      // Names of benchmarks that measure real time or take their own say so.
      const bool real = !run.run_name.time_type.empty();
      times_[name].push_back(real ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime());
      failed_ = failed_ || run.error_occurred;
    }
  }

  int Print() const {
    std::printf("%-28s %8s %17s   %s\n",
                "",
                "median",
                "spread",
                "(ours / yardstick, seven alternating rounds)");
    for (const auto& [name, ours] : times_) {
      if (!name.ends_with("/ours")) continue;
      const std::string pair = name.substr(0, name.size() - 5);
      const auto bare = times_.find(pair + "/bare");
      if (bare == times_.end() || bare->second.size() != ours.size()) continue;
      std::vector<double> ratios;
      for (std::size_t i = 0; i < ours.size(); ++i) ratios.push_back(ours[i] / bare->second[i]);
      const Summary summary = Summarize(ratios);
      std::printf("%-28s %8.3f %8.3f %8.3f   ours %.4g ns, yardstick %.4g ns\n",
                  pair.c_str(),
                  summary.median,
                  summary.smallest,
                  summary.largest,
                  Summarize(ours).median,
                  Summarize(bare->second).median);
    }
    return failed_ ? 1 : 0;
  }

 private:
  std::map<std::string, std::vector<double>> times_;
  bool failed_ = false;
};

}  // namespace

Summary Summarize(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return {values[values.size() / 2], values.front(), values.back()};
}

int RunRatios(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  Collector collector;
  for (int round = 0; round < kRounds; ++round) benchmark::RunSpecifiedBenchmarks(&collector);
  return collector.Print();
}

}  // namespace bench
