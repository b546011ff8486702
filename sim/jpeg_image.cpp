// A small baseline JPEG encoder for the demo card. The in-process camera is
// part of the driver library (the "sim:" ports), which uses the standard
// library alone, so the images are encoded here rather than with libjpeg:
// YCbCr without subsampling, one quantisation table, and Huffman tables
// that give every DC symbol 4 bits and every AC symbol 8 (any table a file
// defines is valid baseline JPEG). The tests decode the images with
// libjpeg-turbo, as an image viewer does.

#include "sim/jpeg_image.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace sim {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kDcSymbols = 12;  // DC sizes 0 to 11
constexpr int kDcBits = 4;
constexpr int kAcBits = 8;

class BitWriter {
public:
    explicit BitWriter(std::vector<std::uint8_t>& out) : m_out(out) {}
    void put(std::uint32_t code, int length)
    {
        for (int i = length - 1; i >= 0; --i) {
            m_byte = static_cast<std::uint8_t>((m_byte << 1) | ((code >> i) & 1));
            if (++m_count == 8) flushByte();
        }
    }
    // The last byte is padded with 1 bits.
    void finish()
    {
        while (m_count != 0) put(1, 1);
    }

private:
    void flushByte()
    {
        m_out.push_back(m_byte);
        if (m_byte == 0xFF) m_out.push_back(0x00);  // a data byte 0xFF is stuffed
        m_byte = 0;
        m_count = 0;
    }
    std::vector<std::uint8_t>& m_out;
    std::uint8_t m_byte = 0;
    int m_count = 0;
};

void put16(std::vector<std::uint8_t>& out, unsigned value)
{
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value & 0xFF));
}

// The AC symbols: run 0 to 15 and size 1 to 10, end of block and the run of
// sixteen zeros; their code is their index in this order.
std::vector<std::uint8_t> acSymbols()
{
    std::vector<std::uint8_t> symbols = {0x00, 0xF0};
    for (int run = 0; run < 16; ++run)
        for (int size = 1; size <= 10; ++size)
            symbols.push_back(static_cast<std::uint8_t>(run << 4 | size));
    return symbols;
}

// Position i of the zig-zag order as a row-major index.
std::vector<int> zigzag()
{
    std::vector<int> order;
    for (int sum = 0; sum < 15; ++sum) {
        for (int i = 0; i <= sum; ++i) {
            const int row = sum % 2 == 0 ? sum - i : i;
            const int column = sum - row;
            if (row < 8 && column < 8) order.push_back(row * 8 + column);
        }
    }
    return order;
}

int sizeOf(int value)
{
    int size = 0;
    for (int magnitude = value < 0 ? -value : value; magnitude != 0; magnitude >>= 1) ++size;
    return size;
}

// A coefficient's size bits: the value, or for a negative one its
// complement, in `size` bits.
std::uint32_t bitsOf(int value, int size)
{
    return static_cast<std::uint32_t>(value < 0 ? value + (1 << size) - 1 : value);
}

struct Encoder {
    std::vector<std::uint8_t> symbols = acSymbols();
    std::vector<int> order = zigzag();
    int quant[64];
    double cosines[8][8];

    Encoder()
    {
        for (int i = 0; i < 64; ++i) quant[i] = 4 + 2 * (i / 8 + i % 8);
        for (int x = 0; x < 8; ++x)
            for (int u = 0; u < 8; ++u) cosines[x][u] = std::cos((2 * x + 1) * u * kPi / 16);
    }

    int acCode(int run, int size) const
    {
        const std::uint8_t symbol = static_cast<std::uint8_t>(run << 4 | size);
        for (std::size_t i = 0; i < symbols.size(); ++i)
            if (symbols[i] == symbol) return static_cast<int>(i);
        return 0;
    }

    void block(BitWriter& bits, const double (&samples)[64], int& previousDc) const
    {
        // The two-dimensional transform as rows, then columns.
        double rows[64];
        for (int y = 0; y < 8; ++y) {
            for (int u = 0; u < 8; ++u) {
                double sum = 0;
                for (int x = 0; x < 8; ++x) sum += samples[y * 8 + x] * cosines[x][u];
                rows[y * 8 + u] = sum;
            }
        }
        int coefficients[64];
        for (int v = 0; v < 8; ++v) {
            for (int u = 0; u < 8; ++u) {
                double sum = 0;
                for (int y = 0; y < 8; ++y) sum += rows[y * 8 + u] * cosines[y][v];
                const double cu = u == 0 ? std::sqrt(0.5) : 1.0;
                const double cv = v == 0 ? std::sqrt(0.5) : 1.0;
                coefficients[v * 8 + u] =
                    static_cast<int>(std::lround(0.25 * cu * cv * sum / quant[v * 8 + u]));
            }
        }
        const int dc = coefficients[0];
        const int difference = dc - previousDc;
        previousDc = dc;
        const int dcSize = sizeOf(difference);
        bits.put(static_cast<std::uint32_t>(dcSize), kDcBits);
        bits.put(bitsOf(difference, dcSize), dcSize);
        int run = 0;
        for (int i = 1; i < 64; ++i) {
            int value = coefficients[order[static_cast<std::size_t>(i)]];
            if (value > 1023) value = 1023;  // sizes stop at 10
            if (value < -1023) value = -1023;
            if (value == 0) {
                ++run;
                continue;
            }
            while (run >= 16) {
                bits.put(1, kAcBits);  // sixteen zeros
                run -= 16;
            }
            const int size = sizeOf(value);
            bits.put(static_cast<std::uint32_t>(acCode(run, size)), kAcBits);
            bits.put(bitsOf(value, size), size);
            run = 0;
        }
        if (run > 0) bits.put(0, kAcBits);  // end of block
    }

