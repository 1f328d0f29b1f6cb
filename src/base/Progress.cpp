// Passes the progress of long operations to a sink.
#include "base/Progress.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace Velk {

namespace {

std::atomic<ProgressSink> g_pfnProgressSink{nullptr};

}  // namespace

void setProgressSink(ProgressSink pfnSink) {
    g_pfnProgressSink = pfnSink;
}

void printProgress(const char* szFormat, ...) {
    const ProgressSink pfnSink = g_pfnProgressSink;
    if (!pfnSink) return;
    char szText[512];
    va_list args;
    va_start(args, szFormat);
    vsnprintf(szText, sizeof(szText), szFormat, args);
    va_end(args);
    pfnSink(szText);
}

}  // namespace Velk
