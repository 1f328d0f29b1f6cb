// Server and client mode: the setup before the exchange, and what becomes of the picture.
#include "RayTracer/FarmModes.h"

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "RayTracer/Options.h"
#include "base/Bitmap.h"
#include "base/NLogger.h"
#include "base/Printable.h"
#include "net/AcceptLoop.h"
#include "net/Client.h"
#include "net/ClientSlots.h"
#include "net/Connect.h"
#include "net/SceneFiles.h"
#include "net/TaskBoard.h"
#include "net/Wakeup.h"
#include "shared/StopWakeup.h"

namespace rt {

using Velk::NLogger;

SocketServer g_server;
SocketClient g_client;

namespace {

// Learns the image's size and makes the image. True when it could not be made or written.
bool prepareImage(Velk::NBitmap& image) {
    const RaytracerParameters& parameters = g_rt.parameters;
    if (g_rt.load(nullptr, true)) {
        NLogger::LogMessage("The scene is not known here, the image has %u x %u pixels\n", parameters.uWidth,
                            parameters.uHeight);
    } else {
        logSceneFiles(parameters.szDescFile, g_rt.sceneDesc);
    }
    if (image.create(parameters.uWidth, parameters.uHeight)) {
        ReportErrorFormat("Image too large: %u x %u pixels\n", parameters.uWidth, parameters.uHeight);
        return true;
    }
    return Velk::NBitmap::isRefused(parameters.szOutFile);
}

// "room.bmp" becomes "room.part.bmp".
std::string partName(const std::string& sFile) {
    const size_t uName = sFile.rfind('/') + 1, uDot = sFile.rfind('.');
    const size_t uEnd = uDot != std::string::npos && uDot > uName ? uDot : sFile.size();
    return sFile.substr(0, uEnd) + ".part" + sFile.substr(uEnd);
}

// Writes the image to its file, or to a new temporary directory when that fails. Returns the path, empty when both
// failed.
std::string keepImage(const Velk::NBitmap& image, const std::string& sFile) {
    if (!image.saveToFile(sFile.c_str())) return sFile;
    const char* szRoot = getenv("TMPDIR");
    std::string sDirectory = std::string(szRoot && *szRoot ? szRoot : "/tmp") + "/RayTracer-XXXXXX";
    if (!mkdtemp(sDirectory.data())) return "";
    std::string sKept = sDirectory + "/picture.bmp";
    if (!image.saveToFile(sKept.c_str())) return sKept;
    rmdir(sDirectory.c_str());
    return "";
}

void saveFinished(const Velk::NBitmap& image) {
    const std::string sFile = g_rt.parameters.szOutFile, sKept = keepImage(image, sFile);
    if (sKept.empty())
        ReportErrorFormat("The finished image is lost: %s could not be written\n",
                          Velk::Printable(sFile.c_str()).text());
    if (sKept.empty() || sKept == sFile) return;
    NLogger::LogMessage("The finished image is kept in %s\n", Velk::Printable(sKept.c_str()).text());
}

void saveUnfinished(const Velk::NBitmap& image, TaskBoard& board) {
    const uint32_t uDone = board.doneTasks();
    std::string sKept;
    if (uDone) {
        board.clearUndone();
        sKept = keepImage(image, partName(g_rt.parameters.szOutFile));
    }
    NLogger::LogMessage("Stopped by a signal, %u of %u tasks done, %s%s\n", uDone, board.vTasks.uSize,
                        sKept.empty() ? "no image was written" : "they are in ", Velk::Printable(sKept.c_str()).text());
}

}  // namespace

void runServer() {
    Wakeup wakeup;
    if (wakeup.init()) return;
    const StopWakeup signals(wakeup);
    if (g_server.initServer(g_port, g_uMaxConn)) return;
    NLogger::LogMessage("Listening on port %u\n", unsigned{g_server.uPort});
    Velk::NBitmap image;
    TaskBoard board;
    ClientSlots slots;  // ends before the image that its threads write to
    if (prepareImage(image) || board.create(g_rt.parameters, image, wakeup)) return;
    if (slots.create(g_server.uMaxConnections, board, wakeup.file())) return;
    NLogger::LogMessage("Waiting for clients...\n");
    AcceptLoop loop(g_server, board, slots, wakeup);
    const bool bStopped = loop.run();
    slots.joinThreads();  // so that no client's connection takes the picture's descriptor
    if (bStopped) {
        saveUnfinished(image, board);
    } else {
        saveFinished(image);
    }
    g_server.release();
}

void runClient() {
    Wakeup wakeup;
    if (wakeup.init()) return;
    const StopWakeup signals(wakeup);
    g_client.iStopFile = wakeup.file();
    if (!connectWithRetries(g_client, g_szIP, g_port, wakeup)) {
        RSIClient client;
        client.init(g_client, g_rt);
        client.run();
    }
    g_client.release();
    g_client.iStopFile = -1;
    if (wakeup.isStopRequested()) NLogger::LogMessage("Stopped by a signal\n");
}

}  // namespace rt