    std::vector<std::uint8_t> headers(unsigned width, unsigned height) const
    {
        std::vector<std::uint8_t> out = {0xFF, 0xD8,  // start of image, JFIF
                                         0xFF, 0xE0, 0x00, 0x10, 'J',  'F',  'I',  'F',  0x00,
                                         0x01, 0x01, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00, 0x00};
        out.insert(out.end(), {0xFF, 0xDB, 0x00, 0x43, 0x00});  // the quantisation table
        for (int i = 0; i < 64; ++i)
            out.push_back(static_cast<std::uint8_t>(quant[order[static_cast<std::size_t>(i)]]));
        out.insert(out.end(), {0xFF, 0xC0, 0x00, 0x11, 0x08});  // baseline frame
        put16(out, height);
        put16(out, width);
        out.insert(out.end(), {0x03, 0x01, 0x11, 0x00, 0x02, 0x11, 0x00, 0x03, 0x11, 0x00});
        // DC table 0: twelve 4-bit codes.
        out.insert(out.end(), {0xFF, 0xC4});
        put16(out, 2 + 1 + 16 + kDcSymbols);
        out.push_back(0x00);
        for (int length = 1; length <= 16; ++length)
            out.push_back(length == kDcBits ? kDcSymbols : 0);
        for (int symbol = 0; symbol < kDcSymbols; ++symbol)
            out.push_back(static_cast<std::uint8_t>(symbol));
        // AC table 0: 162 8-bit codes.
        out.insert(out.end(), {0xFF, 0xC4});
        put16(out, static_cast<unsigned>(2 + 1 + 16 + symbols.size()));
        out.push_back(0x10);
        for (int length = 1; length <= 16; ++length)
            out.push_back(length == kAcBits ? static_cast<std::uint8_t>(symbols.size()) : 0);
        out.insert(out.end(), symbols.begin(), symbols.end());
        // One scan of the three components, all with tables 0.
        out.insert(out.end(), {0xFF, 0xDA, 0x00, 0x0C, 0x03, 0x01, 0x00, 0x02, 0x00, 0x03, 0x00,
                               0x00, 0x3F, 0x00});
        return out;
    }
};

// The demo picture: a gradient with diagonal bands, its colours turned by
// the seed.
void pixel(unsigned x, unsigned y, unsigned width, unsigned height, unsigned seed, double (&rgb)[3])
{
    const unsigned band = ((x / 40 + y / 40 + seed) % 4) * 24;
    rgb[0] = static_cast<double>((x * 255 / width + seed * 60 + band) & 0xFF);
    rgb[1] = static_cast<double>((y * 255 / height + seed * 25) & 0xFF);
    rgb[2] = static_cast<double>((255 - x * 255 / width + band) & 0xFF);
}

}  // namespace

std::vector<std::uint8_t> demoJpeg(unsigned width, unsigned height, unsigned seed)
{
    static const Encoder encoder;
    std::vector<std::uint8_t> out = encoder.headers(width, height);
    BitWriter bits(out);
    int previous[3] = {0, 0, 0};
    for (unsigned top = 0; top < height; top += 8) {
        for (unsigned left = 0; left < width; left += 8) {
            double planes[3][64];
            for (unsigned i = 0; i < 64; ++i) {
                // Edge blocks repeat the last row and column.
                const unsigned x = std::min(left + i % 8, width - 1);
                const unsigned y = std::min(top + i / 8, height - 1);
                double rgb[3];
                pixel(x, y, width, height, seed, rgb);
                planes[0][i] = 0.299 * rgb[0] + 0.587 * rgb[1] + 0.114 * rgb[2] - 128;
                planes[1][i] = -0.168736 * rgb[0] - 0.331264 * rgb[1] + 0.5 * rgb[2];
                planes[2][i] = 0.5 * rgb[0] - 0.418688 * rgb[1] - 0.081312 * rgb[2];
            }
            for (int component = 0; component < 3; ++component)
                encoder.block(bits, planes[component], previous[component]);
        }
    }
    bits.finish();
    out.insert(out.end(), {0xFF, 0xD9});  // end of image
    return out;
}

}  // namespace sim
