// A whole host operation (info, get-all, capture, events, settings) against
// the in-process camera, with replies spoiled as the fuzz input chooses:
// byte 0 picks the operation, the rest are the spoiler's choices of class,
// reply and spoil (sim/spoiler.h), handshake replies included. Each input
// gets a new camera. Time runs fast, so that a reply that never comes costs
// milliseconds, not the command's seconds.

#include "camera_operations.h"

#include "sim/camera.h"
#include "sim/spoiler.h"
#include "support/fault_plan.h"

#include <cstdint>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static FastClock* const clock = new FastClock(1000);
    (void)clock;
    if (size == 0) return 0;
    constexpr auto kOperations = static_cast<std::uint8_t>(fuzzing::Operation::kCount);
    const auto operation = static_cast<fuzzing::Operation>(data[0] % kOperations);
    const std::string name = "fuzz-operation";
    auto spoiler = std::make_unique<sim::Spoiler>(
        sim::allSpoilClasses(), sim::byteChoices(std::vector<std::uint8_t>(data + 1, data + size)),
        0);
    spoiler->spoilHandshakes(true);
    sim::cameraNamed(name)->setSpoiler(std::move(spoiler), false);
    fuzzing::runOperation("sim:" + name, operation);
    sim::forgetCamera(name);
    return 0;
}
