// ImageTest.cpp: GX::Image reading PNG files the test writes itself (stored deflate blocks, so no
// compressor is needed), and taking a missing or broken file as an empty image.
#include "TestFiles.h"
#include "hostkit/DG.h"
#include "hostkit/IOLocation.h"

#include <array>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

uint32_t Crc32(const Bytes& bytes, size_t from) {
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = from; i < bytes.size(); ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
        }
    }
    return ~crc;
}

void PutBigEndian(Bytes& out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        out.push_back(static_cast<uint8_t>(value >> shift));
    }
}

void PutChunk(Bytes& out, const char* type, const Bytes& data) {
    PutBigEndian(out, static_cast<uint32_t>(data.size()));
    Bytes chunk(type, type + 4);
    chunk.insert(chunk.end(), data.begin(), data.end());
    out.insert(out.end(), chunk.begin(), chunk.end());
    PutBigEndian(out, Crc32(chunk, 0));
}

// A zlib stream of one stored block (the data is small).
Bytes Zlib(const Bytes& data) {
    Bytes out{0x78, 0x01, 0x01};
    const auto length = static_cast<uint16_t>(data.size());
    out.push_back(static_cast<uint8_t>(length));
    out.push_back(static_cast<uint8_t>(length >> 8));
    out.push_back(static_cast<uint8_t>(~length));
    out.push_back(static_cast<uint8_t>(static_cast<uint16_t>(~length) >> 8));
    out.insert(out.end(), data.begin(), data.end());
    uint32_t a = 1;
    uint32_t b = 0;
    for (uint8_t byte : data) {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    PutBigEndian(out, (b << 16) | a);
    return out;
}

// An 8-bit PNG of colour type 6 (RGBA) or 2 (RGB), rows given without their filter byte.
Bytes Png(uint32_t width, uint32_t height, uint8_t colourType, const Bytes& pixels) {
    Bytes out{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    Bytes header;
    PutBigEndian(header, width);
    PutBigEndian(header, height);
    header.insert(header.end(), {8, colourType, 0, 0, 0});
    PutChunk(out, "IHDR", header);
    const size_t rowBytes = pixels.size() / height;
    Bytes raw;
    for (uint32_t y = 0; y < height; ++y) {
        raw.push_back(0);  // no filter
        raw.insert(raw.end(), pixels.begin() + static_cast<ptrdiff_t>(y * rowBytes),
                   pixels.begin() + static_cast<ptrdiff_t>((y + 1) * rowBytes));
    }
    PutChunk(out, "IDAT", Zlib(raw));
    PutChunk(out, "IEND", {});
    return out;
}

class GxImage : public ::testing::Test {
protected:
    IO::Location Write(const std::string& name, const Bytes& bytes) {
        const std::string path = folder.At(name);
        EXPECT_TRUE(testfiles::WriteFileBytes(path, std::string(bytes.begin(), bytes.end())));
        return IO::Location(GS::UniString(path.c_str(), CC_UTF8));
    }

    testfiles::TempFolder folder;
};

TEST_F(GxImage, AnRgbaPngIsReadIntoRgbaPixels) {
    const Bytes pixels{255, 0, 0, 255, 0, 255, 0, 128, 0, 0, 255, 0, 1, 2, 3, 4};
    const IO::Location location = Write("icon.png", Png(2, 2, 6, pixels));
    const GX::Image image(location);
    ASSERT_FALSE(image.IsEmpty());
    EXPECT_EQ(image.GetWidth(), 2);
    EXPECT_EQ(image.GetHeight(), 2);
    EXPECT_EQ(image.GetPixels(), pixels);
    EXPECT_EQ(image.ToDGIcon(), &image);
    // The icon keeps a copy: it does not need the image any more.
    const DG::Icon icon(image.ToDGIcon());
    EXPECT_EQ(icon.GetWidth(), 2);
    EXPECT_EQ(icon.GetHeight(), 2);
    EXPECT_EQ(icon.GetPixels(), pixels);
}

TEST_F(GxImage, AnRgbPngGetsOpaqueAlpha) {
    const IO::Location location =
        Write("rgb.png", Png(3, 1, 2, {10, 20, 30, 40, 50, 60, 70, 80, 90}));
    const GX::Image image(location);
    ASSERT_FALSE(image.IsEmpty());
    EXPECT_EQ(image.GetPixels(), (Bytes{10, 20, 30, 255, 40, 50, 60, 255, 70, 80, 90, 255}));
}

TEST_F(GxImage, AMissingFileGivesAnEmptyImageAndAnEmptyIcon) {
    IO::Location location(GS::UniString(folder.At("Graphics").c_str(), CC_UTF8));
    location.AppendToLocal(IO::Name("brennerstein.png"));
    const GX::Image image(location);
    EXPECT_TRUE(image.IsEmpty());
    EXPECT_EQ(image.GetWidth(), 0);
    EXPECT_EQ(image.ToDGIcon(), nullptr);
    EXPECT_TRUE(DG::Icon(image.ToDGIcon()).IsEmpty());
}

TEST_F(GxImage, AFileThatIsNoPngGivesAnEmptyImage) {
    const GX::Image image(Write("broken.png", Bytes{'n', 'o', 't', ' ', 'a', ' ', 'p', 'n', 'g'}));
    EXPECT_TRUE(image.IsEmpty());
    EXPECT_EQ(image.ToDGIcon(), nullptr);
}

}  // namespace

namespace {

TEST_F(GxImage, APngCutShortGivesAnEmptyImage) {
    Bytes png = Png(2, 2, 6, Bytes(16, 7));
    png.resize(png.size() - 30);  // into the image data
    const GX::Image image(Write("short.png", png));
    EXPECT_TRUE(image.IsEmpty());
}

}  // namespace
