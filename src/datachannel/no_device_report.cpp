#include "datachannel/no_device_report.h"

#include "log/dbg_log.h"
#include "object/Dslr1394Object.h"
#include "platform/platform_api.h"

// The device object's flag mapping (m_hMapFile) is never opened, so no view
// is had and the report only says so. Were a view ever had, nothing is
// written into it: the only flag it could reach is the message channel's,
// whose readers take 1 as "device usable", the opposite of what a report of
// a lost device means. The transfer's own result tells the caller.
void Dslr1394Object::reportNoDevice(const NoDeviceReportTexts& texts)
{
    if (texts.beforeMap != nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, texts.beforeMap, Dbg_Handle(m_hMapFile));
    }
    void* view = os::MapViewOfFile(m_hMapFile, FILE_MAP_WRITE, 0, 0, 0);
    const DWORD error = os::GetLastError();
    if (view == nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "%s", texts.noView);
        Dbg_PrintErrorString(DBG_TAG_SSCM, error);
        return;
    }
    if (texts.beforeUnmap != nullptr) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_SYSCALL, texts.beforeUnmap, Dbg_Handle(view));
    }
    if (os::UnmapViewOfFile(view)) {
        Dbg_Printf(DBG_TAG_SSCM, DBG_CHECK, "%s", texts.unmapped);
    } else {
        Dbg_Printf(DBG_TAG_SSCM, DBG_ERROR, "%s", texts.unmapFailed);
    }
}
