// The camera's storage as it leaves the factory: the demo card in ATA01 and
// an empty card in ATA02; and the RAW files the camera makes.

#include "sim/jpeg_image.h"
#include "sim/memory_card.h"
#include "sim/storage.h"

#include <memory>

namespace sim {

namespace {

constexpr std::uint64_t kKiB = 1024;
constexpr std::uint64_t kDemoCapacity = 2000000 * kKiB;
constexpr std::uint64_t kSecondCapacity = 512000 * kKiB;
constexpr unsigned kImageWidth = 768;
constexpr unsigned kImageHeight = 512;

using Bytes = std::shared_ptr<std::vector<std::uint8_t>>;

struct DemoFile {
    const char* name;
    Bytes bytes;
};

// Encoded once per process and shared by every camera's demo card.
const std::vector<DemoFile>& demoFiles()
{
    static const std::vector<DemoFile> files = {
        {"IMG_0001.JPG",
         std::make_shared<std::vector<std::uint8_t>>(demoJpeg(kImageWidth, kImageHeight, 1))},
        {"IMG_0002.JPG",
         std::make_shared<std::vector<std::uint8_t>>(demoJpeg(kImageWidth, kImageHeight, 2))},
        {"IMG_0003.JPG",
         std::make_shared<std::vector<std::uint8_t>>(demoJpeg(kImageHeight, kImageWidth, 3))},
        {"RAW_0004.RVX", std::make_shared<std::vector<std::uint8_t>>(rawImage(0))},
    };
    return files;
}

}  // namespace

std::vector<std::uint8_t> rawImage(unsigned seed)
{
    std::vector<std::uint8_t> bytes(kRawImageSize);
    const char header[] = "VELOR RVX 3072x2048";
    std::copy(header, header + sizeof(header), bytes.begin());
    std::uint32_t state = 0x2545F491u + seed;
    for (std::size_t i = sizeof(header); i < kRawImageSize; ++i) {
        state = state * 1664525u + 1013904223u;
        bytes[i] = static_cast<std::uint8_t>(state >> 24);
    }
    return bytes;
}

StorageState defaultStorage(std::uint32_t time)
{
    auto demo = std::make_shared<MemoryCard>(kDemoCapacity);
    const std::uint32_t taken = time - 3600;  // the pictures are an hour old
    demo->makeDirectory({"DCIM"}, taken);
    demo->makeDirectory({"DCIM", "100VELOR"}, taken);
    std::uint32_t at = taken;
    for (const DemoFile& file : demoFiles())
        demo->share({"DCIM", "100VELOR", file.name}, file.bytes, at += 60);
    StorageState state;
    state.volumes = {{"ATA01", demo}, {"ATA02", std::make_shared<MemoryCard>(kSecondCapacity)}};
    return state;
}

}  // namespace sim
