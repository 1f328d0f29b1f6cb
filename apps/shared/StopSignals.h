#pragma once

namespace rt {

/// SIGINT, SIGTERM and SIGHUP, which ask a program to stop; the one place that handles them. Signals that were ignored
/// when the program started stay so. What is called by a handler may only do what a handler may.
class StopSignals {
 public:
    using Handler = void (*)(int iSignal);

    /// From now on one ends the process, after pfnBefore and after unfinished output files were removed.
    static void endProcess(Handler pfnBefore = nullptr);

    /// From now on the first one is kept for which() and handed to pfnFirst. It interrupts calls that wait. Further
    /// ones are handed to pfnNext, or do nothing.
    static void keep(Handler pfnFirst = nullptr, Handler pfnNext = nullptr);

    /// From now on they do nothing: what was asked for is done.
    static void ignore();

    /// The signal that was kept, 0 for none. Any thread may ask.
    static int which();

    /// Removes unfinished output files and ends the process by this signal.
    static void raiseAgain(int iSignal);
};

}  // namespace rt
