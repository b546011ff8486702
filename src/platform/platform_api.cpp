#include "platform/platform_api.h"

namespace os {

Api& api()
{
    // Built on first use, so that calls made while the library is being
    // loaded (the log's attach records) already find a complete table.
    static Api table = systemApi();
    return table;
}

}  // namespace os
