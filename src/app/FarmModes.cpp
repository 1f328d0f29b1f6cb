// The two ends of a farm as programs: what is set up before the exchange and what is done with its result.
#include "app/FarmModes.h"

#include <algorithm>

#include "app/Options.h"
#include "base/Bitmap.h"
#include "base/NLogger.h"
#include "base/OutputFile.h"
#include "net/AcceptLoop.h"
#include "net/Client.h"
#include "net/ClientSlots.h"
#include "net/TaskBoard.h"
#include "net/Wakeup.h"

using Velk::NLogger;

SocketServer g_server;
SocketClient g_client;

namespace {

constexpr int MAX_RETRY_PAUSE = 100;  // milliseconds between two attempts to connect

// Learns the image's size and makes the image. True when there could be no picture at the end.
bool prepareImage(Velk::NBitmap& image) {
    const RaytracerParameters& parameters = g_rt.parameters;
    if (g_rt.load(nullptr, true)) {
        NLogger::LogMessage("The scene is not known here, the image has %u x %u pixels\n", parameters.uWidth,
                            parameters.uHeight);
    }
    if (image.create(parameters.uWidth, parameters.uHeight)) {
        ReportErrorFormat("Image too large: %u x %u pixels\n", parameters.uWidth, parameters.uHeight);
        return true;
    }
    if (Velk::OutputFile::probe(parameters.szOutFile)) {
        ReportErrorFormat("Failed to open file: %s\n", parameters.szOutFile);
        return true;
    }
    return false;
}

}  // namespace

void runServer() {
    Wakeup wakeup;
    if (wakeup.init()) return;
    wakeup.catchSignals();
    if (g_server.initServer(g_port, g_uMaxConn)) return;
    if (!g_port) NLogger::LogMessage("Listening on port %u\n", unsigned{g_server.uPort});
    Velk::NBitmap image;
    TaskBoard board;
    ClientSlots slots;  // ends before the image that its threads write to
    if (prepareImage(image) || board.create(g_rt.parameters, image, wakeup)) return;
    if (slots.create(g_server.uMaxConnections, board, wakeup.file())) return;
    NLogger::LogMessage("Waiting for clients...\n");
    if (AcceptLoop(g_server, board, slots, wakeup).run()) {
        slots.joinThreads();
        NLogger::LogMessage("Stopped by a signal, %u of %u tasks done, no image was written\n", board.doneTasks(),
                            board.vTasks.uSize);
    } else if (image.saveToFile(g_rt.parameters.szOutFile)) {
        ReportErrorFormat("The finished image is lost: %s could not be written\n", g_rt.parameters.szOutFile);
    }
    g_server.release();
}

void runClient() {
    Wakeup wakeup;
    if (wakeup.init()) return;
    wakeup.catchSignals();
    g_client.iStopFile = wakeup.file();
    // A server that is started together with its clients is there after a few milliseconds.
    int iPause = 1;
    while (!wakeup.isStopRequested() && g_client.initClient(g_szIP, g_port)) {
        wakeup.waitFor(iPause);
        iPause = std::min(2 * iPause, MAX_RETRY_PAUSE);
    }
    if (!wakeup.isStopRequested()) {
        RSIClient client;
        client.init(g_client, g_rt);
        client.run();
    }
    g_client.release();
    g_client.iStopFile = -1;
    if (wakeup.isStopRequested()) NLogger::LogMessage("Stopped by a signal\n");
}
