// The factory cards: the demo card's images decode as a viewer decodes them
// (libjpeg-turbo, where the build has it), and the RAW-sized file is there.

#include "sim/memory_card.h"
#include "sim/storage.h"

#include <gtest/gtest.h>

#ifdef VKRN_HAVE_LIBJPEG
#include <csetjmp>
#include <cstdio>  // jpeglib.h needs FILE declared first
#include <jpeglib.h>
#endif

#include <string>
#include <vector>

namespace {

#ifdef VKRN_HAVE_LIBJPEG

struct DecodeError {
    jpeg_error_mgr manager;
    std::jmp_buf exit;
};

// Width and height of a decoded image, every scanline read; 0 x 0 when the
// decoder refuses it.
std::pair<unsigned, unsigned> decode(const std::vector<std::uint8_t>& image)
{
    jpeg_decompress_struct info;
    DecodeError error;
    info.err = jpeg_std_error(&error.manager);
    error.manager.error_exit = [](j_common_ptr common) {
        std::longjmp(reinterpret_cast<DecodeError*>(common->err)->exit, 1);
    };
    jpeg_create_decompress(&info);
    if (setjmp(error.exit) != 0) {
        jpeg_destroy_decompress(&info);
        return {0, 0};
    }
    jpeg_mem_src(&info, image.data(), static_cast<unsigned long>(image.size()));
    jpeg_read_header(&info, TRUE);
    jpeg_start_decompress(&info);
    std::vector<unsigned char> row(static_cast<std::size_t>(info.output_width) *
                                   static_cast<std::size_t>(info.output_components));
    while (info.output_scanline < info.output_height) {
        unsigned char* line = row.data();
        jpeg_read_scanlines(&info, &line, 1);
    }
    const std::pair<unsigned, unsigned> size = {info.output_width, info.output_height};
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return error.manager.num_warnings == 0 ? size : std::pair<unsigned, unsigned>{0, 0};
}

#endif

TEST(DemoCard, ImagesOpenAndTheRawFileIsThere)
{
    const sim::StorageState state = sim::defaultStorage(1700000000);
    ASSERT_EQ(state.volumes.size(), 2u);
    const sim::Card& demo = *state.volumes[0].card;
    const std::vector<sim::CardEntry> files = demo.children({"DCIM", "100VELOR"});
    ASSERT_EQ(files.size(), 4u);
    for (const sim::CardEntry& file : files) {
        SCOPED_TRACE(file.name);
        std::vector<std::uint8_t> bytes;
        ASSERT_TRUE(demo.read({"DCIM", "100VELOR", file.name}, file.size, bytes));
        EXPECT_EQ(bytes.size(), file.size);
        EXPECT_LT(file.time, 1700000000u) << "taken before the camera was made";
        if (file.name.find(".JPG") == std::string::npos) {
            EXPECT_EQ(file.size, 3072u * 2048u);
            continue;
        }
#ifdef VKRN_HAVE_LIBJPEG
        const auto size = decode(bytes);
        EXPECT_TRUE(size == std::make_pair(768u, 512u) || size == std::make_pair(512u, 768u));
#endif
    }
    EXPECT_TRUE(state.volumes[1].card->children({}).empty());
    EXPECT_EQ(state.volumes[1].card->capacity(), 512000u * 1024u);
}

}  // namespace
