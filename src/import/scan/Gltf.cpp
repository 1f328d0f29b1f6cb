// What must be known of a glTF file before assimp reads it.

#include "import/scan/Gltf.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <set>

#include "base/NRaiiFile.h"
#include "import/scan/Json.h"

namespace rt {

namespace {

constexpr uint32_t GLB_MARK = 0x46546C67, JSON_MARK = 0x4E4F534A;  // "glTF", "JSON"
constexpr size_t GLB_HEAD = 12, CHUNK_HEAD = 8;
constexpr size_t FLOAT_TYPE = 5126;
constexpr const char* OLD = "it is glTF of version 1: convert it to version 2";
constexpr const char* BASE64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Those without which the shape is the same. Their textures and colours may be lost, which others report.
bool isHarmless(const std::string& sExtension) {
    for (const char* sz : {"KHR_materials_", "KHR_texture_", "EXT_texture_", "KHR_lights_punctual", "KHR_xmp",
                           "KHR_mesh_quantization"}) {
        if (sExtension.compare(0, strlen(sz), sz) == 0) return true;
    }
    return false;
}

uint32_t wordAt(const std::string& s, size_t uAt) {
    uint32_t u = 0;
    for (size_t uByte = 0; uByte < 4 && uAt + uByte < s.size(); ++uByte)
        u |= uint32_t{static_cast<unsigned char>(s[uAt + uByte])} << 8 * uByte;
    return u;
}

void appendWord(std::string& s, size_t u) {
    for (unsigned uByte = 0; uByte < 4; ++uByte) s += static_cast<char>(u >> 8 * uByte & 0xFF);
}

std::string fromBase64(const std::string& sText, size_t uAt) {
    std::string sBytes;
    uint32_t uBits = 0, uFilled = 0;
    for (; uAt < sText.size(); ++uAt) {
        const char* p = sText[uAt] ? strchr(BASE64, sText[uAt]) : nullptr;
        if (!p) break;
        uBits = uBits << 6 | static_cast<uint32_t>(p - BASE64);
        uFilled += 6;
        if (uFilled < 8) continue;
        uFilled -= 8;
        sBytes += static_cast<char>(uBits >> uFilled & 0xFF);
    }
    return sBytes;
}

std::string toBase64(const std::string& sBytes) {
    std::string sText;
    for (size_t u = 0; u < sBytes.size(); u += 3) {
        uint32_t uBits = 0;
        for (size_t i = 0; i < 3; ++i)
            uBits = uBits << 8 | (u + i < sBytes.size() ? static_cast<unsigned char>(sBytes[u + i]) : 0u);
        for (size_t i = 0; i < 4; ++i) sText += u + i <= sBytes.size() ? BASE64[uBits >> (18 - 6 * i) & 63] : '=';
    }
    return sText;
}

class Gltf {
 public:
    Gltf(const std::string& s, const std::string& sOwn, const ReadBeside& r) : sText(s), sBinary(sOwn), readBeside(r) {}

    bool parse() { return readJson(sText, root); }

    bool isOld() const {
        const JsonValue* pAsset = root.find("asset");
        const JsonValue* pVersion = pAsset ? pAsset->find("version") : nullptr;
        return pVersion && pVersion->sText.compare(0, 2, "1.") == 0;
    }

    std::string unknownExtension() const {
        const JsonValue* p = root.find("extensionsRequired");
        for (size_t u = 0; p && u < p->vMembers.size(); ++u) {
            if (!isHarmless(p->vMembers[u].second.sText)) return p->vMembers[u].second.sText;
        }
        return "";
    }

    // Triangles of all meshes; strips and fans count as nothing.
    uint64_t triangles() const {
        uint64_t uSum = 0;
        const JsonValue *pMeshes = root.find("meshes"), *pAccessors = root.find("accessors");
        for (size_t uMesh = 0; pMeshes && pAccessors && uMesh < pMeshes->vMembers.size(); ++uMesh) {
            const JsonValue* pParts = pMeshes->vMembers[uMesh].second.find("primitives");
            for (size_t u = 0; pParts && u < pParts->vMembers.size(); ++u) {
                const JsonValue &part = pParts->vMembers[u].second, *pAttributes = part.find("attributes");
                const size_t uPlaces = pAttributes ? pAttributes->count("POSITION", SIZE_MAX) : SIZE_MAX;
                const JsonValue* p = pAccessors->at(part.count("indices", uPlaces));
                if (p && part.count("mode", 4) == 4) uSum += p->count("count", 0) / 3;
            }
        }
        return uSum;
    }

