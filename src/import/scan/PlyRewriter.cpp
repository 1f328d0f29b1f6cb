// Makes PLY files that assimp 5.2 reads whole: it loses strips, crashes on elements that it does not know, and takes a
// blank at the start of the data for a part of the header.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <vector>

#include "base/NRaiiFile.h"
#include "import/scan/ModelText.h"

namespace rt {

namespace {

constexpr size_t LONGEST_HEADER = 65536;
const char* const SHORT = "its data are shorter than its header says";

struct Property {
    std::string sType, sCountType, sName;  // sCountType: a list's, or empty
};

struct Element {
    std::string sName;
    uint64_t uCount = 0;
    std::vector<Property> vProperties;
};

struct Header {
    std::vector<Element> vElements;
    bool bText = false, bBig = false;
    size_t uElements = 0;  // where the first line of an element begins, and where the data begin
    size_t uData = 0;
};

size_t sizeOf(const std::string& sType) {
    const struct {
        const char* szNames;
        size_t uSize;
    } TYPES[] = {{" char uchar int8 uint8 ", 1},
                 {" short ushort int16 uint16 ", 2},
                 {" int uint int32 uint32 float float32 ", 4},
                 {" double float64 ", 8}};
    for (const auto& [szNames, uSize] : TYPES) {
        if (strstr(szNames, (" " + sType + " ").c_str())) return uSize;
    }
    return 0;
}

// False for a header that is not understood, which is left to assimp.
bool readHeader(const std::string& sText, Header& header) {
    for (size_t uStart = 0; uStart < std::min(sText.size(), LONGEST_HEADER);) {
        const size_t uEnd = sText.find_first_of("\r\n", uStart);
        if (uEnd == std::string::npos) return false;
        std::istringstream words(sText.substr(uStart, uEnd - uStart));
        std::string sKeyword, s;
        words >> sKeyword;
        if (sKeyword == "format") {
            words >> s;
            header.bText = s == "ascii";
            header.bBig = s == "binary_big_endian";
        } else if (sKeyword == "element") {
            if (header.vElements.empty()) header.uElements = uStart;
            header.vElements.emplace_back();
            if (!(words >> header.vElements.back().sName >> header.vElements.back().uCount)) return false;
        } else if (sKeyword == "property") {
            Property property;
            words >> property.sType;
            const bool bList = property.sType == "list";
            if (bList) words >> property.sCountType >> property.sType;
            words >> property.sName;
            if (header.vElements.empty() || !words || !sizeOf(property.sType) ||
                (bList && !sizeOf(property.sCountType)))
                return false;
            header.vElements.back().vProperties.push_back(property);
        }
        uStart = uEnd + (sText.compare(uEnd, 2, "\r\n") == 0 ? 2 : 1);
        header.uData = uStart;
        if (sKeyword == "end_header") return !header.vElements.empty();
    }
    return false;
}

// Reads one number after the other.
class Data {
 public:
    Data(const std::string& s, const Header& h, size_t uStart) : sText(s), header(h), uAt(uStart) {}

    // True when there is none.
    bool number(const std::string& sType, int64_t& i) {
        if (header.bText) {
            char* pEnd = nullptr;
            const char* p = sText.c_str() + uAt;
            const double d = strtod(p, &pEnd);
            i = std::fabs(d) < 1e15 ? static_cast<int64_t>(d) : -1;
            uAt += static_cast<size_t>(pEnd - p);
            return pEnd == p;
        }
        const size_t uSize = sizeOf(sType);
        if (uSize > sText.size() - uAt) return true;
        uint64_t u = 0;
        for (size_t uByte = 0; uByte < uSize; ++uByte) {
            u |= uint64_t{static_cast<unsigned char>(sText[uAt + uByte])}
                 << 8 * (header.bBig ? uSize - 1 - uByte : uByte);
        }
        i = sType[0] == 'u' || uSize == 8 ? static_cast<int64_t>(u)
                                          : static_cast<int64_t>(u << (64 - 8 * uSize)) >> (64 - 8 * uSize);
        uAt += uSize;
        return false;
    }

    // Skips an element with all its values. True when they are not there.
    bool skip(const Element& element) {
        for (uint64_t u = 0; u < element.uCount; ++u) {
            for (const Property& property : element.vProperties) {
                int64_t iCount = 1, i = 0;
                if (!property.sCountType.empty() && number(property.sCountType, iCount)) return true;
                for (; iCount > 0; --iCount) {
                    if (number(property.sType, i)) return true;
                }
            }
            if (element.vProperties.empty()) break;
        }
        return false;
    }

    // Where the next element begins.
    size_t place() {
        while (header.bText && uAt < sText.size() && isspace(static_cast<unsigned char>(sText[uAt]))) ++uAt;
        return uAt;
    }

