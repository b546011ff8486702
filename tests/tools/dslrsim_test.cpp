// dslrsim as people and scripts run it: its command line, its refusals, its
// shutdown, a peer that breaks the protocol, a card backed by a host
// directory, and the example host program's whole session against it.

#if !defined(_WIN32) && defined(DSLRSIM_PATH)

#include "platform/devices/scsi_sock.h"
#include "support/card_io.h"
#include "support/child_process.h"
#include "support/connected_object.h"
#include "support/fake_device.h"
#include "support/host_files.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <map>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

std::string socketPath() { return "/tmp/" + uniqueName("dslrsim-cli") + ".sock"; }

// A raw protocol client on the server's local socket; -1 when it cannot connect.
int connectTo(const std::string& path)
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) return fd;
    ::close(fd);
    return -1;
}

// Help names every option; a bad command line names what is wrong and
// exits with 2.
TEST(Dslrsim, HelpAndCommandLineErrors)
{
    struct Case {
        std::vector<std::string> arguments;
        int status;
        std::vector<const char*> shows;
    };
    const Case cases[] = {
        // clang-format off
        {{"--help"}, 0,
         {"--listen", "--tcmu", "--model", "--block-size", "--owner", "--clock-offset", "--link", "--misbehave", "--seed", "--help", "unix:", "tcp:"}},
        {{"--listen", "unix:/tmp/x", "--misbehave", "truncated,lies"}, 2, {"bad classes 'truncated,lies' for --misbehave"}},
        {{}, 2, {"one of --listen ADDRESS and --tcmu NAME is required"}},
        {{"--listen", "unix:/tmp/x", "--tcmu", "cam"}, 2, {"one of --listen ADDRESS and --tcmu NAME"}},
        {{"--tcmu", "user_1/cam"}, 2, {"bad backstore name"}},
        {{"--frobnicate"}, 2, {"unknown option '--frobnicate'"}},
        {{"--listen"}, 2, {"option --listen needs a value"}},
        {{"--listen", "udp:1.2.3.4:5"}, 2, {"bad address 'udp:1.2.3.4:5'"}},
        {{"--listen", "unix:/tmp/x", "--model", "0xZZ"}, 2, {"bad number '0xZZ' for --model"}},
        {{"--listen", "unix:/tmp/x", "--block-size", "99999999999"}, 2, {"bad number"}},
        {{"--listen", "unix:/tmp/x", "--block-size", "0"}, 2, {"--block-size must not be 0"}},
        {{"--listen", "unix:/tmp/x", "--owner", std::string(32, 'o')}, 2, {"owner name longer than 31 characters"}},
        {{"--listen", "unix:/tmp/x", "--clock-offset", "1h"}, 2, {"bad number of seconds '1h' for --clock-offset"}},
        {{"--listen", "unix:/tmp/x", "--link", "s800"}, 2, {"bad link model 's800'"}},
    };
    // clang-format on
    for (const Case& test : cases) {
        std::vector<std::string> arguments = {DSLRSIM_PATH};
        arguments.insert(arguments.end(), test.arguments.begin(), test.arguments.end());
        ChildProcess run(arguments);
        const std::string output = run.readAll();
        EXPECT_EQ(run.wait(), test.status) << output;
        for (const char* text : test.shows)
            EXPECT_NE(output.find(text), std::string::npos) << text << " in " << output;
    }
}

TEST(Dslrsim, AddressInUseIsRefusedAndAStaleSocketIsReplaced)
{
    const int port = freeLoopbackPort();
    for (const std::string& address :
         {"unix:" + socketPath(), "tcp:127.0.0.1:" + std::to_string(port)}) {
        SCOPED_TRACE(address);
        Dslrsim first(address);
        ASSERT_TRUE(first.ready());
        ChildProcess second({DSLRSIM_PATH, "--listen", address});
        const std::string output = second.readAll();
        EXPECT_EQ(second.wait(), 1);
        EXPECT_NE(output.find("in use"), std::string::npos) << output;
    }
    // A server killed outright leaves its socket file; the next one takes over.
    const std::string path = socketPath();
    Dslrsim killed("unix:" + path);
    ASSERT_TRUE(killed.ready());
    killed.signal(SIGKILL);
    killed.wait();
    ASSERT_TRUE(fs::exists(path));
    Dslrsim next("unix:" + path);
    EXPECT_TRUE(next.ready());
}

TEST(Dslrsim, StopSignalsEndItCleanlyWithConnectionsOpen)
{
    for (int signal : {SIGINT, SIGTERM}) {
        const std::string path = socketPath();
        Dslrsim server("unix:" + path);
        ASSERT_TRUE(server.ready());
        const int client = connectTo(path);
        ASSERT_GE(client, 0);
        server.signal(signal);
        EXPECT_EQ(server.wait(), 0) << signal;
        EXPECT_FALSE(fs::exists(path)) << "the socket file is removed";
        char byte;
        EXPECT_EQ(::recv(client, &byte, 1, 0), 0) << "the connection was closed";
        ::close(client);
    }
}

// A peer that does not speak the protocol is dropped, and the camera goes on
// serving. (Several hosts at once on one camera are the port suites' second
// process on one dslrsim.)
TEST(Dslrsim, DropsAPeerThatBreaksTheProtocol)
{
    const std::string path = socketPath();
    Dslrsim server("unix:" + path);
    ASSERT_TRUE(server.ready());
    const int rogue = connectTo(path);
    ASSERT_GE(rogue, 0);
    std::uint8_t garbage[scsisock::kRequestSize] = {'G', 'E', 'T', ' '};
    ASSERT_EQ(::send(rogue, garbage, sizeof(garbage), 0), static_cast<ssize_t>(sizeof(garbage)));
    pollfd closed = {rogue, POLLIN, 0};
    ASSERT_EQ(::poll(&closed, 1, 5000), 1);
    char byte;
    EXPECT_EQ(::recv(rogue, &byte, 1, 0), 0);
    ::close(rogue);
    ConnectedObject camera("unix:" + path);
    EXPECT_TRUE(camera.connected());
}