    // The accessors of places and normals that are whole numbers.
    std::vector<const JsonValue*> quantized() const {
        std::vector<const JsonValue*> vResult;
        const JsonValue* pAccessors = root.find("accessors");
        for (const size_t u : vectors()) {
            const JsonValue* p = pAccessors ? pAccessors->at(u) : nullptr;
            if (p && p->count("componentType", FLOAT_TYPE) != FLOAT_TYPE && !p->find("sparse")) vResult.push_back(p);
        }
        return vResult;
    }

    // The text with its quantized accessors replaced; empty when there are none.
    std::string widened() {
        const JsonValue *pViews = root.find("bufferViews"), *pBuffers = root.find("buffers");
        if (!pViews || !pBuffers || pViews->vMembers.empty() || pBuffers->vMembers.empty()) return "";
        std::map<size_t, std::string> changes;  // by place in the text; what stands there goes up to its end
        std::map<size_t, size_t> ends;
        std::string sNew, sNewViews;
        size_t uViews = pViews->vMembers.size();
        for (const JsonValue* p : quantized()) {
            const size_t uStart = sNew.size();
            if (widen(*p, *pViews, *pBuffers, sNew)) continue;
            changes[p->uStart] =
                "{\"bufferView\":" + std::to_string(uViews++) +
                ",\"componentType\":5126,\"type\":\"VEC3\",\"count\":" + std::to_string(p->count("count", 0)) + "}";
            ends[p->uStart] = p->uEnd;
            sNewViews += ",{\"buffer\":" + std::to_string(pBuffers->vMembers.size()) +
                         ",\"byteOffset\":" + std::to_string(uStart) +
                         ",\"byteLength\":" + std::to_string(sNew.size() - uStart) + "}";
        }
        if (changes.empty()) return "";
        const auto insert = [&](size_t uAt, const std::string& s) { changes[uAt] = s, ends[uAt] = uAt; };
        insert(pViews->uEnd - 1, sNewViews);
        insert(pBuffers->uEnd - 1, ",{\"byteLength\":" + std::to_string(sNew.size()) +
                                       ",\"uri\":\"data:application/octet-stream;base64," + toBase64(sNew) + "\"}");
        std::string sResult;
        size_t uDone = 0;
        for (const auto& [uAt, s] : changes) {
            sResult.append(sText, uDone, uAt - uDone).append(s);
            uDone = ends[uAt];
        }
        return sResult.append(sText, uDone, std::string::npos);
    }

 private:
    // Numbers of the accessors that hold places or normals.
    std::set<size_t> vectors() const {
        std::set<size_t> result;
        const JsonValue* pMeshes = root.find("meshes");
        for (size_t uMesh = 0; pMeshes && uMesh < pMeshes->vMembers.size(); ++uMesh) {
            const JsonValue* pParts = pMeshes->vMembers[uMesh].second.find("primitives");
            for (size_t u = 0; pParts && u < pParts->vMembers.size(); ++u) {
                const JsonValue* p = pParts->vMembers[u].second.find("attributes");
                for (const char* sz : {"POSITION", "NORMAL"}) {
                    if (p && p->find(sz)) result.insert(p->count(sz, SIZE_MAX));
                }
            }
        }
        return result;
    }

