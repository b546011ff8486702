// What the benchmarks share: the card they download from (a host directory
// holding one large file, served in-process and by dslrsim alike), a dslrsim
// process on a Unix socket. The connected device object is the tests'
// ConnectedObject.
#pragma once

#include "VKRNQ402.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// The size of the file every download benchmark moves: 25 MB.
constexpr std::size_t kFileBytes = 25 * 1000 * 1000;
// The file's path as the host application names it.
constexpr const char* kFilePath = "ATA01:\\BENCH\\BIG_0001.RAW";

// A host directory with BENCH/BIG_0001.RAW of kFileBytes random bytes,
// made on first use and removed at exit.
const std::string& cardDirectory();
// The file's bytes, as the host directory holds them.
const std::vector<std::uint8_t>& fileBytes();

// The in-process camera `sim:NAME` with the bench card in ATA01 and the
// link model LINK ("" or "s400").
std::string simPort(const std::string& name, const std::string& link = "");
// A dslrsim serving the bench card on a Unix socket, started on first use
// and stopped at exit; "" when it cannot run. The port path reaches it.
std::string dslrsimPort(const std::string& link = "");

}  // namespace bench
