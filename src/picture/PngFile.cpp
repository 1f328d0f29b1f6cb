// PNG files by libpng.
#include <png.h>

#include <cstdio>

#include "picture/PictureFile.h"

namespace rt {

namespace {

// The file grows by a few percent, writing takes a third of the time.
constexpr int COMPRESSION = 3;

}  // namespace

bool writePng(FILE* pFile, const PixelView& picture) {
    png_structp pPng = png_create_write_struct(
        PNG_LIBPNG_VER_STRING, nullptr, [](png_structp p, png_const_charp) { png_longjmp(p, 1); },
        [](png_structp, png_const_charp) {});
    png_infop pInfo = pPng ? png_create_info_struct(pPng) : nullptr;
    if (!pInfo || setjmp(png_jmpbuf(pPng))) {
        png_destroy_write_struct(&pPng, &pInfo);
        return true;
    }
    png_init_io(pPng, pFile);
    png_set_user_limits(pPng, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_set_compression_level(pPng, COMPRESSION);
    png_set_IHDR(pPng, pInfo, picture.uWidth, picture.uHeight, 8,
                 picture.uChannels == 4 ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(pPng, pInfo);
    png_set_bgr(pPng);
    for (uint32_t y = 0; y < picture.uHeight; ++y) png_write_row(pPng, picture.row(y));
    png_write_end(pPng, nullptr);
    png_destroy_write_struct(&pPng, &pInfo);
    return false;
}

bool decodePng(const uint8_t* pBytes, size_t uBytes, unsigned, DecodedPicture& picture) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&image, pBytes, uBytes)) return true;
    image.format = PNG_FORMAT_RGBA;
    if (!picture.create(image.width, image.height) &&
        png_image_finish_read(&image, nullptr, picture.vPixels.data(), 0, nullptr)) {
        return false;
    }
    png_image_free(&image);
    return true;
}

}  // namespace rt
