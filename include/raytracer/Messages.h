#pragma once

/// What the library has to say. It prints nothing by itself.
///
///     raytracer::setErrorSink([](bool bError, const char* szReport) { fprintf(stderr, "%s\n", szReport); });
namespace raytracer {

/// Takes reports about input, files and memory: one line each, without its line break. bError is false for a warning.
/// Called on the thread that finds the fault. Null: nobody listens.
using ErrorSink = void (*)(bool bError, const char* szReport);
void setErrorSink(ErrorSink pfnSink);

/// Takes what long operations say of their progress; pieces of text, of which some end a line.
using ProgressSink = void (*)(const char* szText);
void setProgressSink(ProgressSink pfnSink);

}  // namespace raytracer
