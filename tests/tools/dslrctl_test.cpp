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
    const std::string saved = scratchFolder("dslrctl-table").string();
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
        {{"-L"}, 0, "#4    -wa    6291456", nullptr, {}},
        {{"--json", "ls", "-R"}, 0, "", [](const json& j) {
             ASSERT_EQ(j["entries"].size(), 6u);
             EXPECT_EQ(j["entries"][0]["type"], "directory");
             EXPECT_EQ(j["entries"][5]["path"], "ATA01:/DCIM/100VELOR/RAW_0004.RVX");
             EXPECT_EQ(j["entries"][5]["size"], 6291456);
         }, {}},
        {{"--json", "ls", "/dcim"}, 0, "", [](const json& j) { EXPECT_EQ(j["entries"].size(), 1u); }, {}},
        {{"--json", "config", "list"}, 0, "", [](const json& j) {
             ASSERT_EQ(j["settings"][0]["name"], "iso");
             EXPECT_EQ(j["settings"][0]["accepts"][0], "ISO 100");
             EXPECT_EQ(j["settings"][1]["code"], "0x30");
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
        // The other command line's spellings, and photographers' values.
        {{"--json", "--set-config", "iso=400"}, 0, "", [](const json& j) {
             EXPECT_EQ(j["value"], "ISO 400");
             EXPECT_EQ(j["raw"], 0x58);
         }, {}},
        {{"config", "set", "shutter", "1/125"}, 0, "shutter = 1/125 (0x60)", nullptr, {}},
        {{"--get-config", "aperture"}, 0, "aperture = f/5.6 (0x30)", nullptr, {}},
        {{"--wait-event=2s"}, 0, "no camera events", nullptr, {}},
        {{"--wait-event", "--seconds", "0"}, 0, "no camera events", nullptr, {}},
        {{"--json", "-F", "3", "-I", "0.5", "--capture-image-and-download", "-o", saved + "/f3"}, 0, "",
         [](const json& j) {
             ASSERT_EQ(j["shots"].size(), 3u);
             EXPECT_EQ(j["shots"][2]["files"][0]["bytes"], fs::file_size(j["shots"][2]["files"][0]["saved"]));
         }, {}},
        {{"--json", "-F", "2", "-I", "0", "capture"}, 0, "", [](const json& j) { EXPECT_EQ(j["shots"].size(), 2u); }, {}},
        {{"--json", "get", "-p", "1-3", "-o", saved + "/p"}, 0, "", [](const json& j) {
             ASSERT_EQ(j["files"].size(), 3u);
             EXPECT_EQ(j["files"][2]["path"], "ATA01:/DCIM/100VELOR/IMG_0003.JPG");
         }, {}},
        {{"--json", "get", "ata01:/DCIM/*/img_*.jpg", "-o", saved + "/glob"}, 0, "",
         [](const json& j) { EXPECT_EQ(j["files"].size(), 3u); }, {}},
        {{"--json", "rm", "-p", "2,4"}, 0, "", [](const json& j) {
             EXPECT_EQ(j["removed"], json({"ATA01:/DCIM/100VELOR/IMG_0002.JPG", "ATA01:/DCIM/100VELOR/RAW_0004.RVX"}));
         }, {}},
        {{"--json", "mkdir", "-p", "ATA01:/DCIM/A/B"}, 0, "", [](const json& j) { EXPECT_EQ(j["created"], "ATA01:/DCIM/A/B"); }, {}},
        {{"--json", "put", "/etc/hostname", "ATA02:/new.jpg"}, 0, "", [](const json& j) { EXPECT_EQ(j["path"], "ATA02:/NEW.JPG"); }, {}},
        {{"--json", "owner", "--set", ""}, 0, "", [](const json& j) { EXPECT_EQ(j["owner"], ""); }, {}},
        {{"-v", "get", "/DCIM/100VELOR/IMG_0001.JPG", "-o", saved}, 0, "dslrctl: 1 file, ", nullptr, {}},
        {{"--json", "--auto-detect"}, 0, "", [](const json& j) { EXPECT_TRUE(j["cameras"].is_array()); }, {}},
        {{"--version"}, 0, "dslrctl 1.", nullptr, {}},
        {{"-q", "info"}, 0, "", [](const json&) {}, {}},
        // Usage errors: status 2 and what was wrong.
        {{}, 2, "give a command", nullptr, {}},
        {{"frob"}, 2, "frob", nullptr, {}},
        {{"get"}, 2, "dslrctl: get: give camera paths or -p NUMBERS", nullptr, {}},
        {{"capture", "--frob"}, 2, "dslrctl: The following argument was not expected: --frob", nullptr, {}},
        {{"--wait-event=5x"}, 2, "bad --wait-event value '5x'", nullptr, {}},
        {{"--set-config", "iso"}, 2, "--set-config takes NAME=VALUE", nullptr, {}},
        {{"config", "set", "aperture", "f/5.5"}, 2, "bad value 'f/5.5' for aperture", nullptr, {}},
        {{"get", "-p", "9"}, 2, "no file number 9", nullptr, {}},
        {{"get", "ATA01:/DCIM/*.TIF"}, 2, "no camera file matches ATA01:/DCIM/*.TIF", nullptr, {}},
        {{"clock", "--set", "2106-02-07T06:28:16"}, 2, "outside what the camera can hold", nullptr, {}},
        {{"put", "/tmp", "ATA01:/"}, 2, "/tmp is a directory", nullptr, {}},
        {{"--port", "bogus", "info"}, 2, "unknown port 'bogus'", nullptr, {}},
        {{"clock", "--set", "yesterday"}, 2, "bad time 'yesterday'", nullptr, {}},
        {{"owner", "--set", tooLong}, 2, "the camera keeps at most 31 bytes", nullptr, {}},
        {{"config", "get", "nosuch"}, 2, "no setting 'nosuch'", nullptr, {}},
        {{"config", "set", "iso", "0x61"}, 2, "does not take 0x61 for iso", nullptr, {}},
        {{"config", "set", "white-balance", "2850"}, 2, "bad value '2850'", nullptr, {}},
        {{"put", "/no/such/file", "ATA01:/"}, 2, "no such file: /no/such/file", nullptr, {}},
        {{"--port", "tcp:localhost", "info"}, 2, "bad port 'tcp:localhost'", nullptr, {}},
        {{"--port", "/dev/null", "info"}, 2, "not a SCSI generic device", nullptr, {}},
        // The camera says no, or is not there: status 1 and the code in words.
        {{"get", "ATA01:/NOPE.JPG"}, 1, "failed: 0x02000201, no such file or directory", nullptr, {}},
        {{"rm", "ATA01:/DCIM"}, 1, "delete ATA01:/DCIM failed: 0x02000205, the directory is not empty", nullptr, {}},
        // Several paths: each failure named, the others still done.
        {{"rm", "ATA02:/", "ATA01:/DCIM/100VELOR/IMG_0001.JPG"}, 1, "removed ATA01:/DCIM/100VELOR/IMG_0001.JPG", nullptr, {}},
        {{"get", "ATA01:/DCIM", "ATA01:/NOPE.JPG"}, 1, "download ATA01:/NOPE.JPG failed: 0x02000201", nullptr, {}},
        {{"put", "/etc/hostname", "ATA01:/a-name-far-too-long.txt"}, 1, "0x02000102", nullptr, {}},
        {{"--port", "unix:/tmp/no-dslrsim-here.sock", "info"}, 1,
         "baseDslrOpenPort failed: 0x02000080, device not available", nullptr, {}},
        {{"format", "ATA01"}, 1, "[y/N] n\ndslrctl: ATA01 not formatted", nullptr, "n"},
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
    fs::remove_all(saved);
}

// A dslrsim whose first card is a host directory: every download is the
// directory's file byte for byte with its time, uploads come back the same,
// and a picture taken is a whole JPEG.
TEST(Dslrctl, TransfersAgainstTheFilesBehindTheCard)
{
    const fs::path card = scratchFolder("dslrctl-card"), out = scratchFolder("dslrctl-out");
    writeHostFile(card / "DCIM" / "100TEST" / "BIG.BIN", 3 * 0xFF00 + 5, 1);
    writeHostFile(card / "DCIM" / "100TEST" / "SMALL.JPG", 1000, 2);
    // A file written at a whole second keeps that second on the card.
    const fs::path small = card / "DCIM" / "100TEST" / "SMALL.JPG";
    fs::last_write_time(small, std::chrono::floor<std::chrono::seconds>(fs::last_write_time(small)));
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

// No run replaces a local file unless told to; a held picture that cannot be
// saved where asked is saved elsewhere; captures take the card's name or a
// pattern whose number never reuses a name. On the embedded camera and on a
// dslrsim, each row on the files the rows before it left.
TEST(Dslrctl, NeverLosesAPicture)
{
    const char* const image = "ATA01:/DCIM/100VELOR/IMG_0001.JPG";
    struct Row {
        std::vector<std::string> arguments;
        int status;
        const char* shows;
        const char* file;   // under the work folder, after the run
        std::uintmax_t size;  // its size; 0: any but the 4 bytes written first
    };
    const Row rows[] = {
        {{"get", image, "-o", "col"}, 1, "col/IMG_0001.JPG already exists", "col/IMG_0001.JPG", 4},
        {{"get", image, "-o", "col", "--skip-existing"}, 0, "", "col/IMG_0001.JPG", 4},
        {{"get-all", "-o", "all"}, 1, "3 of 4 files saved; ATA01:/DCIM/100VELOR/IMG_0001.JPG:", "all/ATA01/DCIM/100VELOR/IMG_0001.JPG", 4},
        {{"get-all", "-o", "all", "--new"}, 1, "another size", "all/ATA01/DCIM/100VELOR/IMG_0001.JPG", 4},
        {{"get", image, "-o", "col", "--force-overwrite"}, 0, "-> col/IMG_0001.JPG", "col/IMG_0001.JPG", 0},
        {{"capture", "--download", "-o", "shots"}, 0, "-> shots/capt0002.jpg", "shots/capt0001.jpg", 4},
        {{"capture", "--download", "-o", "shots", "--keep"}, 0, "-> shots/IMG_0005.JPG", "shots/IMG_0005.JPG", 0},
        {{"capture", "--download", "-o", "shots", "--filename", "capt0001.%C"}, 1,
         "shots/capt0001.jpg already exists", "capt0001.jpg", 0},
        {{"capture", "--download", "-o", "shots", "--filename", "capt0001.%C", "--skip-existing"}, 0,
         "not saved", "shots/capt0001.jpg", 4},
        {{"capture", "--download", "-o", "shots", "--filename", "capt0001.%C", "--force-overwrite"}, 0,
         "-> shots/capt0001.jpg", "shots/capt0001.jpg", 0},
        {{"capture", "--download", "-o", "col/IMG_0001.JPG/x"}, 1, "saved as", "capt0001_1.jpg", 0},
    };
    const std::string unixPort = "unix:/tmp/" + uniqueName("dslrctl-keep") + ".sock";
    for (const std::string& port : {"sim:" + uniqueName("keep"), unixPort}) {
        SCOPED_TRACE(port);
        std::unique_ptr<Dslrsim> server;
        if (port == unixPort) {
            server = std::make_unique<Dslrsim>(port);
            ASSERT_TRUE(server->ready());
        }
        const fs::path work = scratchFolder("dslrctl-keep");
        for (const char* mine : {"col/IMG_0001.JPG", "all/ATA01/DCIM/100VELOR/IMG_0001.JPG", "shots/capt0001.jpg"}) {
            fs::create_directories((work / mine).parent_path());
            std::ofstream(work / mine) << "mine";
        }
        for (const Row& row : rows) {
            std::string line;
            for (const std::string& argument : row.arguments) line += argument + " ";
            SCOPED_TRACE(line);
            // In the work folder, which is also $TMPDIR, with no terminal.
            std::vector<std::string> arguments = {"/bin/sh", "-c", "cd \"$0\" && TMPDIR=\"$0\" exec \"$@\"",
                                                  work.string(), DSLRCTL_PATH, "--port", port};
            arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
            ChildProcess child(arguments);
            const std::string output = child.readAll(30000);
            EXPECT_EQ(child.wait(), row.status) << output;
            EXPECT_NE(output.find(row.shows), std::string::npos) << output;
            std::error_code missing;
            const std::uintmax_t size = fs::file_size(work / row.file, missing);
            EXPECT_FALSE(missing) << row.file;
            if (row.size != 0) EXPECT_EQ(size, row.size) << row.file;
            else EXPECT_GT(size, 4u) << row.file;
        }
        fs::remove_all(work);
    }
}

// An upload cut off midway: the partial file is removed from a camera that
// is still there, and named as maybe left on one that went away.
TEST(Dslrctl, UploadCutOffSaysWhatBecameOfThePartialFile)
{
    const fs::path card = scratchFolder("dslrctl-up"), big = card.parent_path() / (uniqueName("up") + ".bin");
    writeHostFile(big, 96u << 20, 5);
    for (const bool cameraStays : {true, false}) {
        SCOPED_TRACE(cameraStays ? "Ctrl-C" : "camera gone");
        const std::string port = "unix:/tmp/" + uniqueName("dslrctl-up") + ".sock";
        auto server = std::make_unique<Dslrsim>(port, std::vector<std::string>{"--card", "ATA01=" + card.string(), "--link", "s400"});
        ASSERT_TRUE(server->ready());
        ChildProcess put({DSLRCTL_PATH, "--port", port, "put", big.string(), "ATA01:/BIG.BIN"});
        std::error_code missing;
        // A guard against a hang only: a busy machine may take long to start.
        for (int i = 0; i < 2400 && (fs::file_size(card / "BIG.BIN", missing) == 0 || missing); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (cameraStays) put.signal(SIGINT);
        else server.reset();
        const std::string output = put.readAll(30000);
        EXPECT_EQ(put.wait(), cameraStays ? 130 : 1) << output;
        EXPECT_NE(output.find(cameraStays ? "the partial file ATA01:/BIG.BIN was removed from the camera"
                                          : "a partial file ATA01:/BIG.BIN may be left on the camera"),
                  std::string::npos) << output;
        EXPECT_EQ(fs::exists(card / "BIG.BIN"), !cameraStays);
        fs::remove(card / "BIG.BIN", missing);
    }
    fs::remove(big);
    fs::remove_all(card);
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
    {
        // A camera lost mid-get-all: what was saved and what failed, in
        // words and in the JSON document.
        const std::string otherPort = "unix:/tmp/" + uniqueName("dslrctl-lost") + ".sock";
        auto other = std::make_unique<Dslrsim>(otherPort, std::vector<std::string>{"--card", "ATA01=" + card.string()});
        ASSERT_TRUE(other->ready());
        ChildProcess all({DSLRCTL_PATH, "--port", otherPort, "--json", "get-all", "-o", out.string()});
        const fs::path folder = out / "ATA01" / "DCIM";
        for (int i = 0; i < 2400 && !(fs::is_directory(folder) && holdsPartFile(folder)); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        other.reset();
        const std::string output = all.readAll(30000);
        EXPECT_EQ(all.wait(), 1) << output;
        EXPECT_NE(output.find("0 of 1 files saved; ATA01:/DCIM/HUGE.BIN: "), std::string::npos) << output;
        const json result = json::parse(output.substr(output.find('{')));
        EXPECT_EQ(result["failed"][0]["path"], "ATA01:/DCIM/HUGE.BIN");
        EXPECT_EQ(result["count"], 0);
        EXPECT_TRUE(fs::is_empty(folder)) << "no partial file";
    }

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
