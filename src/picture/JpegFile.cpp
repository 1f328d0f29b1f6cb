// JPEG files by libjpeg-turbo.
#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

#include "picture/PictureFile.h"

namespace rt {

namespace {

constexpr int QUALITY = 92;

// Turns the library's errors into jumps to the target, and keeps it quiet.
struct ErrorExit {
    jpeg_error_mgr manager;  // first, the library hands its address back
    jmp_buf target;

    jpeg_error_mgr* prepare() {
        jpeg_std_error(&manager);
        manager.error_exit = [](j_common_ptr p) { longjmp(reinterpret_cast<ErrorExit*>(p->err)->target, 1); };
        manager.output_message = [](j_common_ptr) {};
        return &manager;
    }
};

// Everything that lives across the jump back is the caller's.
bool decodeRows(jpeg_decompress_struct& jpeg, ErrorExit& errors, const uint8_t* pBytes, size_t uBytes, unsigned uShrink,
                DecodedPicture& picture) {
    if (setjmp(errors.target)) return true;
    jpeg_create_decompress(&jpeg);
    jpeg_mem_src(&jpeg, pBytes, static_cast<unsigned long>(uBytes));
    (void)jpeg_read_header(&jpeg, TRUE);
    jpeg.out_color_space = JCS_EXT_RGBA;
    jpeg.scale_denom = uShrink;
    (void)jpeg_start_decompress(&jpeg);
    if (picture.create(jpeg.output_width, jpeg.output_height)) return true;
    while (jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW pRow = picture.vPixels.data() + size_t{jpeg.output_scanline} * picture.uWidth * 4;
        (void)jpeg_read_scanlines(&jpeg, &pRow, 1);
    }
    return false;
}

}  // namespace

bool writeJpeg(FILE* pFile, const PixelView& picture) {
    jpeg_compress_struct jpeg{};
    ErrorExit errors{};
    jpeg.err = errors.prepare();
    if (setjmp(errors.target)) {
        jpeg_destroy_compress(&jpeg);
        return true;
    }
    jpeg_create_compress(&jpeg);
    jpeg_stdio_dest(&jpeg, pFile);
    jpeg.image_width = picture.uWidth;
    jpeg.image_height = picture.uHeight;
    jpeg.input_components = 3;
    jpeg.in_color_space = JCS_EXT_BGR;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, QUALITY, TRUE);
    jpeg_start_compress(&jpeg, TRUE);
    for (uint32_t y = 0; y < picture.uHeight; ++y) {
        JSAMPROW pRow = const_cast<JSAMPROW>(picture.row(y));  // the library only reads it
        jpeg_write_scanlines(&jpeg, &pRow, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    return false;
}

bool decodeJpeg(const uint8_t* pBytes, size_t uBytes, unsigned uShrink, DecodedPicture& picture) {
    jpeg_decompress_struct jpeg{};
    ErrorExit errors{};
    jpeg.err = errors.prepare();
    const bool bFailed = decodeRows(jpeg, errors, pBytes, uBytes, uShrink, picture);
    jpeg_destroy_decompress(&jpeg);
    return bFailed;
}

}  // namespace rt
