// The rivals of bench/python.py: for each line of the input, casts the rays of a file once, by the public face or, when
// the line is "embree", by Embree's robust single rays, and prints the milliseconds of the processor and the number of
// hits. The file: three numbers of 64 bits (vertices, triangles, rays), then the three arrays.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <memory>
#include <vector>

#include "raytracer/Scene.h"
#ifdef RT_EMBREE
#include "EmbreeTracer.h"
#include "scene/Scene.h"
#endif

namespace {

template <typename T>
bool readArray(FILE* pFile, size_t uCount, std::vector<T>& v) {
    v.resize(uCount);
    return fread(v.data(), sizeof(T), uCount, pFile) != uCount;
}

// What is cast at what.
struct Input {
    std::vector<uint64_t> vCounts;
    std::vector<float> vVertices, vRows;
    std::vector<uint32_t> vTriangles;

    bool read(FILE* pFile) {
        return !pFile || readArray(pFile, 3, vCounts) || readArray(pFile, vCounts[0] * 3, vVertices) ||
               readArray(pFile, vCounts[1] * 3, vTriangles) || readArray(pFile, vCounts[2] * 6, vRows);
    }
    raytracer::Mesh mesh() const {
        return {vVertices.data(), static_cast<uint32_t>(vCounts[0]), vTriangles.data(),
                static_cast<uint32_t>(vCounts[1])};
    }
};

template <typename Cast>
double millisecondsOf(const Cast& cast) {
    const clock_t start = clock();
    cast();
    return 1000.0 * static_cast<double>(clock() - start) / CLOCKS_PER_SEC;
}

class Own {
 public:
    bool create(const Input& input) {
        for (auto p = input.vRows.begin(); p != input.vRows.end(); p += 6)
            vRays.push_back({{p[0], p[1], p[2]}, {p[3], p[4], p[5]}});
        vHits.resize(vRays.size());
        return scene.setMesh(input.mesh()) || scene.prepare(raytracer::Use::RAYS);
    }
    double cast() {
        return millisecondsOf([this] { scene.findNearest(vRays.data(), vRays.size(), vHits.data()); });
    }
    size_t hits() const {
        return static_cast<size_t>(std::count_if(vHits.begin(), vHits.end(), [](const raytracer::Hit& hit) {
            return hit.uTriangle != raytracer::NO_TRIANGLE;
        }));
    }

 private:
    raytracer::Scene scene;
    std::vector<raytracer::Ray> vRays;
    std::vector<raytracer::Hit> vHits;
};

#ifdef RT_EMBREE
// What comes before and after the calls is not counted.
class Rival {
 public:
    bool create(const Input& input) {
        for (auto p = input.vRows.begin(); p != input.vRows.end(); p += 6)
            vRays.push_back({{p[0], p[1], p[2]}, {p[3], p[4], p[5]}, std::numeric_limits<float>::infinity()});
        const raytracer::Mesh mesh = input.mesh();
        return source.setMesh({mesh.pPositions, mesh.uVertices, mesh.pTriangles, mesh.uTriangles, nullptr}) ||
               scene.create(source, nullptr, true) || scene.commit();
    }
    double cast() {
        if (!pTracer) pTracer = std::make_unique<EmbreeSingle>(scene);
        pTracer->prepareNearest(vRays);
        return millisecondsOf([this] { pTracer->findNearest(); });
    }
    size_t hits() const {
        size_t uCount = 0;
        for (size_t u = 0; u < vRays.size(); ++u) uCount += pTracer->distance(u) != FrameAnswers::MISS;
        return uCount;
    }

 private:
    rt::Scene source;
    EmbreeScene scene;
    std::unique_ptr<EmbreeSingle> pTracer;
    std::vector<Ray> vRays;
};
#else
// Has no time without Embree.
class Rival : public Own {
 public:
    double cast() { return std::numeric_limits<double>::quiet_NaN() * Own::cast(); }
};
#endif

}  // namespace

int main(int iCount, char** pArguments) {
    Input input;
    const std::unique_ptr<FILE, int (*)(FILE*)> pFile(iCount == 2 ? fopen(pArguments[1], "rb") : nullptr, fclose);
    if (input.read(pFile.get())) {
        fprintf(stderr, "usage: rt_bench_cast FILE, which bench/python.py writes\n");
        return 2;
    }
    Own own;
    Rival rival;
    if (own.create(input) || rival.create(input)) return 1;
    for (char szLine[32]; fgets(szLine, sizeof(szLine), stdin);) {
        const bool bRival = !strcmp(szLine, "embree\n");
        const double dTime = bRival ? rival.cast() : own.cast();
        printf("%.3f %zu\n", dTime, bRival ? rival.hits() : own.hits());
        fflush(stdout);
    }
    return 0;
}
