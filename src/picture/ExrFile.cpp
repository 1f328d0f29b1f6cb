// OpenEXR files.
#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>

#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfIO.h>
#include <OpenEXR/ImfOutputFile.h>

#include "base/OutputFile.h"
#include "picture/LayerFile.h"

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

}  // namespace

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
