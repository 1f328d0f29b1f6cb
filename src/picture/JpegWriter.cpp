// JPEG files by libjpeg-turbo.
#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

#include "picture/PictureFile.h"

namespace rt {

namespace {

constexpr int QUALITY = 92;

struct ErrorExit {
    jpeg_error_mgr manager;  // the library knows only this part
    jmp_buf target;
};

}  // namespace

bool writeJpeg(FILE* pFile, const PixelView& picture) {
    jpeg_compress_struct jpeg{};
    ErrorExit errors{};
    jpeg.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = [](j_common_ptr p) { longjmp(reinterpret_cast<ErrorExit*>(p->err)->target, 1); };
    errors.manager.output_message = [](j_common_ptr) {};
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

}  // namespace rt
