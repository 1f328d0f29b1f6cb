// What the fuzz targets share, and the set-up of a fuzzing process.

#include "FuzzSupport.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "base/NLogger.h"
#include "support/Answers.h"

using namespace rt;

namespace {

constexpr uint32_t MAX_VERTICES = 40, MAX_FACES = 60;

char g_szDirectory[] = "/dev/shm/rt-fuzz-XXXXXX";

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    if (!mkdtemp(g_szDirectory) || chdir(g_szDirectory)) abort();
    atexit([] { std::filesystem::remove_all(g_szDirectory); });
    Velk::NLogger::InitLogger("/dev/null", false);  // messages are made, and go nowhere
    return freopen("/dev/null", "w", stdout) ? 0 : 1;
}

void require(bool bHolds, const char* szWhat) {
    if (bHolds) return;
    fprintf(stderr, "violated: %s\n", szWhat);
    abort();
}

void requireSameAnswers(RayQueries& queries, const RayStream& stream) {
    uint32_t uFirst = 0;
    const std::string sWrong = firstWrongAnswer(queries, stream, uFirst);
    require(sWrong.empty(), sWrong.c_str());
}

float Source::number() {
    switch (take<uint8_t>() % 8) {
        case 0:
        case 1:
            fLast = static_cast<float>(take<int8_t>());
            break;
        case 2:
            fLast = static_cast<float>(take<int16_t>()) / 256.0f;
            break;
        case 3:
            fLast = std::nextafter(fLast, take<uint8_t>() & 1 ? HUGE_VALF : -HUGE_VALF);
            break;
        case 4:
            fLast = std::ldexp(static_cast<float>(take<int16_t>()), take<int8_t>());
            break;
        case 5:
            break;  // the same again
        default:
            fLast = take<float>();
    }
    return fLast;
}

Velk::NMVector3f Source::vector() {
    const float x = number(), y = number(), z = number();
    return {x, y, z};
}

Mesh makeMesh(Source& source) {
    Mesh mesh;
    const uint32_t uVertices = 1 + source.below(MAX_VERTICES), uFaces = source.below(MAX_FACES + 1);
    for (uint32_t u = 0; u < uVertices; ++u) mesh.vVertices.push_back(source.vector());
    for (uint32_t u = 0; u < uFaces; ++u) {
        const uint32_t a = source.below(uVertices), b = source.below(uVertices), c = source.below(uVertices);
        mesh.vTriangles.push_back({a, b, c, 0});
    }
    return mesh;
}

void addRays(RayStream& stream, Source& source, const Velk::BoxAABB& box, uint32_t uRays) {
    const Velk::NMVector3f v3Size = box.v3Max - box.v3Min;
    const auto inside = [&] {
        Velk::NMVector3f v3 = box.v3Min;
        for (unsigned a = 0; a < 3; ++a) v3[a] += v3Size[a] * static_cast<float>(source.take<uint8_t>()) / 255.0f;
        return v3;
    };
    for (uint32_t u = 0; u < uRays && stream.uCount < RayStream::CAPACITY; ++u) {
        const uint32_t uKind = source.below(8);
        const Velk::NMVector3f v3From = uKind == 0 ? source.vector() : inside() + v3Size * (uKind & 1 ? 2.0f : 0.0f);
        Velk::NMVector3f v3Dir = uKind == 1 ? source.vector() : inside() - v3From;
        if (uKind == 2) v3Dir[source.below(3)] = 0.0f;
        stream.add(v3From, v3Dir, uKind == 3 ? source.number() : 1.0f + static_cast<float>(uKind));
    }
}
