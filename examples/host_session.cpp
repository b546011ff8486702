// A host application's session with the camera, using nothing but the public
// header and the two exports: open the port, connect, start notification,
// ask the camera for a test data phase, try a raw read, list the cards and
// the files on the first one, download them, and close it all.
//
//   host_session [PORT]     PORT defaults to "sim:demo", the in-process camera;
//                           "unix:PATH" or "tcp:HOST:PORT" reach a dslrsim.
//
// Prints each step and its result; exits non-zero when a step does not give
// the result a working camera gives.

#include "VKRNQ402.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

uint32_t DSLR_STDCALL onEvent(uint32_t eventId, void*, uint32_t paramSize, uintptr_t)
{
    std::printf("  event 0x%08" PRIX32 " with %" PRIu32 " parameter bytes\n", eventId, paramSize);
    return 0;
}

// Prints a step; false when its result is not the expected one.
bool step(const char* what, uint32_t result, uint32_t expected = vkRN_OK)
{
    std::printf("%-52s -> 0x%08" PRIX32 "%s\n", what, result,
                result == expected ? "" : "   (unexpected)");
    return result == expected;
}

// The volumes, then every file of the first volume's listing, each read in
// blocks of the camera's size.
bool showCards(DslrObject* camera)
{
    unsigned char volumes[273] = {};
    uint16_t count = 3;
    if (!step("storage volumes", camera->baseGetVols(volumes, &count))) return false;
    uint32_t entries = 0;
    std::memcpy(&entries, volumes, 4);
    for (std::size_t i = 0, at = 4; i < entries; ++i) {
        uint32_t freeKiB = 0, totalKiB = 0;
        std::memcpy(&freeKiB, volumes + at + 4, 4);
        std::memcpy(&totalKiB, volumes + at + 8, 4);
        const char* name = reinterpret_cast<const char*>(volumes + at + 12);
        std::printf("  %s: %" PRIu32 " of %" PRIu32 " KiB free\n", name, freeKiB, totalKiB);
        at += 12 + std::strlen(name) + 1;
    }
    const char request[] =
        "\x3F"
        "ATA01:\\\0\0";  // the whole tree, then the end entry
    std::vector<unsigned char> list(request, request + sizeof(request));
    uint32_t length = 0;
    if (!step("list ATA01", camera->baseGetDirs(list.data(), &length))) return false;
    std::vector<unsigned char> listing(length);
    if (!step("read the listing", camera->baseDslrReadData(listing.data(), length))) return false;
    bool ok = true;
    for (std::size_t at = 0; ok && at + 10 < listing.size();) {
        uint16_t attributes = 0;
        uint32_t size = 0;
        std::memcpy(&attributes, &listing[at], 2);
        std::memcpy(&size, &listing[at + 2], 4);
        const std::string path = reinterpret_cast<const char*>(&listing[at + 10]);
        if (path.empty()) break;
        at += 10 + path.size() + 1;
        if (attributes & 0x10) continue;  // a directory
        uint32_t announced = 0;
        ok = step(("get " + path).c_str(), camera->baseGetFile(path.c_str(), &announced));
        std::vector<unsigned char> data(announced);
        for (uint32_t done = 0; ok && done < announced; done += 0xFF00) {
            const uint32_t part = announced - done < 0xFF00 ? announced - done : 0xFF00;
            ok = camera->baseDslrReadData(data.data() + done, part) == vkRN_OK;
        }
        std::printf("  %" PRIu32 " bytes%s\n", announced,
                    ok && announced == size ? " read" : "   (unexpected)");
        ok = ok && announced == size;
    }
    return ok;
}

}  // namespace

int main(int argc, char** argv)
{
    const char* port = argc > 1 ? argv[1] : "sim:demo";
    std::printf("host_session on %s\n", port);
    DslrObject* camera = DSLR_GetObject();
    if (camera == nullptr) {
        std::printf("DSLR_GetObject gave no object\n");
        return 1;
    }
    bool ok = step("open the port", camera->baseDslrOpenPort(port));
    ok = ok && step("connect (handshake: model ID and block size)",
                    camera->baseOpenCameraComm(0, onEvent, 0));
    dsMODEL_DESCRIP model = {};
    ok = ok && step("model description", camera->baseGetModelDescrip(&model));
    if (ok) std::printf("  model 0x%08" PRIX32 " \"%s\"\n", model.dwModelID, model.cModelName);
    char firmware[40] = {};
    ok = ok && step("firmware version", camera->baseReadSetting(READ_FIRM_VERSION, firmware));
    if (ok) std::printf("  %s\n", firmware);
    char owner[33] = {};
    ok = ok && step("owner name", camera->baseReadSetting(OWNER_NAME, owner));
    if (ok) std::printf("  \"%s\"\n", owner);
    uint32_t clock = 0;
    ok = ok && step("camera clock", camera->baseReadSetting(CAMERA_TIME, &clock));
    if (ok) std::printf("  %" PRIu32 " seconds since 1970 (UTC)\n", clock);
    ok = ok && step("start event notification", camera->baseNotifyStart());
    uint32_t announced = 0;
    char path[] = "ATA01:\\DCIM";
    ok = ok && step("test operation 14: data-phase benchmark",
                    camera->dsl1394TestFunction(14, path, 0, &announced, 0));
    if (ok) std::printf("  the reply announces 0x%" PRIX32 " bytes\n", announced);
    unsigned char buffer[64];
    // The benchmark's reply is not a Remote API exchange of the session, so
    // there is no announced data to read.
    ok = ok && step("raw data read right after it",
                    camera->baseDslrReadData(buffer, sizeof(buffer)), vkRNERROR_NO_DATA_PHASE);
    ok = ok && showCards(camera);
    ok = step("stop event notification", camera->baseNotifyTerminate()) && ok;
    ok = step("close the connection", camera->baseCloseCameraComm()) && ok;
    ok = step("close the port", camera->baseDslrClosePort()) && ok;
    DSLR_DeleteObject(camera);
    std::printf("%s\n", ok ? "session complete" : "session FAILED");
    return ok ? 0 : 1;
}
