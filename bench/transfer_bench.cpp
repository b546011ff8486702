// How fast the message channel moves data through the in-process camera:
// whole messages of several sizes, cut into negotiated blocks.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace {

void WriteMessageThroughTheCamera(benchmark::State& state)
{
    auto* manager = new ScsiScanManager;
    const std::string port = "sim:bench-write-" + std::to_string(state.range(0));
    if (manager->OpenPort(port.c_str()) != vkRN_OK) {
        state.SkipWithError("port did not open");
        delete manager;
        return;
    }
    DWORD deviceID = 0, model = 0;
    WORD endian = 0;
    manager->ConnectCamera(&deviceID, &model, &endian);
    std::vector<BYTE> payload(static_cast<std::size_t>(state.range(0)), 0x5A);
    for (auto _ : state) {
        const DWORD result = manager->WriteSequence(0x10000010, payload.data(),
                                                    static_cast<DWORD>(payload.size()), 10000);
        benchmark::DoNotOptimize(result);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
    manager->ClosePort();
    delete manager;
}
BENCHMARK(WriteMessageThroughTheCamera)->Arg(0x100)->Arg(0x14000)->Arg(0x100000);

}  // namespace
