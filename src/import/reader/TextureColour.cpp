// The mean colour of a picture, which stands for it where surfaces have one colour each.

#include "import/reader/TextureColour.h"

#include <cstdio>  // before jpeglib.h, which needs it

#include <jpeglib.h>
#include <png.h>

#include <csetjmp>
#include <vector>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"

namespace rt {

namespace {

constexpr size_t MOST_PIXELS = size_t{1} << 28;  // of a texture that is looked at
constexpr size_t MOST_BYTES = size_t{1} << 28;   // of its file

struct Sums {
    double dRed = 0, dGreen = 0, dBlue = 0, dWeight = 0;

    std::optional<MeanColour> mean() const {
        if (dWeight <= 0) return std::nullopt;
        const double d = 1.0 / (255.0 * dWeight);
        return MeanColour{dRed * d, dGreen * d, dBlue * d};
    }
};

std::optional<MeanColour> meanOfPng(const unsigned char* pBytes, size_t uBytes) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&image, pBytes, uBytes)) return std::nullopt;
    image.format = PNG_FORMAT_RGBA;
    const size_t uPixels = size_t{image.width} * image.height;
    std::vector<unsigned char> vPixels(uPixels <= MOST_PIXELS ? 4 * uPixels : 0);
    if (vPixels.empty() || !png_image_finish_read(&image, nullptr, vPixels.data(), 0, nullptr)) {
        png_image_free(&image);
        return std::nullopt;
    }
    Sums sums;
    for (size_t u = 0; u < vPixels.size(); u += 4) {
        const double dAlpha = vPixels[u + 3] / 255.0;
        sums.dRed += vPixels[u] * dAlpha, sums.dGreen += vPixels[u + 1] * dAlpha;
        sums.dBlue += vPixels[u + 2] * dAlpha, sums.dWeight += dAlpha;
    }
    return sums.mean();
}

struct JpegErrors {
    jpeg_error_mgr manager;  // first, the library hands its address back
    jmp_buf jump;
};

void leaveJpeg(j_common_ptr pInfo) {
    longjmp(reinterpret_cast<JpegErrors*>(pInfo->err)->jump, 1);
}

// Everything that lives across the jump back is the caller's.
bool sumJpeg(jpeg_decompress_struct& info, JpegErrors& errors, const unsigned char* pBytes, size_t uBytes,
             std::vector<unsigned char>& vRow, Sums& sums) {
    if (setjmp(errors.jump)) return true;
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, pBytes, static_cast<unsigned long>(uBytes));
    (void)jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_RGB;
    info.scale_denom = 8;  // an eighth of the size has the same mean
    (void)jpeg_start_decompress(&info);
    vRow.resize(size_t{info.output_width} * 3);
    while (info.output_scanline < info.output_height) {
        unsigned char* pRow = vRow.data();
        (void)jpeg_read_scanlines(&info, &pRow, 1);
        for (size_t u = 0; u < vRow.size(); u += 3) {
            sums.dRed += vRow[u], sums.dGreen += vRow[u + 1], sums.dBlue += vRow[u + 2], sums.dWeight += 1;
        }
    }
    return false;
}

std::optional<MeanColour> meanOfJpeg(const unsigned char* pBytes, size_t uBytes) {
    JpegErrors errors{};
    jpeg_decompress_struct info{};
    info.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = leaveJpeg;
    errors.manager.output_message = [](j_common_ptr) {};
    std::vector<unsigned char> vRow;
    Sums sums;
    const bool bFailed = sumJpeg(info, errors, pBytes, uBytes, vRow, sums);
    jpeg_destroy_decompress(&info);
    return bFailed ? std::nullopt : sums.mean();
}

}  // namespace

std::optional<MeanColour> meanColourOf(const unsigned char* pBytes, size_t uBytes) {
    if (uBytes > 4 && pBytes[0] == 0x89 && pBytes[1] == 'P') return meanOfPng(pBytes, uBytes);
    if (uBytes > 4 && pBytes[0] == 0xFF && pBytes[1] == 0xD8) return meanOfJpeg(pBytes, uBytes);
    return std::nullopt;
}

std::optional<MeanColour> meanColourOf(const std::string& sFile) {
    const Velk::NRaiiFile file(Velk::openInput(sFile.c_str()));
    if (!file.get()) return std::nullopt;
    std::vector<unsigned char> vBytes;
    unsigned char buffer[16384];
    for (size_t u; vBytes.size() < MOST_BYTES && (u = fread(buffer, 1, sizeof(buffer), file.get())) > 0;)
        vBytes.insert(vBytes.end(), buffer, buffer + u);
    return meanColourOf(vBytes.data(), vBytes.size());
}

}  // namespace rt
