// Files of light.
#include "picture/LightFile.h"

#include <cmath>

#include "picture/LayerFile.h"
#include "support/FileTest.h"

#ifdef RT_IMPORT
using namespace rt;

namespace {

class LightFileTest : public FileTest {
 protected:
    std::string read(const std::string& sBytes) {
        writeFile("x.hdr", sBytes);
        std::string sReason;
        if (readLight("x.hdr", picture, sReason)) return sReason;
        std::string s = std::to_string(picture.uWidth) + "x" + std::to_string(picture.uHeight) + ":";
        char sz[40];
        for (size_t u = 0; u < picture.vPixels.size(); u += 3) {
            snprintf(sz, sizeof(sz), " %g", static_cast<double>(picture.vPixels[u]));
            s += sz;
        }
        return s;
    }

    LightPicture picture;
};

TEST_F(LightFileTest, RowsOfAllKindsAreReadAndBrokenOnesRefused) {
    const std::string sHead = "#?RADIANCE\nEXPOSURE=2\nFORMAT=32-bit_rle_rgbe\n\n-Y 1 +X ";
    const auto bytes = [](std::initializer_list<int> list) {
        std::string s;
        for (const int i : list) s += static_cast<char>(i);
        return s;
    };
    const std::string sOld = bytes({128, 0, 0, 129, 1, 1, 1, 2, 64, 0, 0, 129});
    const struct {
        std::string sBytes, sWanted;
    } ROWS[] = {
        {sHead + "8\n" + bytes({2, 2, 0, 8, 136, 128, 136, 0, 136, 0, 136, 129}), "8x1: 1 1 1 1 1 1 1 1"},
        {sHead + "8\n" + bytes({2, 2, 0, 8, 2, 128, 64, 134, 32, 136, 0, 136, 0, 136, 130}),
         "8x1: 2 1 0.5 0.5 0.5 0.5 0.5 0.5"},
        {sHead + "4\n" + sOld, "4x1: 1 1 1 0.5"},
        {sHead + "1\n" + bytes({255, 255, 255, 255}), "1x1: 1e+07"},
        {sHead + "1\n" + bytes({255, 255, 255, 0}), "1x1: 0"},
        {sHead + "3\n" + sOld, "3x1: 1 1 1"},
        {sHead + "2\n" + sOld, "its data are shorter than its head says"},
        {sHead + "5\n" + sOld, "its data are shorter than its head says"},
        {sHead + "8\n" + bytes({2, 2, 0, 8, 137, 128, 136, 0, 136, 0, 136, 129}),
         "its data are shorter than its head says"},
        {sHead + "999999999\n" + sOld, "it has too many pixels"},
        {sHead + "0\n", "it has no pixels"},
        {"#?RADIANCE\nFORMAT=32-bit_rle_xyze\n\n-Y 1 +X 1\n", "its colours are not red, green and blue"},
        {"#?RADIANCE\n\n+X 1 -Y 1\n", "its rows do not lie as usual (-Y rows +X columns)"},
        {"#?RADIANCE\n", "its head is broken"},
        {"GIF89a", "it is neither a Radiance (.hdr) nor an OpenEXR (.exr) file"},
        {"", "it is neither a Radiance (.hdr) nor an OpenEXR (.exr) file"},
    };
    for (const auto& row : ROWS) EXPECT_EQ(read(row.sBytes), row.sWanted);
}

#ifdef RT_EXR
// Also of grey alone. What is no light is dark, and too much of it is less.
TEST_F(LightFileTest, OpenExrFilesAreReadAndBrokenOnesRefused) {
    const auto readBack = [this](const std::vector<std::string>& vChannels, const std::vector<float>& vFloats) {
        EXPECT_FALSE(writeExr("y.exr", 1, 2, {{"", vChannels, false, vFloats, {}}}));
        return read(readFile("y.exr"));
    };
    EXPECT_EQ(readBack({"R", "G", "B"}, {1, 2, 3, -1, NAN, 1e9f}), "1x2: 1 0");
    EXPECT_EQ(picture.vPixels, (std::vector<float>{1, 2, 3, 0, 0, 1e7f}));
    EXPECT_EQ(readBack({"Y"}, {4, 5}), "1x2: 4 5");
    EXPECT_EQ(picture.vPixels, (std::vector<float>{4, 4, 4, 5, 5, 5}));
    const std::string sBytes = readFile("y.exr");
    EXPECT_EQ(read(sBytes.substr(0, sBytes.size() - 1)), "its data are broken");
    EXPECT_EQ(readBack({"R", "G", "Z"}, {1, 2, 3, 4, 5, 6}), "it has no channels R, G and B");
    EXPECT_EQ(read(std::string("\x76\x2f\x31\x01\x02\0\0\0channels", 16)), "its data are broken");
}
#endif

}  // namespace
#endif
