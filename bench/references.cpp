// The references the transfers are measured against, in the same run:
// memcpy of the file's bytes, and a plain pump of the same bytes through a
// Unix stream socket in blocks of the camera's size.

#include "bench_setup.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::size_t kBlock = 0xFF00;

void Reference_Memcpy(benchmark::State& state)
{
    const std::vector<std::uint8_t>& source = bench::fileBytes();
    std::vector<std::uint8_t> target(source.size());
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), source.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * source.size()));
}
BENCHMARK(Reference_Memcpy)->UseRealTime()->Unit(benchmark::kMillisecond);

void pump(int socket, const std::uint8_t* data, std::size_t length)
{
    for (std::size_t at = 0; at < length;) {
        const ssize_t sent = write(socket, data + at, std::min(kBlock, length - at));
        if (sent <= 0) return;
        at += static_cast<std::size_t>(sent);
    }
}

void Reference_SocketPump(benchmark::State& state)
{
    const std::vector<std::uint8_t>& source = bench::fileBytes();
    std::vector<std::uint8_t> target(source.size());
    for (auto _ : state) {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) {
            state.SkipWithError("no socket pair");
            return;
        }
        std::thread sender(pump, ends[0], source.data(), source.size());
        for (std::size_t at = 0; at < target.size();) {
            const ssize_t got = read(ends[1], target.data() + at, target.size() - at);
            if (got <= 0) break;
            at += static_cast<std::size_t>(got);
        }
        sender.join();
        close(ends[0]);
        close(ends[1]);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * source.size()));
}
BENCHMARK(Reference_SocketPump)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
