// The library's two exports.

#include "VKRNQ402.h"
#include "object/Dslr1394Object.h"

extern "C" DSLR_EXPORT DslrObject* DSLR_STDCALL DSLR_GetObject(void)
{
    Dslr1394Object* object = new Dslr1394Object;
    if (object == nullptr) return nullptr;
    if (object->Initialize() != vkRN_OK) {
        object->DeletingDestructor(1);
        return nullptr;
    }
    return object;
}

extern "C" DSLR_EXPORT void DSLR_STDCALL DSLR_DeleteObject(DslrObject* pObject)
{
    if (pObject == nullptr) return;
    // Every DslrObject this library hands out is a Dslr1394Object.
    auto* object = static_cast<Dslr1394Object*>(pObject);
    object->Terminate();
    object->DeletingDestructor(1);
}
