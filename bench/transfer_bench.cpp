// How fast the message channel moves data through the in-process camera:
// whole messages of several sizes (cut into negotiated blocks), and a Remote
// API exchange with its reply.

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "object/Dslr1394Object.h"
#include "rapi/command_table.h"
#include "rapi/rapi_call.h"

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

void RemoteApiExchange(benchmark::State& state)
{
    auto* object = static_cast<Dslr1394Object*>(DSLR_GetObject());
    DslrObject* slots = object;
    if (slots->baseDslrOpenPort("sim:bench-rapi") != vkRN_OK ||
        slots->baseOpenCameraComm(0, nullptr, 0) != vkRN_OK) {
        state.SkipWithError("camera did not connect");
        DSLR_DeleteObject(slots);
        return;
    }
    const RapiCallTexts texts = {"", "", "%lx", "%lx"};
    const RapiCommand& notifyStart = *Rapi_FindCommand(0x121000FE);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Rapi_Call(object, notifyStart, nullptr, 0, nullptr, 0, texts));
    }
    slots->baseCloseCameraComm();
    slots->baseDslrClosePort();
    DSLR_DeleteObject(slots);
}
BENCHMARK(RemoteApiExchange);

}  // namespace
