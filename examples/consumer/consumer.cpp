// A short session with the camera through the installed library: open the
// port, connect, read the model and the storage volumes, close.
//
//   consumer [PORT]     PORT defaults to "sim:demo", the simulated camera
//                       inside the library.
//
// Exits 0 when every step gave the result a working camera gives.

#include <VKRNQ402.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace {

bool step(const char* what, uint32_t result)
{
    std::printf("%-24s -> 0x%08" PRIX32 "\n", what, result);
    return result == vkRN_OK;
}

uint32_t DSLR_STDCALL ignoreEvent(uint32_t, void*, uint32_t, uintptr_t) { return 0; }

}  // namespace

int main(int argc, char** argv)
{
    const char* port = argc > 1 ? argv[1] : "sim:demo";
    DslrObject* camera = DSLR_GetObject();
    if (camera == nullptr) return 1;
    bool ok = step("open the port", camera->baseDslrOpenPort(port));
    ok = ok && step("connect", camera->baseOpenCameraComm(0, ignoreEvent, 0));
    dsMODEL_DESCRIP model = {};
    ok = ok && step("model description", camera->baseGetModelDescrip(&model));
    if (ok) std::printf("  model 0x%08" PRIX32 " \"%s\"\n", model.dwModelID, model.cModelName);
    unsigned char volumes[273] = {};
    uint16_t count = 3;
    ok = ok && step("storage volumes", camera->baseGetVols(volumes, &count));
    uint32_t entries = 0;
    std::memcpy(&entries, volumes, 4);
    if (ok) std::printf("  %" PRIu32 " volumes\n", entries);
    ok = step("close the connection", camera->baseCloseCameraComm()) && ok;
    ok = step("close the port", camera->baseDslrClosePort()) && ok;
    DSLR_DeleteObject(camera);
    std::printf("%s\n", ok ? "consumer session complete" : "consumer session FAILED");
    return ok ? 0 : 1;
}
