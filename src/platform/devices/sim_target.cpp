// "sim:NAME": the in-process simulated camera NAME. Every handle of one name
// in a process reaches the same camera.

#include "platform/devices/sim_target.h"

#include "sim/camera.h"

namespace devices {

namespace {

class SimTarget : public ScsiTarget {
public:
    explicit SimTarget(std::shared_ptr<sim::Camera> camera) : m_camera(std::move(camera)) {}

    // The camera answers from memory, or after its link model's time; a
    // command it will never answer comes back at once as such. The whole
    // command runs in finish().
    bool answerWithin(std::uint32_t) override { return true; }

    ScsiOutcome finish(const ScsiCommand& command, std::uint8_t* buffer, std::uint8_t*) override
    {
        const sim::CommandResult result =
            m_camera->execute(command.cdb, command.cdbLength, buffer, command.length);
        ScsiOutcome outcome{result.srbStatus, result.transferred, 0, Completion::kDone};
        if (result.disposition == sim::Disposition::kSilent)
            outcome.completion = Completion::kNever;
        if (result.disposition == sim::Disposition::kDeviceLost)
            outcome.completion = Completion::kDeviceLost;
        return outcome;
    }

private:
    std::shared_ptr<sim::Camera> m_camera;
};

}  // namespace

std::unique_ptr<ScsiTarget> openSimTarget(const std::string& name)
{
    return std::make_unique<SimTarget>(sim::cameraNamed(name));
}

}  // namespace devices
