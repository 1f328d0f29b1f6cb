// The C++ side of bench/python.py: casts the rays of a file once for each byte of the input, and prints the
// milliseconds of the processor. The file: three numbers of 64 bits (vertices, triangles, rays), then the three arrays.
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <vector>

#include "raytracer/Scene.h"

namespace {

template <typename T>
bool readArray(FILE* pFile, size_t uCount, std::vector<T>& v) {
    v.resize(uCount);
    return fread(v.data(), sizeof(T), uCount, pFile) != uCount;
}

}  // namespace

int main(int iCount, char** pArguments) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pFile(iCount == 2 ? fopen(pArguments[1], "rb") : nullptr, fclose);
    std::vector<uint64_t> vCounts;
    std::vector<float> vVertices, vRows;
    std::vector<uint32_t> vTriangles;
    if (!pFile || readArray(pFile.get(), 3, vCounts) || readArray(pFile.get(), vCounts[0] * 3, vVertices) ||
        readArray(pFile.get(), vCounts[1] * 3, vTriangles) || readArray(pFile.get(), vCounts[2] * 6, vRows)) {
        fprintf(stderr, "usage: rt_bench_cast FILE, which bench/python.py writes\n");
        return 2;
    }
    raytracer::Scene scene;
    if (scene.setMesh({vVertices.data(), static_cast<uint32_t>(vCounts[0]), vTriangles.data(),
                       static_cast<uint32_t>(vCounts[1])}) ||
        scene.prepare(raytracer::Use::RAYS)) {
        return 1;
    }
    std::vector<raytracer::Ray> vRays;
    for (const float* p = vRows.data(); p != vRows.data() + vRows.size(); p += 6)
        vRays.push_back({{p[0], p[1], p[2]}, {p[3], p[4], p[5]}});
    std::vector<raytracer::Hit> vHits(vRays.size());
    while (getchar() != EOF) {
        const clock_t start = clock();
        scene.findNearest(vRays.data(), vRays.size(), vHits.data());
        printf("%.3f\n", 1000.0 * static_cast<double>(clock() - start) / CLOCKS_PER_SEC);
        fflush(stdout);
    }
    return 0;
}
