#pragma once

/// SIGINT, SIGTERM and SIGHUP, which ask a program to stop. Signals that were ignored when the program started stay so.
class StopSignals {
 public:
    /// From now on the first one is kept for which(), and further ones do nothing.
    static void keep();

    /// The signal that came, 0 for none. Any thread may ask.
    static int which();

    /// From now on one ends the process at once.
    static void endProcess();

    /// From now on they do nothing: what is asked for is done.
    static void ignore();
};
