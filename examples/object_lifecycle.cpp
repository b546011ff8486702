// A host program's first steps with the library: get the device object, ask
// it for an operation, hand it back. Uses only VKRNQ402.h and the exports.

#include "VKRNQ402.h"

#include <cinttypes>
#include <cstdio>

namespace {

void report(const char* step, uint32_t result)
{
    std::printf("  %-44s -> 0x%08" PRIX32 "%s\n", step, result,
                result == vkRN_OK                   ? " (ok)"
                : result == vkRNERROR_NOT_SUPPORTED ? " (not supported)"
                                                    : "");
}

}  // namespace

int main(int argc, char** argv)
{
    const char* port = argc > 1 ? argv[1] : "sim:demo";
    std::printf("VKRNQ402 demo, port %s\n", port);

    DslrObject* camera = DSLR_GetObject();
    if (camera == nullptr) {
        std::printf("  DSLR_GetObject failed\n");
        return 1;
    }
    std::printf("  DSLR_GetObject                               -> device object\n");
    report("baseDslrOpenPort", camera->baseDslrOpenPort(port));
    report("baseReserved03 (a reserved slot)", camera->baseReserved03(0, 0, 0, 0));
    report("baseDslrClosePort", camera->baseDslrClosePort());
    DSLR_DeleteObject(camera);
    std::printf("  DSLR_DeleteObject                            -> done\n");
    return 0;
}
