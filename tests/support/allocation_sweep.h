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

#include <functional>
#include <cstdint>
#include <initializer_list>
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

// The sweep of an operation that writes through a record: every run gets a
// fresh copy of `untouched`. `check` judges each failure and sees the record;
// without it, the failure must be 0x02000003 with the record as it was.
using Record = std::vector<std::uint8_t>;
void sweepRecord(const std::string& name, const Record& untouched,
                 const std::function<DWORD(void*)>& run,
                 const std::function<void(const FailedAllocation&, Record&)>& check = nullptr,
                 const std::function<void()>& reset = nullptr);

// Whether an <ERROR> record of the log holds one of the texts (null ones
// are skipped): an operation reports its failure in its own words.
bool errorRecordNames(const LogCapture& log, std::initializer_list<const char*> texts);
