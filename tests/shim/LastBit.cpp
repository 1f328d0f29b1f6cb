// A C library of another make, to be preloaded: what the functions in double precision return is moved up or down by
// one last bit, at random. No picture may change by that, because whatever is taken from them is rounded to single
// precision. Zeros and what is not finite stay, as every library has these alike. scripts/check-maths sees to it that
// the programs use no other function whose last bits differ, and none of single precision.
#include <dlfcn.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

double moved(double d) {
    thread_local uint64_t uState = 0x9E3779B97F4A7C15u;
    uState = uState * 6364136223846793005u + 1442695040888963407u;
    if (d == 0.0 || !std::isfinite(d)) return d;
    return std::nextafter(d, uState >> 63 ? std::numeric_limits<double>::max() : std::numeric_limits<double>::lowest());
}

using Function = double (*)(double);
using Function2 = double (*)(double, double);

template <typename F = Function>
F original(const char* szName) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, szName));
}

}  // namespace

extern "C" {

double sin(double x) noexcept {
    static const Function pfn = original("sin");
    return moved(pfn(x));
}

double cos(double x) noexcept {
    static const Function pfn = original("cos");
    return moved(pfn(x));
}

double tan(double x) noexcept {
    static const Function pfn = original("tan");
    return moved(pfn(x));
}

double acos(double x) noexcept {
    static const Function pfn = original("acos");
    return moved(pfn(x));
}

double asin(double x) noexcept {
    static const Function pfn = original("asin");
    return moved(pfn(x));
}

double atan(double x) noexcept {
    static const Function pfn = original("atan");
    return moved(pfn(x));
}

double log(double x) noexcept {
    static const Function pfn = original("log");
    return moved(pfn(x));
}

double log10(double x) noexcept {
    static const Function pfn = original("log10");
    return moved(pfn(x));
}

double cbrt(double x) noexcept {
    static const Function pfn = original("cbrt");
    return moved(pfn(x));
}

double pow(double x, double y) noexcept {
    static const Function2 pfn = original<Function2>("pow");
    return moved(pfn(x, y));
}

double atan2(double y, double x) noexcept {
    static const Function2 pfn = original<Function2>("atan2");
    return moved(pfn(y, x));
}

// What compilers make of a sine and a cosine of the same angle.
void sincos(double x, double* pSin, double* pCos) noexcept {
    static const auto pfn = original<void (*)(double, double*, double*)>("sincos");
    pfn(x, pSin, pCos);
    *pSin = moved(*pSin);
    *pCos = moved(*pCos);
}

}  // extern "C"
