// The benchmark program's main: runs every benchmark, then prints what the
// times mean next to each other: each transfer against its reference taken
// in the same run.

#include "bench_setup.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

namespace {

struct Result {
    double seconds = 0;  // wall time per iteration
    std::map<std::string, double> counters;
};

// The console report, keeping each benchmark's result for the summary.
class KeepingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred || run.iterations == 0) continue;
            Result& result = m_results[run.run_name.function_name];
            result.seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
            for (const auto& [name, counter] : run.counters) result.counters[name] = counter.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    const Result* find(const std::string& name) const
    {
        const auto found = m_results.find(name);
        return found == m_results.end() ? nullptr : &found->second;
    }

private:
    std::map<std::string, Result> m_results;
};

double gigabytesPerSecond(const Result& result)
{
    return static_cast<double>(bench::kFileBytes) / result.seconds / 1e9;
}

void throughputLine(const KeepingReporter& report, const char* what, const char* name,
                    const char* reference)
{
    const Result* measured = report.find(name);
    const Result* base = report.find(reference);
    if (measured == nullptr || base == nullptr) {
        std::printf("  %-34s not measured\n", what);
        return;
    }
    std::printf("  %-34s %7.3f GB/s  vs %-25s %7.3f GB/s  ratio %.3f\n", what,
                gigabytesPerSecond(*measured), reference, gigabytesPerSecond(*base),
                gigabytesPerSecond(*measured) / gigabytesPerSecond(*base));
}

void latencyLine(const KeepingReporter& report, const char* what, const char* name)
{
    const Result* measured = report.find(name);
    if (measured == nullptr) {
        std::printf("  %-34s not measured\n", what);
        return;
    }
    std::printf("  %-34s median %8.1f us  p99 %8.1f us\n", what, measured->counters.at("median_us"),
                measured->counters.at("p99_us"));
}

void wireLine(const KeepingReporter& report)
{
    const Result* measured = report.find("Download_SimS400");
    if (measured == nullptr || measured->counters.count("wire_ms") == 0) {
        std::printf("  %-34s not measured\n", "25 MB download, S400 model");
        return;
    }
    const double wire = measured->counters.at("wire_ms") / 1e3;
    std::printf("  %-34s %7.3f s  vs model wire time %7.3f s  library adds %+.2f %%\n",
                "25 MB download, S400 model", measured->seconds, wire,
                (measured->seconds / wire - 1) * 100);
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    KeepingReporter report;
    benchmark::RunSpecifiedBenchmarks(&report);
    std::printf("\nRatios (each against its reference in this run):\n");
    throughputLine(report, "25 MB download, sim:", "Download_Sim", "Reference_Memcpy");
    throughputLine(report, "25 MB download, dslrsim unix:", "Download_Dslrsim",
                   "Reference_SocketPump");
    throughputLine(report, "25 MB download, dslrsim unix:", "Download_Dslrsim",
                   "Reference_SocketRoundTrip");
    throughputLine(report, "round trips of the same blocks", "Reference_SocketRoundTrip",
                   "Reference_SocketPump");
    wireLine(report);
    latencyLine(report, "Remote API exchange, sim:", "RapiExchange_Sim");
    latencyLine(report, "Remote API exchange, dslrsim unix:", "RapiExchange_Dslrsim");
    if (const Result* log = report.find("LogCall_FlagWordZero"))
        std::printf("  %-34s %8.1f ns\n", "log call, flag word 0", log->seconds * 1e9);
    benchmark::Shutdown();
    return 0;
}
