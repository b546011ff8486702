// A fresh device object for each test, deleted at the test's end, with the
// debug flag word the test may have set turned off again.
#pragma once

#include "object/Dslr1394Object.h"

#include "VKRNQ402.h"
#include "log/dbg_log.h"

#include <gtest/gtest.h>

class FreshObject : public ::testing::Test {
protected:
    void TearDown() override
    {
        if (m_object != nullptr) DSLR_DeleteObject(m_object);
        Dbg_ResetLogLevelForTest();
    }

    Dslr1394Object* m_object = static_cast<Dslr1394Object*>(DSLR_GetObject());
};
