#include "result_words.h"

#include <cstdio>

namespace dslrctl {

namespace {

struct Words {
    std::uint32_t code;
    const char* text;
};

// The library's own codes, then the camera's refusals as the library passes
// them on (0x0200 and the low half of the camera's code).
constexpr Words kWords[] = {
    {0x00000000u, "success"},
    {0x02000002u, "transfer failed"},
    {0x02000003u, "out of memory"},
    {0x02000007u, "not supported"},
    {0x02000060u, "invalid parameter"},
    {0x02000080u, "device not available"},
    {0x02000081u, "the camera refused the connection"},
    {0x020000C0u, "port is in use"},
    {0x020000C1u, "port not open"},
    {0x020000C2u, "the camera gave no device ID"},
    {0x020000E7u, "no data to read"},
    {0x02000001u, "the camera does not know the command"},
    {0x02000101u, "the camera refused the parameter record"},
    {0x02000102u, "the camera does not take this name or value"},
    {0x02000103u, "no such volume"},
    {0x02000201u, "no such file or directory"},
    {0x02000202u, "already exists"},
    {0x02000203u, "the file is read-only"},
    {0x02000204u, "not enough free space on the card"},
    {0x02000205u, "the directory is not empty"},
    {0x02000206u, "folder or file numbers used up"},
    {0x02000207u, "the card failed"},
    {0x02000301u, "the camera is not in remote release"},
    {0x02000302u, "no shots left"},
    {0x02000303u, "no image held by the camera"},
    {0x02000304u, "the camera does not know the release control"},
    {0x02000401u, "the camera has no setting for this value"},
};

}  // namespace

std::string resultWords(std::uint32_t code)
{
    for (const Words& words : kWords)
        if (words.code == code) return words.text;
    return "unknown result";
}

std::string failureText(const std::string& operation, std::uint32_t code)
{
    char hex[16];
    std::snprintf(hex, sizeof(hex), "0x%08X", static_cast<unsigned>(code));
    return operation + " failed: " + hex + ", " + resultWords(code);
}

}  // namespace dslrctl
