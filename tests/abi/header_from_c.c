/* The public header compiled as C: its records have the same layout for a C
 * host as for a C++ one. */
#include "VKRNQ402.h"

size_t HeaderFromC_RecordSizes(size_t* sizes, size_t count)
{
    const size_t all[] = {sizeof(dsFILE_NAME_PREFIX),           sizeof(dsMODEL_DESCRIP),
                          sizeof(dsCAMERA_FUNCTION_INFO),       sizeof(dsIMAGE_NOTIFY),
                          sizeof(dsPERSONAL_FUNCTION),          sizeof(dsGAMMA_LOOKUP_TABLE),
                          offsetof(dsDIRECTORY_ENTRY, cPathStr)};
    size_t i;
    for (i = 0; i < count && i < sizeof(all) / sizeof(all[0]); ++i) sizes[i] = all[i];
    return i;
}
