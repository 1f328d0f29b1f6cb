// The options of rt-worker, a row each.
#include "rt-worker/WorkerTable.h"

namespace rt {

namespace {

constexpr OptionRow<WorkerSettings> WORKER_ROWS[] = {
    {Option::text("HOST", "HOST", "name or address of the server's machine"),
     [](WorkerSettings& s, const OptionValue* v) { s.sHost = v[0].sText; }},
    {Option::count("PORT", "PORT", "the server's port").within(1, 65535).otherwise("5000"),
     [](WorkerSettings& s, const OptionValue* v) { s.uPort = v[0].u; }},
    {Option::count("--jobs", "N", "number of threads, each with a connection of its own")
         .within(1, 1024)
         .otherwise("one a core"),
     [](WorkerSettings& s, const OptionValue* v) { s.uJobs = v[0].u; }},
    {Option::flag("--stay", "waits for the next farm when one has ended")
         .more("It asks for a server at least once a minute, and prints a line each time."),
     [](WorkerSettings& s, const OptionValue*) { s.bStay = true; }},
    {Option::flag("--quiet", "prints errors only"), [](WorkerSettings& s, const OptionValue*) { s.bQuiet = true; }},
    {Option::flag("--verbose", "prints the hashes of the scene's files, and times"),
     [](WorkerSettings& s, const OptionValue*) { s.bVerbose = true; }},
};

}  // namespace

Program workerProgram() {
    return makeProgram("rt-worker", "Renders for a farm's server with all cores of this machine.", WORKER_ROWS);
}

void storeWorkerOptions(const std::vector<GivenOption>& vGiven, WorkerSettings& settings) {
    storeOptions(WORKER_ROWS, vGiven, settings);
}

}  // namespace rt
