// OpenEXR files.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <system_error>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfIO.h>
#include <OpenEXR/ImfInputFile.h>
#include <OpenEXR/ImfOutputFile.h>

#include "base/OutputFile.h"
#include "picture/LayerFile.h"
#include "picture/LightFile.h"

namespace rt {

namespace {

// What the library writes to. It wants exceptions, and gets them back.
class FileStream : public Imf::OStream {
 public:
    explicit FileStream(FILE* pStream) : OStream(""), pFile(pStream) {}

    void write(const char* p, int iBytes) override {
        if (fwrite(p, 1, static_cast<size_t>(iBytes), pFile) != static_cast<size_t>(iBytes)) fail();
    }
    uint64_t tellp() override { return static_cast<uint64_t>(ftello(pFile)); }
    void seekp(uint64_t uPlace) override {
        if (fseeko(pFile, static_cast<off_t>(uPlace), SEEK_SET)) fail();
    }

 private:
    static void fail() { throw std::system_error(errno, std::generic_category()); }

    FILE* pFile;
};

void writeAll(FILE* pFile, uint32_t uWidth, uint32_t uHeight, const std::vector<Layer>& vLayers) {
    Imf::Header header(static_cast<int>(uWidth), static_cast<int>(uHeight));
    header.compression() = Imf::ZIP_COMPRESSION;
    Imf::FrameBuffer buffer;
    for (const Layer& layer : vLayers) {
        const Imf::PixelType eType = layer.bIntegers ? Imf::UINT : Imf::FLOAT;
        const void* pFirst = layer.bIntegers ? static_cast<const void*>(layer.vIntegers.data()) : layer.vFloats.data();
        const size_t uPixel = size_t{4} * layer.components();
        for (unsigned c = 0; c < layer.components(); ++c) {
            header.channels().insert(layer.vChannels[c], Imf::Channel(eType));
            char* p = const_cast<char*>(static_cast<const char*>(pFirst)) + size_t{4} * c;  // the library only reads it
            buffer.insert(layer.vChannels[c], Imf::Slice(eType, p, uPixel, uPixel * uWidth));
        }
    }
    FileStream stream(pFile);
    Imf::OutputFile file(stream, header, 0);
    file.setFrameBuffer(buffer);
    file.writePixels(static_cast<int>(uHeight));
}

// What the library reads from.
class MemoryStream : public Imf::IStream {
 public:
    MemoryStream(const uint8_t* pBytes, size_t uBytes) : IStream(""), pFirst(pBytes), uSize(uBytes) {}

    bool read(char* p, int iBytes) override {
        const uint64_t u = static_cast<uint64_t>(iBytes);
        if (iBytes < 0 || uAt > uSize || u > uSize - uAt) throw std::system_error(EIO, std::generic_category());
        memcpy(p, pFirst + uAt, u);
        uAt += u;
        return uAt < uSize;
    }
    uint64_t tellg() override { return uAt; }
    void seekg(uint64_t uPlace) override { uAt = uPlace; }

 private:
    const uint8_t* pFirst;
    uint64_t uSize, uAt = 0;
};

constexpr uint64_t MOST_PIXELS_A_BYTE = 2048;  // that compression makes of a file

// True with the reason when it is no picture of colours.
bool readAll(const uint8_t* pBytes, size_t uBytes, LightPicture& picture, std::string& sReason) {
    MemoryStream stream(pBytes, uBytes);
    Imf::InputFile file(stream, 0);
    const Imf::ChannelList& channels = file.header().channels();
    const bool bGrey = !channels.findChannel("R") && channels.findChannel("Y");
    const char* const COLOURS[] = {"R", "G", "B"};
    for (const char* sz : COLOURS) {
        if (!bGrey && !channels.findChannel(sz)) return sReason = "it has no channels R, G and B", true;
    }
    const Imath::Box2i window = file.header().dataWindow();
    const int64_t iWidth = int64_t{window.max.x} - window.min.x + 1, iHeight = int64_t{window.max.y} - window.min.y + 1;
    if (iWidth < 1 || iHeight < 1 || iWidth > INT32_MAX || iHeight > INT32_MAX)
        return sReason = "it has no pixels", true;
    const uint64_t uPixels = static_cast<uint64_t>(iWidth) * static_cast<uint64_t>(iHeight);
    if (uPixels > LightPicture::MOST_PIXELS) return sReason = "it has too many pixels", true;
    if (uPixels / MOST_PIXELS_A_BYTE > uBytes) return sReason = "its data are shorter than its head says", true;
    picture.uWidth = static_cast<uint32_t>(iWidth);
    picture.uHeight = static_cast<uint32_t>(iHeight);
    picture.vPixels.assign(3 * uPixels, 0.0f);
    const size_t uPixel = 3 * sizeof(float), uRow = uPixel * picture.uWidth;
    Imf::FrameBuffer buffer;
    for (unsigned c = 0; c < (bGrey ? 1 : 3); ++c) {
        buffer.insert(bGrey ? "Y" : COLOURS[c],
                      Imf::Slice::Make(Imf::FLOAT, picture.vPixels.data() + c, window, uPixel, uRow));
    }
    file.setFrameBuffer(buffer);
    file.readPixels(window.min.y, window.max.y);
    for (size_t u = 0; u < picture.vPixels.size(); ++u) {
        float& f = picture.vPixels[u];
        if (bGrey) f = picture.vPixels[u - u % 3];
        f = f > 0.0f ? std::min(f, LightPicture::MOST) : 0.0f;  // what is no number is dark
    }
    return false;
}

}  // namespace

bool decodeExr(const uint8_t* pBytes, size_t uBytes, LightPicture& picture, std::string& sReason) {
    try {
        return readAll(pBytes, uBytes, picture, sReason);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return sReason = "its data are broken", true;
    }
}

bool hasExr() {
    return true;
}

bool writeExr(const std::string& sFile, uint32_t uWidth, uint32_t uHeight, const std::vector<Layer>& vLayers) {
    Velk::OutputFile file;
    errno = 0;
    if (file.open(sFile.c_str())) return reportUnwritten(sFile, errno);
    try {
        writeAll(file.stream(), uWidth, uHeight, vLayers);
    } catch (const std::exception&) {
        return reportUnwritten(sFile, errno);
    }
    return file.commit() && reportUnwritten(sFile, errno);
}

}  // namespace rt
