// Latency of one Remote API exchange (request written, reply read), median
// and 99th percentile, in-process and over dslrsim; and the cost of a log
// call when the flag word is 0, which every command path makes dozens of.

#include "bench_setup.h"
#include "connected_object.h"

#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"
#include "rapi/command_table.h"
#include "rapi/rapi_call.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>

namespace {

constexpr std::uint32_t kNotifyStart = 0x121000FE;

double microseconds(std::chrono::steady_clock::duration span)
{
    return std::chrono::duration<double, std::micro>(span).count();
}

void timeExchanges(benchmark::State& state, const std::string& port)
{
    ConnectedObject camera(port);
    if (!camera.connected()) {
        state.SkipWithError("camera did not connect");
        return;
    }
    auto* object = static_cast<Dslr1394Object*>(camera.get());
    const RapiCallTexts texts = {"", "", "%lx", "%lx"};
    const RapiCommand& notifyStart = *Rapi_FindCommand(kNotifyStart);
    std::vector<double> spans;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(Rapi_Call(object, notifyStart, nullptr, 0, nullptr, 0, texts));
        spans.push_back(microseconds(std::chrono::steady_clock::now() - start));
    }
    std::sort(spans.begin(), spans.end());
    state.counters["median_us"] = spans[spans.size() / 2];
    state.counters["p99_us"] = spans[spans.size() * 99 / 100];
}

void RapiExchange_Sim(benchmark::State& state)
{
    timeExchanges(state, bench::simPort("bench-rapi"));
}
BENCHMARK(RapiExchange_Sim)->UseRealTime()->Unit(benchmark::kMicrosecond);

void RapiExchange_Dslrsim(benchmark::State& state) { timeExchanges(state, bench::dslrsimPort()); }
BENCHMARK(RapiExchange_Dslrsim)->UseRealTime()->Unit(benchmark::kMicrosecond);

void LogCall_FlagWordZero(benchmark::State& state)
{
    Dbg_SetLogLevelForTest(0);
    unsigned long value = 0;
    for (auto _ : state) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_DETAIL, "dwRemainLength(0x%lx)", value++);
    }
    Dbg_ResetLogLevelForTest();
}
BENCHMARK(LogCall_FlagWordZero)->Unit(benchmark::kNanosecond);

}  // namespace
