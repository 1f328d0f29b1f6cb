#pragma once

// Signals and standard streams of the whole process.

/// Call this before anything else, in every mode. From now on a write beyond the file size limit, or to a pipe without
/// a reader, fails instead of ending the process: neither may cost a picture. Closed standard streams are opened on
/// /dev/null, or their output would go to the next file opened. Standard output is written line by line, until a farm
/// makes a BufferedOutput.
void prepareProcess();

/// From now on SIGINT and SIGTERM remove unfinished files before they end the process as by default.
void removeFilesOnSignals();
