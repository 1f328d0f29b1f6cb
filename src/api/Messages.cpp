// The public way to what the library says.
#include "raytracer/Messages.h"

#include "base/InputReport.h"
#include "base/Progress.h"

void raytracer::setErrorSink(ErrorSink pfnSink) {
    Velk::setInputSink(pfnSink);
}

void raytracer::setProgressSink(ProgressSink pfnSink) {
    Velk::setProgressSink(pfnSink);
}
