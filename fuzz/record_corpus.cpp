// Records honest camera traffic as the seed corpora of the fuzz targets:
// every operation of camera_operations.cpp runs against an in-process camera
// that does not lie, and what the host reads is written out per target:
//   camera_records/  each Remote API reply message, whole
//   scsi_sock/       each read or sense answer as a scsi-sock reply would carry it
//   camera_operation/ the operation byte alone (no spoil: the honest run) and
//                    with a few spoils chosen
//
//   record_corpus DIR     (DIR: fuzz/corpus)

#include "camera_operations.h"

#include "platform/devices/scsi_sock.h"
#include "sim/camera.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kReplyFrame = 0x20000010;

void writeFile(const fs::path& path, const std::vector<std::uint8_t>& bytes)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

// Gathers the reply messages the host reads in pieces.
class Recorder {
public:
    Recorder(fs::path root, std::string operation)
        : m_root(std::move(root)), m_operation(std::move(operation))
    {
    }

    void take(std::uint8_t opcode, const std::uint8_t* data, std::uint32_t count)
    {
        scsiSock(opcode, data, count);
        if (opcode != 0x28 && opcode != 0xA8) return;
        std::uint32_t type = 0;
        if (count >= 4) std::memcpy(&type, data, 4);
        if (type == kReplyFrame && count >= 8) m_message.clear();
        m_message.insert(m_message.end(), data, data + count);
        std::uint32_t length = 0;
        if (m_message.size() >= 8) std::memcpy(&length, m_message.data() + 4, 4);
        if (m_message.size() >= 8 + std::size_t{length} && m_message.size() >= 28 &&
            length < 0x10000) {
            std::vector<std::uint8_t> input{4};  // the record size the reply holds
            input.insert(input.end(), m_message.begin(), m_message.begin() + 8 + length);
            writeFile(m_root / "camera_records" / name(), input);
            m_message.clear();
        }
    }

private:
    void scsiSock(std::uint8_t opcode, const std::uint8_t* data, std::uint32_t count)
    {
        scsisock::Reply reply;
        reply.tag = ++m_tag;
        reply.srbStatus = 0x01;
        reply.transferred = count;
        std::uint8_t header[scsisock::kReplySize];
        scsisock::encode(reply, header);
        std::vector<std::uint8_t> bytes(header, header + sizeof(header));
        bytes.insert(bytes.end(), data, data + std::min<std::uint32_t>(count, 512));
        if (opcode == 0x03 || m_tag % 4 == 1) writeFile(m_root / "scsi_sock" / name(), bytes);
    }

    std::string name() { return m_operation + "-" + std::to_string(++m_files); }

    fs::path m_root;
    std::string m_operation;
    std::vector<std::uint8_t> m_message;
    std::uint32_t m_tag = 0;
    unsigned m_files = 0;
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: record_corpus DIR\n");
        return 2;
    }
    const fs::path root = argv[1];
    for (std::uint8_t op = 0; op < static_cast<std::uint8_t>(fuzzing::Operation::kCount); ++op) {
        const auto operation = static_cast<fuzzing::Operation>(op);
        const std::string name = fuzzing::operationName(operation);
        Recorder recorder(root, name);
        const std::string camera = "record-" + name;
        sim::cameraNamed(camera)->tapReplies(
            [&](std::uint8_t opcode, const std::uint8_t* data, std::uint32_t count) {
                recorder.take(opcode, data, count);
            });
        fuzzing::runOperation("sim:" + camera, operation);
        sim::forgetCamera(camera);
        // The honest run, then a spoil of each class early in the operation.
        writeFile(root / "camera_operation" / name, {op});
        for (std::uint8_t spoil = 0; spoil < 11; ++spoil)
            writeFile(root / "camera_operation" / (name + "-spoil" + std::to_string(spoil)),
                      {op, spoil, 0, spoil, 1, 2, 3, 4, 5, 6, 7});
    }
    return 0;
}
