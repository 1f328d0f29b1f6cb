// The public functions that set the receivers of errors and progress.
#include "raytracer/Messages.h"

#include "base/InputReport.h"
#include "base/Progress.h"

namespace raytracer {

void setErrorSink(ErrorSink pfnSink) {
    Velk::setInputSink(pfnSink);
}

void setProgressSink(ProgressSink pfnSink) {
    Velk::setProgressSink(pfnSink);
}

}  // namespace raytracer
