// dslrctl as people and scripts run it, in its own process: exit statuses,
// messages, every --json document, downloads compared byte for byte with the
// files behind the card, a captured picture, Ctrl-C mid-download, a lost
// dslrsim, and the tour on every kind of port.

#if !defined(_WIN32) && defined(DSLRSIM_PATH) && defined(DSLRCTL_PATH)

#include "support/child_process.h"
#include "support/fake_device.h"
#include "support/host_files.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

namespace {

using nlohmann::json;

struct Outcome {
    int status;
    std::string output;
};

Outcome dslrctl(std::vector<std::string> arguments, const std::string& input = {})
{
    arguments.insert(arguments.begin(), DSLRCTL_PATH);
    ChildProcess child(arguments);
    if (!input.empty()) child.writeLine(input);
    std::string output = child.readAll(30000);
    return {child.wait(), std::move(output)};
}

// One command line on the embedded camera (a fresh demo card every time):
// its status, a piece of its output, and its --json document's key facts.
// The camera has a name of its own: processes that open one port path at
// once share it, as they share a real port.
TEST(Dslrctl, CommandTable)
{
    const std::string tooLong(32, 'o');
    struct Row {
        std::vector<std::string> arguments;
        int status;
        const char* shows;
        std::function<void(const json&)> check;
        std::string input;
    };
    const Row rows[] = {
        {{"info"}, 0, "Model:       ARX-4D (0x80000402)", nullptr, {}},
        {{"--json", "info"}, 0, "", [](const json& j) {
             EXPECT_EQ(j["model"]["id"], "0x80000402");
             EXPECT_EQ(j["firmware"], "Firmware Version 1.2.3.0");
             EXPECT_EQ(j["body_id"], "0x0004D2A1");
             ASSERT_EQ(j["volumes"].size(), 2u);
             EXPECT_EQ(j["volumes"][1]["capacity_kib"], 512000);
         }, {}},
        {{"--summary", "--json"}, 0, "", [](const json& j) { EXPECT_EQ(j["owner"], "Velor Camera Owner"); }, {}},
        {{"-L"}, 0, "-wa    6291456", nullptr, {}},
        {{"--json", "ls", "-R"}, 0, "", [](const json& j) {
             ASSERT_EQ(j["entries"].size(), 6u);
             EXPECT_EQ(j["entries"][0]["type"], "directory");
             EXPECT_EQ(j["entries"][5]["path"], "ATA01:/DCIM/100VELOR/RAW_0004.RVX");
             EXPECT_EQ(j["entries"][5]["size"], 6291456);
         }, {}},
        {{"--json", "ls", "/dcim"}, 0, "", [](const json& j) { EXPECT_EQ(j["entries"].size(), 1u); }, {}},
        {{"--json", "config", "list"}, 0, "", [](const json& j) {
             ASSERT_EQ(j["settings"][0]["name"], "iso");
             EXPECT_EQ(j["settings"][0]["accepts"][0], "0x48");
             EXPECT_EQ(j["settings"].back()["accepts"]["step"], 100);
         }, {}},
        {{"--json", "config", "set", "iso", "0x60"}, 0, "", [](const json& j) { EXPECT_EQ(j["raw"], 0x60); }, {}},
        {{"config", "set", "file-format", "raw+jpeg"}, 0, "file-format = raw+jpeg", nullptr, {}},
        {{"--json", "config", "set", "white-balance", "3200"}, 0, "", [](const json& j) { EXPECT_EQ(j["raw"], 3200); }, {}},
        {{"--json", "config", "set", "contrast", "-2"}, 0, "", [](const json& j) { EXPECT_EQ(j["raw"], -2); }, {}},
        {{"--json", "config", "set", "jpeg-quality-small", "3"}, 0, "", [](const json& j) { EXPECT_EQ(j["raw"], 3); }, {}},
        {{"--json", "owner", "--set", "Jane Doe"}, 0, "", [](const json& j) { EXPECT_EQ(j["owner"], "Jane Doe"); }, {}},
        {{"--json", "clock", "--set", "2020-01-02T03:04:05Z"}, 0, "", [](const json& j) {
             EXPECT_EQ(j["clock"].get<std::string>().substr(0, 16), "2020-01-02T03:04");
         }, {}},
        {{"--json", "mkdir", "ATA02:/NEW"}, 0, "", [](const json& j) { EXPECT_EQ(j["created"], "ATA02:/NEW"); }, {}},
        {{"--json", "rm", "ATA01:/DCIM/100VELOR/IMG_0001.JPG"}, 0, "", [](const json& j) {
             EXPECT_EQ(j["removed"][0], "ATA01:/DCIM/100VELOR/IMG_0001.JPG");
         }, {}},
        {{"--json", "format", "ata02:", "--yes"}, 0, "", [](const json& j) { EXPECT_EQ(j["formatted"], "ATA02"); }, {}},
        {{"--json", "capture"}, 0, "", [](const json& j) {
             EXPECT_EQ(j["shots"][0]["files"][0]["path"], "ATA01:/DCIM/100VELOR/IMG_0005.JPG");
         }, {}},
        {{"events", "--seconds", "1"}, 0, "no camera events", nullptr, {}},
        {{"-q", "info"}, 0, "", [](const json&) {}, {}},
        // Usage errors: status 2 and what was wrong.
        {{}, 2, "give a command", nullptr, {}},
        {{"frob"}, 2, "frob", nullptr, {}},
        {{"get"}, 2, "path is required", nullptr, {}},
        {{"--port", "bogus", "info"}, 2, "unknown port 'bogus'", nullptr, {}},
        {{"clock", "--set", "yesterday"}, 2, "bad time 'yesterday'", nullptr, {}},
        {{"owner", "--set", tooLong}, 2, "longer than 31 characters", nullptr, {}},
        {{"config", "get", "nosuch"}, 2, "no setting 'nosuch'", nullptr, {}},
        {{"config", "set", "iso", "0x61"}, 2, "does not take 0x61 for iso", nullptr, {}},
        {{"config", "set", "white-balance", "2850"}, 2, "bad value '2850'", nullptr, {}},
        {{"put", "/no/such/file", "ATA01:/"}, 2, "no such file: /no/such/file", nullptr, {}},
        {{"get", "ATA01:/DCIM"}, 2, "is a directory", nullptr, {}},
        // The camera says no, or is not there: status 1 and the code in words.
        {{"get", "ATA01:/NOPE.JPG"}, 1, "failed: 0x02000201, no such file or directory", nullptr, {}},
        {{"rm", "ATA01:/DCIM"}, 1, "baseDeleteFiles failed: 0x02000205, the directory is not empty", nullptr, {}},
        {{"put", "/etc/hostname", "ATA01:/a-name-far-too-long.txt"}, 1, "0x02000102", nullptr, {}},
        {{"--port", "unix:/tmp/no-dslrsim-here.sock", "info"}, 1,
         "baseDslrOpenPort failed: 0x02000080, device not available", nullptr, {}},
        {{"format", "ATA01"}, 1, "ATA01 not formatted", nullptr, "n"},
    };
    for (const Row& row : rows) {
        std::string line;
        for (const std::string& argument : row.arguments) line += argument + " ";
        SCOPED_TRACE(line);
        std::vector<std::string> arguments = row.arguments;
        if (std::find(arguments.begin(), arguments.end(), "--port") == arguments.end())
            arguments.insert(arguments.begin(), {"--port", "sim:" + uniqueName("ctl")});
        const Outcome run = dslrctl(arguments, row.input);
        EXPECT_EQ(run.status, row.status) << run.output;
        EXPECT_NE(run.output.find(row.shows), std::string::npos) << run.output;
        if (row.check && row.arguments.size() > 0 && row.arguments[0] == "-q")
            EXPECT_EQ(run.output, "");
        else if (row.check)
            row.check(json::parse(run.output));
    }
}

// A dslrsim whose first card is a host directory: every download is the
// directory's file byte for byte with its time, uploads come back the same,
// and a picture taken is a whole JPEG.
TEST(Dslrctl, TransfersAgainstTheFilesBehindTheCard)
{
    const fs::path card = scratchFolder("dslrctl-card"), out = scratchFolder("dslrctl-out");
    writeHostFile(card / "DCIM" / "100TEST" / "BIG.BIN", 3 * 0xFF00 + 5, 1);
    writeHostFile(card / "DCIM" / "100TEST" / "SMALL.JPG", 1000, 2);
    writeHostFile(card / "MISC" / "EMPTY.TXT", 0, 3);
    const std::string port = "unix:/tmp/" + uniqueName("dslrctl") + ".sock";
    Dslrsim server(port, {"--card", "ATA01=" + card.string()});
    ASSERT_TRUE(server.ready());

    Outcome run = dslrctl({"--port", port, "--json", "get-all", "-o", out.string()});
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(json::parse(run.output)["count"], 3);
    for (const auto& file : fs::recursive_directory_iterator(card)) {
        if (!file.is_regular_file()) continue;
        const fs::path copy = out / "ATA01" / fs::relative(file.path(), card);
        EXPECT_EQ(hostBytes(copy), hostBytes(file.path())) << copy;
        // The camera keeps whole seconds.
        const auto seconds = [](const fs::path& path) {
            return std::chrono::floor<std::chrono::seconds>(fs::last_write_time(path).time_since_epoch());
        };
        EXPECT_EQ(seconds(copy), seconds(file.path())) << copy;
    }
    run = dslrctl({"--port", port, "--json", "-P", "--skip-existing", "-o", out.string()});
    EXPECT_EQ(json::parse(run.output)["skipped"], 3) << run.output;

    writeHostFile(out / "up.bin", 2 * 0xFF00 + 77, 4);
    run = dslrctl({"--port", port, "--json", "put", (out / "up.bin").string(), "ATA01:/MISC"});
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(json::parse(run.output)["path"], "ATA01:/MISC/UP.BIN");
    EXPECT_EQ(hostBytes(card / "MISC" / "UP.BIN"), hostBytes(out / "up.bin"));
    run = dslrctl({"--port", port, "--json", "get", "ATA01:/MISC/UP.BIN", "-o", (out / "back").string()});
    EXPECT_EQ(json::parse(run.output)["files"][0]["bytes"], 2 * 0xFF00 + 77) << run.output;
    EXPECT_EQ(hostBytes(out / "back" / "UP.BIN"), hostBytes(out / "up.bin"));

    run = dslrctl({"--port", port, "--json", "--capture-image-and-download", "-o", (out / "shots").string()});
    ASSERT_EQ(run.status, 0) << run.output;
    const std::string jpeg = hostBytes(json::parse(run.output)["shots"][0]["files"][0]["saved"].get<std::string>());
    ASSERT_GT(jpeg.size(), 1000u);
    EXPECT_EQ(jpeg.substr(0, 2), "\xFF\xD8");
    EXPECT_EQ(jpeg.substr(jpeg.size() - 2), "\xFF\xD9");
    fs::remove_all(card);
    fs::remove_all(out);
}

// A download under way: its temporary file has bytes in it.
bool holdsPartFile(const fs::path& directory)
{
    for (const auto& file : fs::directory_iterator(directory))
        if (file.path().filename().string().find("dslrctl-part") != std::string::npos &&
            file.file_size() > 0)
            return true;
    return false;
}

// A lying camera (dslrsim --misbehave, seeds that hit the case): a listing
// name that climbs out of -o and a download announced at another length
// than listed each fail the command with a message, and nothing is written
// outside the output folder.
TEST(Dslrctl, LyingCameraNeverDecidesWhereOrWhatIsSaved)
{
    struct Case {
        const char* spoil;
        const char* seed;
        const char* says;
    };
    const Case cases[] = {
        {"listing", "11", "would be written outside"},
        {"announced-length", "1", "announced 0 bytes for a file of"},
    };
    for (const Case& test : cases) {
        const fs::path top = scratchFolder("dslrctl-lies"), out = top / "a" / "b";
        const std::string port = "unix:/tmp/" + uniqueName("dslrctl") + ".sock";
        Dslrsim server(port, {"--misbehave", test.spoil, "--seed", test.seed});
        ASSERT_TRUE(server.ready());
        const Outcome run = dslrctl({"--port", port, "get-all", "-o", out.string()});
        EXPECT_EQ(run.status, 1) << run.output;
        EXPECT_NE(run.output.find(test.says), std::string::npos) << run.output;
        for (const auto& file : fs::recursive_directory_iterator(top))
            EXPECT_TRUE(!file.is_regular_file() || file.path().string().rfind(out.string(), 0) == 0)
                << file.path();
    }
}

// Ctrl-C mid-download ends with 130 and nothing on disk, and the camera
// serves the next command; a dslrsim that goes away is a failure in words.
TEST(Dslrctl, InterruptedDownloadAndLostCamera)
{
    const fs::path card = scratchFolder("dslrctl-big"), out = scratchFolder("dslrctl-cut");
    fs::create_directories(card / "DCIM");
    fs::resize_file((std::ofstream(card / "DCIM" / "HUGE.BIN").close(), card / "DCIM" / "HUGE.BIN"),
                    std::uintmax_t{128} << 20);
    const std::string port = "unix:/tmp/" + uniqueName("dslrctl-cut") + ".sock";
    auto server = std::make_unique<Dslrsim>(port, std::vector<std::string>{"--card", "ATA01=" + card.string()});
    ASSERT_TRUE(server->ready());
    {
        ChildProcess get({DSLRCTL_PATH, "--port", port, "get", "ATA01:/DCIM/HUGE.BIN", "-o", out.string()});
        // A guard against a hang only: a busy machine may take long to start.
        for (int i = 0; i < 2400 && !holdsPartFile(out); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        ASSERT_TRUE(holdsPartFile(out));
        get.signal(SIGINT);
        const std::string output = get.readAll(30000);
        EXPECT_EQ(get.wait(), 130) << output;
        EXPECT_NE(output.find("interrupted"), std::string::npos) << output;
        EXPECT_TRUE(fs::is_empty(out)) << "no partial file";
    }
    EXPECT_EQ(dslrctl({"--port", port, "info"}).status, 0);

    ChildProcess watch({DSLRCTL_PATH, "-v", "--port", port, "--json", "events", "--seconds", "600"});
    std::string line;
    do line = watch.readLine();
    while (!line.empty() && line != "dslrctl: watching for camera events");
    ASSERT_FALSE(line.empty()) << "the watch started";
    server.reset();
    const std::string output = watch.readAll(30000);
    EXPECT_EQ(watch.wait(), 1) << output;
    EXPECT_NE(output.find("device not available"), std::string::npos) << output;
    const json event = json::parse(output.substr(0, output.find('\n')));
    EXPECT_EQ(event["id"], 0x0004000D);
    EXPECT_EQ(event["name"], "connection to the camera lost");
    fs::remove_all(card);
    fs::remove_all(out);
}

// The tour of `make demo` on the embedded camera and on dslrsim over both
// kinds of socket.
TEST(Dslrctl, TourRunsOnEveryKindOfPort)
{
    ::setenv("DSLRCTL", DSLRCTL_PATH, 1);
    const std::string unixPort = "unix:/tmp/" + uniqueName("dslrctl-tour") + ".sock";
    const std::string tcpPort = "tcp:127.0.0.1:" + std::to_string(freeLoopbackPort());
    for (const std::string& port : {std::string(), unixPort, tcpPort}) {
        SCOPED_TRACE(port);
        std::unique_ptr<Dslrsim> server;
        if (!port.empty()) {
            server = std::make_unique<Dslrsim>(port);
            ASSERT_TRUE(server->ready());
        }
        const fs::path work = scratchFolder("dslrctl-tour");
        ChildProcess tour({"/bin/bash", DSLRCTL_TOUR, port.empty() ? "sim:" + uniqueName("tour") : port,
                           work.string()});
        const std::string output = tour.readAll(60000);
        EXPECT_EQ(tour.wait(), 0) << output;
        EXPECT_NE(output.find("$ dslrctl get-all -o"), std::string::npos) << output;
        EXPECT_NE(output.find("Tour complete: 5 files"), std::string::npos) << output;
        EXPECT_EQ(fs::file_size(work / "card" / "ATA01" / "DCIM" / "100VELOR" / "RAW_0004.RVX"), 6291456u);
        EXPECT_EQ(hostBytes(work / "shots" / "capt0001.jpg").substr(0, 2), "\xFF\xD8");
        fs::remove_all(work);
    }
}

}  // namespace

#endif
