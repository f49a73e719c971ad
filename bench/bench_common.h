// Shared plumbing of the benchmarks: defaults for a shared machine, the median CPU time of
// each benchmark, and running a Python peer on the same data.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "ondrix/vec/TVec.h"

namespace ondrix::bench {

/// Console output as usual, and the median (or single-run) CPU time of each benchmark kept:
/// CPU time leaves out the time the process waits for a core.
class TimeKeeper : public benchmark::ConsoleReporter {
public:
  std::map<std::string, double> times;    ///< in the benchmark's own time unit
  std::map<std::string, double> seconds;  ///< the same in seconds

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs) {
      if (r.error_occurred) continue;
      const bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
      const bool single = r.run_type == Run::RT_Iteration && r.repetitions <= 1;
      if (!median && !single) continue;
      times[r.run_name.function_name] = r.GetAdjustedCPUTime();
      seconds[r.run_name.function_name] = r.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(r.time_unit);
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

/// Runs the registered benchmarks into keeper with defaults for a shared machine, which the
/// command line can override: 5 repetitions, aggregates only, and (when interleave) the
/// repetitions in random order so that a change of load hits ours and the peer alike.
/// False when the command line has unrecognised arguments.
inline bool RunBenchmarks(int argc, char** argv, TimeKeeper& keeper, bool interleave = true) {
  std::vector<char*> args(argv, argv + argc);
  static char reps[] = "--benchmark_repetitions=5";
  static char aggregates[] = "--benchmark_report_aggregates_only=true";
  static char random[] = "--benchmark_enable_random_interleaving=true";
  args.insert(args.begin() + 1, {reps, aggregates});
  if (interleave) args.insert(args.begin() + 1, random);
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return false;
  benchmark::RunSpecifiedBenchmarks(&keeper);
  benchmark::Shutdown();
  return true;
}

/// Writes v's doubles as they lie in memory (little-endian on every machine we build for).
inline void WriteF64(const std::filesystem::path& p, const TVec& v) {
  std::ofstream f(p, std::ios::binary);
  f.write(reinterpret_cast<const char*>(v.PValues()), static_cast<std::streamsize>(sizeof(double) * v.RealLength()));
}

/// Runs `/usr/bin/python3 bench/<script> <args>` and collects its "name value" lines
/// ("check name value" lines are kept under "check name"). Empty when the peer cannot run.
inline std::map<std::string, std::string> RunPeer(const std::string& script, const std::string& args) {
  const std::filesystem::path path = std::filesystem::path(__FILE__).parent_path() / script;
  const std::string cmd = "/usr/bin/python3 '" + path.string() + "' " + args;
  std::map<std::string, std::string> out;
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(cmd.c_str(), "r"), pclose);
  if (!pipe) return out;
  char line[512];
  while (std::fgets(line, sizeof line, pipe.get())) {
    std::istringstream s(line);
    std::string a, b, c;
    s >> a >> b;
    if (a == "check" && (s >> c))
      out["check " + b] = c;
    else if (!b.empty())
      out[a] = b;
  }
  return out;
}

/// A peer value as a number, or 0 when the peer did not report it.
inline double PeerValue(const std::map<std::string, std::string>& m, const std::string& key) {
  const auto it = m.find(key);
  return it == m.end() ? 0.0 : std::stod(it->second);
}

}  // namespace ondrix::bench
