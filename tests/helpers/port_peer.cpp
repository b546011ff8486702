// Another process on a port, for tests that need one: opens the port named
// on its command line, then answers commands read from its standard input.
//   message  sends a short message; prints "result 0x%08lX"
//   flag     prints "flag N", the shared no-device flag
//   close    closes the port and ends
// It prints "open 0x%08lX" once the port is opened (or has failed to open).

#include "msgchannel/ScsiScanManager.h"

#include "VKRNQ402.h"

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
    std::string command;
    while (opened == vkRN_OK && std::getline(std::cin, command) && command != "close") {
        if (command == "message") {
            const BYTE data[4] = {};
            const DWORD result = manager->WriteSequence(0x10000010, data, sizeof(data), 10000);
            std::printf("result 0x%08lX\n", static_cast<unsigned long>(result));
        } else if (command == "flag") {
            std::printf("flag %lu\n", static_cast<unsigned long>(manager->ReadMapFile()));
        }
        std::fflush(stdout);
    }
    if (opened == vkRN_OK) manager->ClosePort();
    delete manager;
    return 0;
}
