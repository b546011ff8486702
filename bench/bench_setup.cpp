#include "bench_setup.h"

#include "sim/camera.h"
#include "sim/directory_card.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <thread>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace bench {

namespace fs = std::filesystem;

namespace {

// Temporary directories and server processes, undone at exit.
struct Scratch {
    fs::path root;
    std::map<std::string, pid_t> servers;  // by link model

    Scratch()
    {
        char pattern[] = "/tmp/vkrn-bench-XXXXXX";
        if (mkdtemp(pattern) != nullptr) root = pattern;
    }
    ~Scratch()
    {
        for (const auto& [link, pid] : servers) {
            kill(pid, SIGTERM);
            waitpid(pid, nullptr, 0);
        }
        std::error_code ignored;
        if (!root.empty()) fs::remove_all(root, ignored);
    }
};

Scratch& scratch()
{
    static Scratch instance;
    return instance;
}

bool waitForSocket(const fs::path& path)
{
    for (int i = 0; i < 100; ++i) {
        if (fs::exists(path)) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

}  // namespace

const std::vector<std::uint8_t>& fileBytes()
{
    static const std::vector<std::uint8_t> bytes = [] {
        std::vector<std::uint8_t> data(kFileBytes);
        std::mt19937 random(402);
        for (auto& byte : data) byte = static_cast<std::uint8_t>(random());
        return data;
    }();
    return bytes;
}

const std::string& cardDirectory()
{
    static const std::string directory = [] {
        const fs::path card = scratch().root / "card";
        fs::create_directories(card / "BENCH");
        std::ofstream file(card / "BENCH" / "BIG_0001.RAW", std::ios::binary);
        file.write(reinterpret_cast<const char*>(fileBytes().data()),
                   static_cast<std::streamsize>(fileBytes().size()));
        return card.string();
    }();
    return directory;
}

std::string simPort(const std::string& name, const std::string& link)
{
    std::shared_ptr<sim::Camera> camera = sim::cameraNamed(name);
    sim::CameraOptions options = camera->options();
    options.link = link == "s400" ? sim::LinkModel::kS400 : sim::LinkModel::kInstant;
    camera->configure(options);
    sim::StorageState storage = camera->storage();
    for (sim::StorageVolume& slot : storage.volumes) {
        if (slot.name == "ATA01") slot.card = std::make_shared<sim::DirectoryCard>(cardDirectory());
    }
    camera->setStorage(storage);
    return "sim:" + name;
}

std::string dslrsimPort(const std::string& link)
{
#ifdef VKRN_BENCH_DSLRSIM
    const fs::path socket = scratch().root / ("cam-" + (link.empty() ? "plain" : link) + ".sock");
    const std::string port = "unix:" + socket.string();
    if (scratch().servers.count(link) != 0) return port;
    std::vector<std::string> words = {VKRN_BENCH_DSLRSIM, "--listen", port, "--card",
                                      "ATA01=" + cardDirectory()};
    if (!link.empty()) words.insert(words.end(), {"--link", link});
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) return "";
    scratch().servers[link] = pid;
    return waitForSocket(socket) ? port : "";
#else
    (void)link;
    return "";
#endif
}

}  // namespace bench
