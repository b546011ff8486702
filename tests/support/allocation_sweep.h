// Every allocation an operation makes fails once in turn.
//
// `run` is called first with nothing failing: it must succeed and allocate.
// Then once for each of the Malloc and Calloc calls it made, with that call
// failing and the error records captured: the sweep checks that no block is
// left behind, and `check` judges the result of each run that reached its
// failing call. `reset`, where given, puts the world back before every run,
// outside the fault plan.
#pragma once

#include "VKRNQ402.h"
#include "support/fault_plan.h"
#include "support/log_capture.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct FailedAllocation {
    Op op;
    unsigned nth;  // which call of op failed
    DWORD result;  // what the operation returned
    const LogCapture& log;
};

void sweepAllocations(const std::string& name, const std::function<DWORD()>& run,
                      const std::function<void(const FailedAllocation&)>& check,
                      const std::function<void()>& reset = nullptr);

using Record = std::vector<std::uint8_t>;

// What an operation may do on top of the common judgement: bits of
// SweptOperation::allows.
enum SweepAllowance : unsigned {
    kReadMayFail = 1u << 0,         // a failure inside its data read is a failed read (0x02000002)
    kWritesFirstWord = 1u << 1,     // the record's first word is its own whatever happens
    kZeroesLengthUnsent = 1u << 2,  // a request that could not be sent leaves the first word 0
    kMaySurvive = 1u << 3,  // a failure of the step `alsoNamed` names may leave it succeeding
};

// An operation that writes through the caller's record, swept with one
// judgement: each failed run returns 0x02000003, leaves the record as it was
// and says so in an <ERROR> record in the operation's own words, but for
// what `allows` permits.
struct SweptOperation {
    const char* name;                 // a text of its <ERROR> records
    std::function<DWORD(void*)> run;  // given a fresh copy of `untouched` each time
    unsigned allows = 0;
    const char* alsoNamed = nullptr;  // another text its <ERROR> records may use
    Record untouched = Record(1100, 0xA5);
};

void sweepOperation(const SweptOperation& operation, const std::function<void()>& reset = nullptr);
