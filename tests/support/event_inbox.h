// The events a device object hands its notification callback, collected for
// the test: pass eventInbox as the callback and the inbox's address as its
// context.
#pragma once

#include "VKRNQ402.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

struct ReceivedEvent {
    std::uint32_t id;
    std::vector<std::uint8_t> params;
    uintptr_t context;
};

struct EventInbox {
    std::mutex lock;
    std::condition_variable arrived;
    std::vector<ReceivedEvent> events;

    uintptr_t context() { return reinterpret_cast<uintptr_t>(this); }
    // Whether `done` held of the events within the time limit.
    template <typename Done>
    bool waitFor(Done done, int seconds = 60)
    {
        std::unique_lock<std::mutex> guard(lock);
        return arrived.wait_for(guard, std::chrono::seconds(seconds), [&] { return done(events); });
    }
};

inline uint32_t DSLR_STDCALL eventInbox(uint32_t id, void* params, uint32_t size, uintptr_t context)
{
    auto* inbox = reinterpret_cast<EventInbox*>(context);
    const auto* bytes = static_cast<const std::uint8_t*>(params);
    std::lock_guard<std::mutex> guard(inbox->lock);
    inbox->events.push_back({id, std::vector<std::uint8_t>(bytes, bytes + size), context});
    inbox->arrived.notify_all();
    return 0;
}
