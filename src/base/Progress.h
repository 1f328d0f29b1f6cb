#pragma once

namespace Velk {

/// Receives what a long operation says of its progress, piece by piece: texts that may be parts of a line.
using ProgressSink = void (*)(const char* szText);

/// Where progress goes from now on; null, as at first, for nowhere: a library prints nothing by itself. The sink is
/// called on the thread that reports.
void setProgressSink(ProgressSink pfnSink);

/// Reports progress. Cut off after some hundred bytes.
void printProgress(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

}  // namespace Velk
