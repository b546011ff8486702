// A whole host operation (info, get-all, capture, events, settings) against
// the in-process camera, with replies spoiled as the fuzz input chooses:
// byte 0 picks the operation, the rest are the spoiler's choices of class,
// reply and spoil (sim/spoiler.h), handshake replies included. One camera
// serves every input (making one encodes its demo pictures), each input
// starting from its first state. Time runs fast, so that a reply that never
// comes costs milliseconds, not the command's seconds.

#include "camera_operations.h"

#include "sim/camera.h"
#include "sim/spoiler.h"
#include "support/fault_plan.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace {

const char* const kCameraName = "fuzz-operation";

}  // namespace

// Making the camera encodes its demo pictures: done once, before the clock
// of the first input starts.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    sim::cameraNamed(kCameraName);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static FastClock* const clock = new FastClock(1000);
    (void)clock;
    if (size == 0) return 0;
    constexpr auto kOperations = static_cast<std::uint8_t>(fuzzing::Operation::kCount);
    const auto operation = static_cast<fuzzing::Operation>(data[0] % kOperations);
    const std::string name = kCameraName;
    const std::shared_ptr<sim::Camera> camera = sim::cameraNamed(name);
    static const sim::SettingsState settings = camera->settings();
    static const sim::ReleaseState release = camera->release();
    static const sim::ImageParamsState imageParams = camera->imageParams();
    camera->setSettings(settings);
    camera->setRelease(release);
    camera->setImageParams(imageParams);
    camera->clearEvents();
    camera->setEventReports(false);
    camera->dropOffBus();  // forgets a half-read reply
    camera->attach();
    auto spoiler = std::make_unique<sim::Spoiler>(
        sim::allSpoilClasses(), sim::byteChoices(std::vector<std::uint8_t>(data + 1, data + size)),
        0);
    spoiler->spoilHandshakes(true);
    camera->setSpoiler(std::move(spoiler), false);
    fuzzing::runOperation("sim:" + name, operation);
    camera->setSpoiler(nullptr, false);
    return 0;
}
