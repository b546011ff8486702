// A 25 MB file downloaded through the slots, as a host application does it:
// baseGetFile announces it, one baseDslrReadData moves it. Over the
// in-process camera, over dslrsim on a Unix socket, and over the in-process
// camera with the S400 link model (whose wire time the camera adds up).

#include "bench_setup.h"
#include "connected_object.h"

#include "sim/camera.h"

#include <benchmark/benchmark.h>

#include <cstring>

namespace {

void download(benchmark::State& state, const std::string& port,
              const sim::Camera* modelled = nullptr)
{
    ConnectedObject camera(port);
    if (!camera.connected()) {
        state.SkipWithError("camera did not connect");
        return;
    }
    std::vector<std::uint8_t> target(bench::kFileBytes);
    const std::chrono::nanoseconds before = modelled ? modelled->linkTime() : before.zero();
    for (auto _ : state) {
        std::uint32_t length = 0;
        if (camera->baseGetFile(bench::kFilePath, &length) != vkRN_OK || length != target.size() ||
            camera->baseDslrReadData(target.data(), length) != vkRN_OK) {
            state.SkipWithError("download failed");
            return;
        }
    }
    if (std::memcmp(target.data(), bench::fileBytes().data(), target.size()) != 0)
        state.SkipWithError("downloaded bytes differ from the file");
    if (modelled != nullptr) {
        const std::chrono::nanoseconds spent = modelled->linkTime() - before;
        state.counters["wire_ms"] =
            static_cast<double>(spent.count()) / 1e6 / static_cast<double>(state.iterations());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * target.size()));
}

void Download_Sim(benchmark::State& state) { download(state, bench::simPort("bench-download")); }
BENCHMARK(Download_Sim)->UseRealTime()->Unit(benchmark::kMillisecond);

void Download_Dslrsim(benchmark::State& state) { download(state, bench::dslrsimPort()); }
BENCHMARK(Download_Dslrsim)->UseRealTime()->Unit(benchmark::kMillisecond);

// The camera adds up the time its link model spent; the counter is that
// time per download, to compare with the wall time.
void Download_SimS400(benchmark::State& state)
{
    const std::string port = bench::simPort("bench-s400", "s400");
    download(state, port, sim::cameraNamed("bench-s400").get());
}
BENCHMARK(Download_SimS400)->UseRealTime()->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
