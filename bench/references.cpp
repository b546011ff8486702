// The references the transfers are measured against, in the same run:
// memcpy of the file's bytes, a plain pump of the same bytes through a Unix
// stream socket in blocks of the camera's size, and the same blocks each
// asked for and answered between two processes, as the camera protocol does:
// the floor of any request/reply transport, however little its ends do.

#include "bench_setup.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <thread>

#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::size_t kBlock = 0xFF00;
// The scsi-sock frame sizes: a READ's request, and the header before its data.
constexpr std::size_t kRequest = 36;
constexpr std::size_t kReplyHeader = 16;

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

bool readFull(int socket, std::uint8_t* bytes, std::size_t length)
{
    for (std::size_t at = 0; at < length;) {
        const ssize_t got = read(socket, bytes + at, length - at);
        if (got <= 0) return false;
        at += static_cast<std::size_t>(got);
    }
    return true;
}

bool writeFull(int socket, const std::uint8_t* bytes, std::size_t length)
{
    for (std::size_t at = 0; at < length;) {
        const ssize_t sent = write(socket, bytes + at, length - at);
        if (sent <= 0) return false;
        at += static_cast<std::size_t>(sent);
    }
    return true;
}

void pump(int socket, const std::uint8_t* data, std::size_t length)
{
    for (std::size_t at = 0; at < length; at += kBlock)
        if (!writeFull(socket, data + at, std::min(kBlock, length - at))) return;
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
        readFull(ends[1], target.data(), target.size());
        sender.join();
        close(ends[0]);
        close(ends[1]);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * source.size()));
}
BENCHMARK(Reference_SocketPump)->UseRealTime()->Unit(benchmark::kMillisecond);

// The answering process: a header and the next block of the bytes for every
// request, straight from memory, until the asking end closes.
[[noreturn]] void answerBlocks(int socket, const std::vector<std::uint8_t>& source)
{
    std::uint8_t request[kRequest];
    std::uint8_t header[kReplyHeader] = {};
    for (std::size_t at = 0; readFull(socket, request, sizeof(request)); at %= source.size()) {
        const std::size_t count = std::min(kBlock, source.size() - at);
        iovec reply[2] = {{header, sizeof(header)},
                          {const_cast<std::uint8_t*>(source.data() + at), count}};
        if (writev(socket, reply, 2) != static_cast<ssize_t>(sizeof(header) + count)) break;
        at += count;
    }
    _exit(0);
}

void Reference_SocketRoundTrip(benchmark::State& state)
{
    const std::vector<std::uint8_t>& source = bench::fileBytes();
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) {
        state.SkipWithError("no socket pair");
        return;
    }
    // One answering process for the whole run, as dslrsim is; started before
    // the target is touched, so that no copy-on-write fault is measured.
    const pid_t answering = fork();
    if (answering == 0) {
        close(ends[1]);
        answerBlocks(ends[0], source);
    }
    close(ends[0]);
    std::vector<std::uint8_t> target(source.size());
    const std::uint8_t request[kRequest] = {};
    std::uint8_t header[kReplyHeader];
    for (auto _ : state) {
        for (std::size_t at = 0; answering > 0 && at < target.size();) {
            const std::size_t count = std::min(kBlock, target.size() - at);
            if (!writeFull(ends[1], request, sizeof(request)) ||
                !readFull(ends[1], header, sizeof(header)) ||
                !readFull(ends[1], target.data() + at, count)) {
                state.SkipWithError("the answering process stopped");
                break;
            }
            at += count;
        }
    }
    close(ends[1]);
    if (answering > 0) waitpid(answering, nullptr, 0);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * source.size()));
}
BENCHMARK(Reference_SocketRoundTrip)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
