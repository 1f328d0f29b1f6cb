// The image and its BMP file.
#include "base/Bitmap.h"

#include <cstring>
#include <filesystem>

#include "support/FileTest.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using Velk::NBitmap;

class BitmapTest : public FileTest {
 protected:
    static std::string save(NBitmap& image, unsigned uWidth, unsigned uHeight, uint32_t uSeed) {
        Random random(uSeed);
        EXPECT_FALSE(image.create(uWidth, uHeight));
        for (unsigned y = 0; y < uHeight; ++y) {
            for (unsigned x = 0; x < uWidth; ++x) image.setPixel(x, y, random.below(0xFFFFFFFFu));
        }
        EXPECT_FALSE(image.saveToFile("image.bmp"));
        return readFile("image.bmp");
    }
};

TEST_F(BitmapTest, RowsArePaddedBottomFirstAndLoadAgain) {
    for (const auto& [uWidth, uHeight] : {std::pair{3u, 2u}, {4u, 1u}, {5u, 3u}, {2u, 7u}, {64u, 33u}}) {
        NBitmap image, copy;
        const std::string sFile = save(image, uWidth, uHeight, uWidth);
        const size_t uRow = (uWidth * 3 + 3) / 4 * 4;
        ASSERT_EQ(sFile.size(), 54 + uRow * uHeight);
        for (unsigned y = 0; y < uHeight; ++y) {
            std::string sRow(reinterpret_cast<const char*>(image.pData) + y * uWidth * 3, uWidth * 3);
            sRow.resize(uRow);
            EXPECT_EQ(sFile.substr(54 + uRow * (uHeight - 1 - y), uRow), sRow);
        }
        ASSERT_FALSE(copy.loadFromFile("image.bmp"));
        EXPECT_EQ(copy.uWidth, uWidth);
        EXPECT_EQ(copy.uHeight, uHeight);
        EXPECT_EQ(copy.uSize, image.uSize);
        EXPECT_EQ(memcmp(copy.pData, image.pData, image.uSize), 0);
    }
}

TEST_F(BitmapTest, BrokenFilesAreRefused) {
    NBitmap image;
    const std::string sGood = save(image, 5, 3, 1);
    const auto isRefused = [&](const std::string& sFile) {
        writeFile("bad.bmp", sFile);
        NBitmap bad;
        const bool bFailed = bad.loadFromFile("bad.bmp");
        EXPECT_EQ(bFailed, !bad.pData);
        return bFailed;
    };
    for (size_t u = 0; u < sGood.size() - 1; ++u) EXPECT_TRUE(isRefused(sGood.substr(0, u))) << "cut at " << u;
    EXPECT_FALSE(isRefused(sGood));
    const struct {
        size_t uOffset;
        uint8_t uByte;
        int iCount;  // of bytes with this value
        const char* szReport;
    } patches[] = {
        // clang-format off
        // Another header, two planes, 32 bits a pixel, compressed; negative sizes, no rows, pixels nowhere; pixels and
        // rows beyond the end; 2 billion columns, rows.
        {14, 108, 1, "Invalid bitmap"}, {26, 2, 1, "Invalid bitmap"}, {28, 32, 1, "Invalid bitmap"},
        {30, 1, 1, "Invalid bitmap"}, {18, 0xFF, 4, "Invalid bitmap"}, {22, 0xFF, 4, "Invalid bitmap"},
        {22, 0, 4, "Invalid bitmap"}, {10, 0xFF, 4, "Invalid bitmap"}, {12, 1, 1, "Failed to read from file"},
        {22, 4, 1, "Failed to read from file"}, {21, 0x7F, 1, "Failed to read from file"}, {25, 0x7F, 1, "Failed to read from file"},
        // clang-format on
    };
    for (const auto& patch : patches) {
        std::string sBad = sGood;
        memset(sBad.data() + patch.uOffset, patch.uByte, static_cast<size_t>(patch.iCount));
        EXPECT_TRUE(isRefused(sBad)) << patch.uOffset;
        EXPECT_TRUE(contains(takeLog(), patch.szReport)) << patch.uOffset << " " << patch.szReport;
    }
}

TEST_F(BitmapTest, AnImageWithoutPixelsReplacesNoFile) {
    NBitmap image, empty, flat;
    const std::string sOld = save(image, 5, 3, 1);
    ASSERT_FALSE(empty.create(0, 0) || flat.create(7, 0));
    std::filesystem::create_symlink("image.bmp", "link.bmp");
    for (const NBitmap* pImage : {&empty, &flat}) {
        EXPECT_FALSE(pImage->saveToFile("link.bmp"));
        EXPECT_EQ(readFile("image.bmp"), sOld);
        const std::string sSize = pImage == &flat ? "7 x 0" : "0 x 0", sLog = takeLog();
        EXPECT_TRUE(contains(sLog, "No image was written: link.bmp\n")) << sLog;
        EXPECT_TRUE(contains(sLog, "link.bmp: warning: left as it was: a picture of " + sSize + " pixels")) << sLog;
        const std::string sNew = sSize + ".bmp";
        EXPECT_FALSE(pImage->saveToFile(sNew.c_str()));
        EXPECT_EQ(readFile(sNew).size(), 54u) << "where no file is the steps are the usual ones";
    }
    EXPECT_EQ(list(), (std::vector<std::string>{"0 x 0.bmp", "7 x 0.bmp", "image.bmp", "link.bmp"}));
}

TEST_F(BitmapTest, ImagesThatCannotBeAreRefused) {
    for (const auto& [uWidth, uHeight] : {std::pair{40000u, 40000u}, {0xFFFFFFFFu, 1u}, {1u, 0xFFFFFFFFu}}) {
        NBitmap image;
        EXPECT_TRUE(image.create(uWidth, uHeight)) << uWidth << " x " << uHeight;
        EXPECT_EQ(image.pData, nullptr);
    }
    NBitmap image;
    save(image, 300, 300, 1);
    std::filesystem::create_symlink("/dev/full", "full.bmp");
    for (const std::string sFile : {"missing/x.bmp", "full.bmp", "/dev/full", "", "."}) {
        EXPECT_TRUE(image.saveToFile(sFile.c_str())) << sFile;
        EXPECT_TRUE(contains(takeLog(), sFile + (contains(sFile, "full") ? "\n" : ""))) << sFile;
    }
    std::filesystem::create_symlink("/dev/full", "\x1B.bmp");
    EXPECT_TRUE(image.saveToFile("\x1B.bmp"));
    EXPECT_TRUE(contains(takeLog(), "No image was written: \\x1B.bmp\n"));
    for (const std::string sFile : {"missing/\x9B", "."}) {
        EXPECT_TRUE(NBitmap::isRefused(sFile.c_str()));
        EXPECT_TRUE(NBitmap().loadFromFile(sFile.c_str()) && image.saveToFile(sFile.c_str()));
        const std::string sLog = takeLog();
        EXPECT_EQ(contains(sLog, "\x9B"), false) << sLog;
        EXPECT_TRUE(contains(sLog, "Failed to open file: " + (sFile == "." ? sFile : "missing/\\x9B\n"))) << sLog;
    }
    EXPECT_EQ(list(), (std::vector<std::string>{"\x1B.bmp", "full.bmp", "image.bmp"}))
        << "nothing half-written is left";
}

}  // namespace
