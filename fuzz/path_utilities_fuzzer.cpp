// Arbitrary bytes as paths, path lists, directory-subtree lists and
// directory listings: no utility may read or write outside its buffer, and
// the measured size of an expanded path list must cover what is written.
// Every buffer is a heap block of exactly its size, so AddressSanitizer sees
// the first byte past it.

#include "camera/camera_paths.h"

#include "VKRNQ402.h"
#include "object/Dslr1394Object.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

Dslr1394Object* object()
{
    static auto* instance = static_cast<Dslr1394Object*>(DSLR_GetObject());
    return instance;
}

// The functions without a length read up to terminators: they get the bytes
// with enough NULs after them to end any list.
std::vector<char> terminated(const std::uint8_t* data, std::size_t size)
{
    std::vector<char> bytes(data, data + size);
    bytes.insert(bytes.end(), 4, '\0');
    return bytes;
}

void pathLists(const std::uint8_t* data, std::size_t size)
{
    std::vector<char> list(data, data + size);
    const auto total = static_cast<DWORD>(size);
    const DWORD needed = object()->Utl_MakePathLength(list.data(), total);
    if (needed < total) std::abort();
    std::vector<char> output(needed);
    DWORD written = 0;
    Utl_MakePathList(list.data(), total, output.data(), &written);
    if (written > needed) std::abort();
    std::vector<char> ended = terminated(data, size);
    _GetTotalPathLength(ended.data());
    Utl_ReplaceChar(ended.data(), '\\', '/');
}

void singlePaths(const std::uint8_t* data, std::size_t size, DWORD model)
{
    object()->m_dwModelID = model;
    std::vector<char> source(data, data + size);
    std::vector<char> destination(size);
    object()->Utl_Q317PathChange(source.data(), destination.data(), static_cast<DWORD>(size));
    object()->Utl_Q317PathChange2(source.data(), static_cast<DWORD>(size));
    std::vector<char> ended = terminated(data, size);
    _ChangeDrivePrefix(ended.data());
}

void subtreeLists(const std::uint8_t* data, std::size_t size)
{
    std::vector<char> ended = terminated(data, size);
    _LenDirSubtree(reinterpret_cast<BYTE*>(ended.data()));
    DWORD length = 0;
    object()->Utl_GetDirPathLength(reinterpret_cast<BYTE*>(ended.data()), &length);
    std::vector<BYTE> list(data, data + size);
    DWORD extent = static_cast<DWORD>(size);
    Utl_TrimDirSubtree(list.data(), &extent);
    if (extent > size) std::abort();
}

void listings(const std::uint8_t* data, std::size_t size, bool renaming)
{
    object()->m_bDirSubtreeMode = renaming ? 1 : 0;
    std::vector<BYTE> buffer(data, data + size);
    object()->Utl_SwapBufferData(buffer.data(), static_cast<DWORD>(size));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return 0;
    const std::uint8_t selector = data[0];
    ++data;
    --size;
    switch (selector % 4) {
        case 0:
            pathLists(data, size);
            break;
        case 1:
            singlePaths(data, size, (selector & 0x10) ? 0x80000402 : 0x80000529);
            break;
        case 2:
            subtreeLists(data, size);
            break;
        default:
            listings(data, size, (selector & 0x10) != 0);
            break;
    }
    return 0;
}