 private:
    const std::string& sText;
    const Header& header;
    size_t uAt;
};

void addFace(const Header& header, const int64_t (&iCorners)[3], std::string& sFaces) {
    if (header.bText) {
        for (const int64_t i : {int64_t{3}, iCorners[0], iCorners[1], iCorners[2]}) sFaces += std::to_string(i) + ' ';
        sFaces.back() = '\n';
        return;
    }
    sFaces += '\3';
    for (const int64_t i : iCorners) {
        for (int iByte = 0; iByte < 4; ++iByte)
            sFaces += static_cast<char>(i >> 8 * (header.bBig ? 3 - iByte : iByte) & 0xFF);
    }
}

// Every other triangle of a strip is turned over; a negative number starts the next strip.
bool readStrips(const Header& header, const Element& strips, Data& data, std::string& sFaces, uint64_t& uFaces) {
    for (uint64_t u = 0; u < strips.uCount; ++u) {
        for (const Property& property : strips.vProperties) {
            const bool bList = !property.sCountType.empty();
            int64_t iCount = 1, iLast[2] = {-1, -1};
            if (bList && data.number(property.sCountType, iCount)) return true;
            for (bool bTurned = false; iCount > 0; --iCount) {
                int64_t i = 0;
                if (data.number(property.sType, i)) return true;
                if (!bList) continue;
                if (i < 0) bTurned = false;
                const bool bFace = i >= 0 && iLast[0] >= 0 && iLast[1] >= 0;
                if (bFace && i != iLast[0] && i != iLast[1] && iLast[0] != iLast[1]) {
                    addFace(header, {iLast[bTurned], iLast[!bTurned], i}, sFaces);
                    ++uFaces;
                }
                if (bFace) bTurned = !bTurned;
                iLast[0] = i < 0 ? -1 : iLast[1], iLast[1] = i;
            }
        }
    }
    return false;
}

bool isBlankByte(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool isStrips(const Element& element) {
    return element.sName == "tristrips" && element.uCount > 0 && !element.vProperties.empty();
}

std::string headerOf(const Element& element) {
    std::string s = "element " + element.sName + " " + std::to_string(element.uCount) + "\n";
    for (const Property& property : element.vProperties) {
        s += "property " + (property.sCountType.empty() ? "" : "list " + property.sCountType + " ") + property.sType +
             " " + property.sName + "\n";
    }
    return s;
}

// Whether assimp reads it.
bool isKnown(const Element& element) {
    return element.sName == "vertex" || element.sName == "face" || element.sName == "material";
}

// Appends elements with one more byte in front of each, which nobody reads. Requires data without lists.
void appendPadded(const std::string& sText, size_t uStart, size_t uEnd, uint64_t uCount, std::string& sData) {
    const size_t uSize = static_cast<size_t>((uEnd - uStart) / uCount);
    for (; uStart < uEnd; uStart += uSize) (sData += 'x').append(sText, uStart, uSize);
}

// Keeps vertices and faces, and makes faces of strips. True with the reason when the data are too short.
bool replaceElements(const std::string& sText, const Header& header, ModelText& text, std::string& sReason) {
    std::string sHead = sText.substr(0, header.uElements), sData;
    Data data(sText, header, header.uData);
    for (const Element& element : header.vElements) {
        const size_t uStart = data.place();
        if (isStrips(element)) {
            uint64_t uFaces = 0;
            if (readStrips(header, element, data, sData, uFaces)) return sReason = SHORT, true;
            sHead += headerOf({"face", uFaces, {{"int", "uchar", "vertex_indices"}}});
            text.uFaces += uFaces;
            continue;
        }
        if (data.skip(element)) return sReason = SHORT, true;
        if (!isKnown(element) || element.uCount == 0) continue;
        Element padded = element;
        const size_t uEnd = data.place();
        const bool bLists = std::any_of(element.vProperties.begin(), element.vProperties.end(),
                                        [](const Property& p) { return !p.sCountType.empty(); });
        if (!header.bText && sData.empty() && !bLists && uStart < uEnd && isBlankByte(sText[uStart])) {
            padded.vProperties.insert(padded.vProperties.begin(), {"uchar", "", "padding"});
            appendPadded(sText, uStart, uEnd, element.uCount, sData);
        } else {
            sData.append(sText, uStart, uEnd - uStart);
        }
        sHead += headerOf(padded);
    }
    text.sText = sHead + "end_header\n" + sData;
    text.bReplaced = true;
    return false;
}

}  // namespace

bool rewritePly(const std::string& sFile, ModelText& text, std::string& sReason) {
    const Velk::NRaiiFile file(text.open(sFile));
    std::string sText(LONGEST_HEADER, '\0');
    sText.resize(file.get() ? fread(&sText[0], 1, sText.size(), file.get()) : 0);
    Header header;
    if (!readHeader(sText, header)) return false;
    text.bMeanNormals = sText.substr(0, header.uElements).find("\ncomment Created by Blender") != std::string::npos;
    if (text.bMeanNormals) text.cUp = 'z';
    for (const Element& element : header.vElements) text.uFaces += element.sName == "face" ? element.uCount : 0;
    const auto needsNoChange = [](const Element& element) { return isKnown(element) || element.uCount == 0; };
    const bool bBlank = !header.bText && header.uData < sText.size() && isBlankByte(sText[header.uData]);
    if (!bBlank && std::all_of(header.vElements.begin(), header.vElements.end(), needsNoChange)) return false;
    readRest(file.get(), sText);
    return replaceElements(sText, header, text, sReason);
}

}  // namespace rt
