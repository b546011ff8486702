// Another process on a port, for tests that need one: opens the port named
// on its command line, then answers commands read from its standard input.
//   message  sends a short message; prints "result 0x%08lX"
//   flag     prints "flag N", the shared no-device flag
//   dataopen     opens the port's data channel too; prints "dataopen 0x%08lX"
//   datahold     takes the data channel's mutex; prints "held" or "not held"
//   datarelease  releases it; prints "released"
//   close    closes the port and ends
// It prints "open 0x%08lX" once the port is opened (or has failed to open).

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"
#include "datachannel/utl_mutex.h"
#include "object/Dslr1394Object.h"

#include <cstdio>
#include <iostream>
#include <string>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: port_peer PORT\n");
        return 2;
    }
    auto* manager = new ScsiScanManager;
    const DWORD opened = manager->OpenPort(argv[1]);
    std::printf("open 0x%08lX\n", static_cast<unsigned long>(opened));
    std::fflush(stdout);
    Dslr1394Object* object = nullptr;
    std::string command;
    while (opened == vkRN_OK && std::getline(std::cin, command) && command != "close") {
        if (command == "message") {
            const BYTE data[4] = {};
            const DWORD result = manager->WriteSequence(0x10000010, data, sizeof(data), 10000);
            std::printf("result 0x%08lX\n", static_cast<unsigned long>(result));
        } else if (command == "dataopen") {
            if (object == nullptr) object = static_cast<Dslr1394Object*>(DSLR_GetObject());
            std::printf("dataopen 0x%08lX\n",
                        static_cast<unsigned long>(object->ScanMngrOpenPort(argv[1])));
        } else if (command == "datahold" && object != nullptr) {
            std::printf(Utl_WaitForMutexObject(object->m_hDeviceAccessMutex, 5000) ? "held\n"
                                                                                   : "not held\n");
        } else if (command == "datarelease" && object != nullptr) {
            Utl_ReleaseMutexObject(object->m_hDeviceAccessMutex);
            std::printf("released\n");
        } else if (command == "flag") {
            std::printf("flag %lu\n", static_cast<unsigned long>(manager->ReadMapFile()));
        }
        std::fflush(stdout);
    }
    if (object != nullptr) {
        object->ScanMngrClosePort();
        DSLR_DeleteObject(object);
    }
    if (opened == vkRN_OK) manager->ClosePort();
    delete manager;
    return 0;
}