// A card backed by a host directory: listed and downloaded through the
// library and compared with the host's files; attributes and a delete land
// in the directory. (An upload landing there is dslrctl's put, in its suite.)
TEST(Dslrsim, HostDirectoryCardReadAndWritten)
{
    const fs::path root = scratchFolder("dslrsim-card");
    writeHostFile(root / "DCIM" / "100TEST" / "IMG_0001.JPG", 70000, 3);
    writeHostFile(root / "DCIM" / "100TEST" / "raw_0002.rvx", 300000, 5);
    writeHostFile(root / "NOTES.TXT", 10, 7);
    writeHostFile(root / "a name too long.jpeg", 10, 9);

    const std::string address = "unix:" + socketPath();
    Dslrsim server(address, {"--card", "ATA01=" + root.string()});
    ASSERT_TRUE(server.ready()) << server.readAll(2000);
    EXPECT_NE(server.readLine().find("a name too long.jpeg"), std::string::npos)
        << "the name the camera cannot show is reported";

    ConnectedObject camera(address);
    ASSERT_TRUE(camera.connected());

    const std::map<std::string, fs::path> hostOf = {
        {"ATA01:\\DCIM\\100TEST\\IMG_0001.JPG", root / "DCIM" / "100TEST" / "IMG_0001.JPG"},
        {"ATA01:\\DCIM\\100TEST\\RAW_0002.RVX", root / "DCIM" / "100TEST" / "raw_0002.rvx"},
        {"ATA01:\\NOTES.TXT", root / "NOTES.TXT"}};
    const std::vector<Listed> records = listCard(camera.get(), "ATA01:\\");
    ASSERT_EQ(records.size(), 5u);
    int files = 0;
    for (const Listed& record : records) {
        if (record.attributes & 0x10) continue;
        SCOPED_TRACE(record.path);
        ASSERT_EQ(hostOf.count(record.path), 1u);
        const std::string expected = hostBytes(hostOf.at(record.path));
        EXPECT_EQ(record.size, expected.size());
        for (std::size_t part : {0xFF00, 4099}) {
            const Bytes got = downloadFile(camera.get(), record.path, part);
            EXPECT_EQ(std::string(got.begin(), got.end()), expected);
        }
        ++files;
    }
    EXPECT_EQ(files, 3);

    // Read-only is the owner's write permission; a protected file stays.
    const std::string list = pathList({"ATA01:\\NOTES.TXT"});
    ASSERT_EQ(camera->baseSetFileAttribs(list.data(), 0x21), vkRN_OK);
    EXPECT_EQ(fs::status(root / "NOTES.TXT").permissions() & fs::perms::owner_write,
              fs::perms::none);
    EXPECT_NE(camera->baseDeleteFiles(list.data()), vkRN_OK);
    ASSERT_EQ(camera->baseSetFileAttribs(list.data(), 0x20), vkRN_OK);
    ASSERT_EQ(camera->baseDeleteFiles(list.data()), vkRN_OK);
    EXPECT_FALSE(fs::exists(root / "NOTES.TXT"));
    EXPECT_TRUE(fs::exists(root / "a name too long.jpeg")) << "what the camera cannot see stays";

    EXPECT_TRUE(camera.disconnect());
    server.signal(SIGTERM);
    EXPECT_EQ(server.wait(), 0);
    fs::remove_all(root);
}

// The example host program in its own process: the whole session goes as a
// working camera lets it.
TEST(Dslrsim, ExampleHostSessionRunsAgainstIt)
{
    const std::string address = "unix:" + socketPath();
    Dslrsim camera(address);
    ASSERT_TRUE(camera.ready());
    ChildProcess host({HOST_SESSION_PATH, address});
    const std::string output = host.readAll();
    EXPECT_EQ(host.wait(), 0) << output;
    for (const char* line : {"the reply announces 0x1000 bytes", "raw data read right after it",
                             "-> 0x020000E7\n", "session complete"})
        EXPECT_NE(output.find(line), std::string::npos) << output;
}

// A lying camera (--misbehave): the example host, run twice per class and
// seed, meets the same spoiled reply each time and ends with the same clean
// status, never a signal. A stall is left out: the host would wait its
// command's whole time-out.
TEST(Dslrsim, MisbehavingCameraSpoilsReproducibly)
{
    const std::pair<const char*, const char*> cases[] = {
        {"truncated", "2"},   {"counts-more", "2"},  {"counts-less", "2"},
        {"other-tag", "2"},   {"frame-header", "1"}, {"rapi-header", "1"},
        {"record-word", "1"}, {"listing", "2"},      {"announced-length", "1"},
    };
    for (const auto& [spoil, seed] : cases) {
        int statuses[2] = {};
        for (int& status : statuses) {
            const std::string address = "unix:" + socketPath();
            Dslrsim camera(address, {"--misbehave", spoil, "--seed", seed});
            ASSERT_TRUE(camera.ready());
            ChildProcess host({HOST_SESSION_PATH, address});
            host.readAll();
            status = host.wait();
            EXPECT_EQ(camera.readLine(), std::string("dslrsim: spoiled a reply: ") + spoil);
            EXPECT_LE(status, 1) << spoil;
        }
        EXPECT_EQ(statuses[0], statuses[1]) << spoil;
    }
}

}  // namespace

#endif
