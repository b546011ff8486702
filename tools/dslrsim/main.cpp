// dslrsim: one simulated camera served on a socket, for hosts that reach it
// through "unix:PATH" or "tcp:HOST:PORT" port paths, or on Linux as a kernel
// SCSI device through the userspace target ("--tcmu NAME").

#include "tools/dslrsim/command_line.h"
#include "tools/dslrsim/server.h"
#include "tools/dslrsim/tcmu_device.h"

#include "sim/directory_card.h"

#include <csignal>
#include <cstdio>
#include <iostream>

namespace {

// Serves the backstore until a stop signal comes or the kernel removes it.
int serveTcmu(sim::Camera& camera, const std::string& name, const std::vector<std::string>& notes,
              const sigset_t& stopSignals)
{
    dslrsim::TcmuDevice device(camera);
    std::string error;
    if (!device.open(name, error)) {
        std::cerr << "dslrsim: " << error << "\n";
        return 1;
    }
    device.start();
    std::cout << "dslrsim: serving the user backstore " << name << std::endl;
    for (const std::string& note : notes) std::cout << "dslrsim: " << note << std::endl;
    const timespec tick{0, 200'000'000};  // 0.2 s
    while (sigtimedwait(&stopSignals, nullptr, &tick) < 0) {
        if (device.removed()) {
            std::cout << "dslrsim: the backstore " << name << " was removed" << std::endl;
            return 1;
        }
    }
    device.stop();
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    dslrsim::Options options;
    std::string error;
    if (!dslrsim::parseCommandLine(argc, argv, options, error)) {
        std::cerr << "dslrsim: " << error << "\n(dslrsim --help lists the options)\n";
        return 2;
    }
    if (options.help) {
        std::cout << dslrsim::usage();
        return 0;
    }

    // The signals that end the server are taken by this thread alone, so
    // every thread started below inherits them blocked.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    sim::Camera camera;
    sim::CameraOptions identity;
    identity.modelId = options.modelId;
    identity.blockSize = options.blockSize;
    identity.link = options.link;
    identity.keepRecords = false;  // a daemon's records would only grow
    camera.configure(identity);
    sim::SettingsState settings = camera.settings();
    if (!options.owner.empty()) settings.owner = options.owner;
    settings.clockOffset = options.clockOffset;
    camera.setSettings(settings);
    sim::StorageState storage = camera.storage();
    std::vector<std::string> notes;
    for (const auto& [volume, directory] : options.cards) {
        auto card = std::make_shared<sim::DirectoryCard>(directory);
        if (!card->usable()) {
            std::cerr << "dslrsim: the card of " << volume << " is no directory: " << directory
                      << "\n";
            return 2;
        }
        for (const std::string& name : card->skipped()) {
            std::string note = volume;
            note += ": not on the card (a name the camera cannot show): ";
            note += name;
            notes.push_back(note);
        }
        for (sim::StorageVolume& slot : storage.volumes) {
            if (slot.name == volume) slot.card = card;
        }
    }
    camera.setStorage(storage);
    if (!options.misbehave.empty()) {
        // On a socket the spoils of the transport go on the wire; a kernel
        // device gets their in-process equivalents.
        auto spoiler = std::make_unique<sim::Spoiler>(options.misbehave,
                                                      sim::seededChoices(options.seed), 1);
        spoiler->onSpoil([](sim::SpoilClass spoil) {
            std::cout << "dslrsim: spoiled a reply: " << sim::spoilClassName(spoil) << std::endl;
        });
        camera.setSpoiler(std::move(spoiler), options.tcmu.empty());
    }

    if (!options.tcmu.empty()) return serveTcmu(camera, options.tcmu, notes, stopSignals);

    dslrsim::Server server(camera);
    const dslrsim::Server::Bound bound =
        server.bind(*devices::parseSocketAddress(options.listen), error);
    if (bound != dslrsim::Server::Bound::kOk) {
        std::cerr << "dslrsim: " << error << "\n";
        return 1;
    }
    server.start();
    std::cout << "dslrsim: listening on " << options.listen << std::endl;
    for (const std::string& note : notes) std::cout << "dslrsim: " << note << std::endl;

    int received = 0;
    sigwait(&stopSignals, &received);
    server.stop();
    return 0;
}
