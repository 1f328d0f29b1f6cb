#pragma once

namespace Velk {

/// Receives progress messages of long operations. Each may be only a part of a line.
using ProgressSink = void (*)(const char* szText);

/// Sets the receiver of progress. Null, the default, drops it: a library prints nothing by itself. The sink is called
/// on the thread that reports.
void setProgressSink(ProgressSink pfnSink);

/// Reports progress. Cut off after some hundred bytes.
void printProgress(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

}  // namespace Velk
