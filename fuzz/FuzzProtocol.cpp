// Fuzz targets for both ends of the render protocol: the input is what the other end sends. RT_CLIENT builds the one
// for the client.

#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "FuzzSupport.h"
#include "net/Client.h"
#include "net/Peer.h"
#include "net/Server.h"

using namespace rt;

namespace {

constexpr size_t MAX_BYTES = 2048;  // answers of the server, up to 73 times as long, still fit the socket's buffer

// A connection to a peer that has sent all it has to say.
class Connection {
 public:
    SocketClient client;

    explicit Connection(const std::string& sSent) {
        int ends[2];
        require(!socketpair(AF_UNIX, SOCK_STREAM, 0, ends), "a connection");
        require(send(ends[1], sSent.data(), sSent.size(), 0) == static_cast<ssize_t>(sSent.size()), "a long buffer");
        shutdown(ends[1], SHUT_WR);
        client.initClient(ends[0], {});
        client.iStallLimit = 1000;
        iPeer = ends[1];
    }
    ~Connection() { close(iPeer); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

 private:
    int iPeer;
};

#ifdef RT_CLIENT

void writeScene() {
    writeFile("desc.txt", "mesh.brs\nscene.cam\nscene.atr\nscene.lgt\n");
    writeFile("mesh.brs", "vertices 3\n0 0 0\n1 0 0\n0 1 0\n\ntriangles 1\n0 1 2\n\n0\n");
    writeFile("scene.cam", "Camera c\nviewpoint 0 0 -3\nscreen\n-1 1 -2\n1 1 -2\n-1 -1 -2\nresolution 16 16\n");
    writeFile("scene.atr", "Attr a\nkd 1\ncolor 255 255 255\nenddef\n");
    writeFile("scene.lgt", "1\n0 1 -5 100 0 0 1\n");
}

// Mostly what a server would send, with fields that it would not.
std::string makeStream(Source& source) {
    std::string sStream;
    while (!source.isEmpty() && sStream.size() < MAX_BYTES) {
        const uint32_t uKind = source.below(5);
        if (uKind == 0) {
            ParametersPacket packet{{PACKET_SERVER_PARAMETERS, 12}, sizeof(RaytracerParameters)};
            RaytracerParameters parameters;
            strcpy(parameters.szDescFile, source.below(8) ? "desc.txt" : "/dev/stdin");
            parameters.uPackSize = source.below(20);
            parameters.uWidth = parameters.uHeight = source.below(40);
            parameters.bCustomResolution = true;
            char* pRecord = reinterpret_cast<char*>(&parameters);
            for (uint32_t u = source.below(4); u > 0; --u) {
                pRecord[512 + source.below(sizeof(parameters) - 8 - 512)] = source.take<char>();  // but for the size
            }
            if (!source.below(8)) packet.uLength = source.take<uint32_t>();
            sStream += bytesOf(packet) + bytesOf(parameters);
        } else if (uKind < 3) {
            const uint32_t uEdge = 1 + source.below(16);
            sStream += bytesOf(TaskPacket{{PACKET_SERVER_TASK, 32},
                                          source.take<uint32_t>(),
                                          source.below(40),
                                          source.below(40),
                                          uEdge,
                                          source.below(8) ? uEdge : source.below(40),
                                          uEdge});
        } else {
            sStream += bytesOf(source.take<uint64_t>());
        }
    }
    return sStream;
}

#endif

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
#ifdef RT_CLIENT
    static const bool bWritten = (writeScene(), true);
    require(bWritten, "a scene");
    Source source(pBytes, uBytes);
    Connection connection(makeStream(source));
    static RayTracer rayTracer;
    RSIClient client;
    if (!client.init(connection.client, rayTracer)) client.run();
#else
    Connection connection({reinterpret_cast<const char*>(pBytes), std::min(uBytes, MAX_BYTES)});
    RaytracerParameters parameters;
    parameters.uWidth = parameters.uHeight = 10;
    parameters.uPackSize = 4;
    Velk::NBitmap image;
    Wakeup wakeup;
    TaskBoard board;
    require(!wakeup.init() && !image.create(10, 10) && !board.create(parameters, image, wakeup), "a board");
    RSIServer server;
    server.init(parameters, connection.client);
    while (Task* pTask = board.takeTask()) {
        if (server.run(*pTask)) {
            board.giveBack(*pTask);
            break;
        }
        board.finishTask(*pTask);
    }
    server.done();
#endif
    return 0;
}