    // Appends an accessor's vectors as floats. True when they are not there.
    bool widen(const JsonValue& accessor, const JsonValue& views, const JsonValue& buffers, std::string& sNew) {
        const JsonValue *pType = accessor.find("type"), *pView = views.at(accessor.count("bufferView", SIZE_MAX));
        const size_t uType = accessor.count("componentType", 0), uCount = accessor.count("count", 0);
        const size_t uSize = uType == 5120 || uType == 5121 ? 1 : uType == 5122 || uType == 5123 ? 2 : 0;
        if (!pType || pType->sText != "VEC3" || !pView || !uSize || !uCount) return true;
        const std::string& sBytes = buffer(buffers, pView->count("buffer", SIZE_MAX));
        const size_t uStride = pView->count("byteStride", 3 * uSize);
        const size_t uStart = pView->count("byteOffset", 0) + accessor.count("byteOffset", 0);
        const bool bFits = uStride >= uSize && uStride <= 252 && uStart <= sBytes.size() &&
                           3 * uSize <= sBytes.size() - uStart &&
                           uCount - 1 <= (sBytes.size() - uStart - 3 * uSize) / uStride;
        if (!bFits) return true;
        const JsonValue* pNormalized = accessor.find("normalized");
        const bool bNormalized = pNormalized && sText[pNormalized->uStart] == 't', bSigned = uType % 2 == 0;
        const float fMost = !bNormalized ? 1.0f : static_cast<float>((1 << (8 * uSize - bSigned)) - 1);
        for (size_t u = 0; u < uCount; ++u) {
            for (size_t i = 0; i < 3; ++i) {
                const uint32_t uBits = wordAt(sBytes, uStart + u * uStride + i * uSize) << (32 - 8 * uSize);
                const float f = bSigned ? static_cast<float>(static_cast<int32_t>(uBits) >> (32 - 8 * uSize))
                                        : static_cast<float>(uBits >> (32 - 8 * uSize));
                const float fShare = bNormalized ? std::max(f / fMost, -1.0f) : f;
                sNew.append(reinterpret_cast<const char*>(&fShare), sizeof(fShare));
            }
        }
        return false;
    }

    const std::string& buffer(const JsonValue& buffers, size_t uBuffer) {
        const auto [found, bNew] = loaded.try_emplace(uBuffer);
        const JsonValue* p = buffers.at(uBuffer);
        if (!bNew || !p) return found->second;
        const JsonValue* pUri = p->find("uri");
        const size_t uData = pUri ? pUri->sText.find(";base64,") : 0;
        if (!pUri) {
            found->second = sBinary;
        } else if (pUri->sText.compare(0, 5, "data:") == 0 && uData != std::string::npos) {
            found->second = fromBase64(pUri->sText, uData + strlen(";base64,"));
        } else if (readBeside(pUri->sText, found->second)) {
            found->second.clear();
        }
        return found->second;
    }

    const std::string& sText;
    const std::string& sBinary;
    const ReadBeside& readBeside;
    JsonValue root;
    std::map<size_t, std::string> loaded;  // buffers
};

// A file of chunks: the first is the text.
std::string packed(std::string sJson, const std::string& sRest) {
    sJson.append(-sJson.size() & 3, ' ');
    std::string s;
    appendWord(s, GLB_MARK);
    appendWord(s, 2);
    appendWord(s, GLB_HEAD + CHUNK_HEAD + sJson.size() + sRest.size());
    appendWord(s, sJson.size());
    appendWord(s, JSON_MARK);
    return s + sJson + sRest;
}

}  // namespace

bool rewriteGltf(const std::string& sFile, const ReadBeside& readBeside, ModelText& text, std::string& sReason) {
    const Velk::NRaiiFile file(text.open(sFile));
    std::string sJson(GLB_HEAD + CHUNK_HEAD, '\0'), sRest, sBinary;
    sJson.resize(file.get() ? fread(&sJson[0], 1, sJson.size(), file.get()) : 0);
    const bool bBinary = wordAt(sJson, 0) == GLB_MARK;
    if (bBinary) {
        if (wordAt(sJson, 4) == 1) return text.sHint = OLD, false;
        if (wordAt(sJson, GLB_HEAD + 4) != JSON_MARK) return false;
        const size_t uJson = wordAt(sJson, GLB_HEAD);
        sJson.clear();
        readRest(file.get(), sJson, uJson);
    } else {
        readRest(file.get(), sJson);
    }
    Gltf gltf(sJson, sBinary, readBeside);
    if (gltf.parse()) return false;
    if (gltf.isOld()) return text.sHint = OLD, false;
    const std::string sUnknown = gltf.unknownExtension();
    if (!sUnknown.empty()) return sReason = "it needs the extension " + sUnknown + ", which is not known here", true;
    text.uFaces = gltf.triangles();
    if (gltf.quantized().empty()) return false;
    if (bBinary) readRest(file.get(), sRest);
    if (sRest.size() > CHUNK_HEAD) sBinary = sRest.substr(CHUNK_HEAD, wordAt(sRest, 0));
    const std::string sWide = gltf.widened();
    if (sWide.empty()) return false;
    text.sText = bBinary ? packed(sWide, sRest) : sWide;
    text.bReplaced = true;
    return false;
}

}  // namespace rt
