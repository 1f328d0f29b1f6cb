#include <sstream>
#include <thread>
#include <vector>

#include "net/Peer.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

namespace {

using ServerTest = FileTest;

// The page's example is what people write their own client from.
TEST_F(ServerTest, PageShowsTheWholeExchange) {
    TestServer server(3, 2, 2, 1);
    const Peer peer(server.connect());
    std::stringstream page(readFile(RT_SOURCE_DIR "/docs/farm.md"));
    unsigned uLines = 0;
    for (std::string sLine, sSide, sWord; std::getline(page, sLine);) {
        std::stringstream line(sLine);
        line >> sSide;
        if (sSide != "client" && sSide != "server") continue;
        std::string sBytes;
        while (line >> sWord && sWord.find_first_not_of("0123456789abcdef") == std::string::npos) {
            for (size_t u = 0; u + 1 < sWord.size(); u += 2) {
                sBytes += static_cast<char>(std::stoi(sWord.substr(u, 2), nullptr, 16));
            }
        }
        if (sSide == "server" && sBytes[0] == 1) sBytes += bytesOf(server.parameters);
        if (sSide == "client") peer.send(sBytes);
        if (sSide == "server") {
            EXPECT_EQ(peer.receive(sBytes.size()), sBytes) << sLine;
        }
        ++uLines;
    }
    EXPECT_EQ(uLines, 10u);
    EXPECT_TRUE(peer.isClosed());
    const uint32_t uWanted[6] = {0xFF0000, 0x00FF00, 0x000000, 0x0000FF, 0xFFFFFF, 0x808080};
    for (uint32_t u = 0; u < 6; ++u) EXPECT_EQ(server.image.getPixel(u % 3, u / 3), uWanted[u]) << u;
}

TEST_F(ServerTest, MisbehavingClientsLoseNoTile) {
    const std::string sStart = words({0, 8, 2, 8});
    const struct {
        const char* szWhat;
        std::string sBytes;
        bool bCloses;  // the client hangs up; else the server does, after a farewell
    } cases[] = {
        {"result too short", sStart + words({4, 16, 1, 3}) + "123", false},
        {"result too long", sStart + words({4, 16, 1, 4096}) + std::string(4096, 'x'), false},
        {"huge result", sStart + words({4, 16, 1, 0xFFFFFFFF}), false},
        {"huge result for another task", sStart + words({4, 16, 77, 0xFFFFFFFF}), false},
        {"wrong header size", words({3, 33}), false},
        {"unknown type", words({9, 8}), false},
        {"another protocol", "GET / HTTP/1.1\r\n\r\n", false},
        {"task refused", sStart + words({6, 8}), false},
        {"silence", "", false},
        {"half a header", words({0}), false},
        {"half a result", sStart + words({4, 16, 1, 48}) + "half", false},
        {"half a dropped result", sStart + words({4, 16, 9, 48}) + "half", false},
        {"gone at once", "", true},
        {"gone in a header", words({4}), true},
        {"gone in a result", sStart + words({4, 16, 1}), true},
        {"gone in the pixels", sStart + words({4, 16, 1, 48}) + "half", true},
    };
    TestServer server(32, 16, 4, 2);
    const Peer good(server.connect());
    good.send(words({0, 8}));
    EXPECT_EQ(good.receive(584).size(), 584u);  // it holds the first slot and task 0 now; the others find task 1
    server.slots.vClients[1].client.iStallLimit = 20;
    for (const auto& misbehaviour : cases) {
        SCOPED_TRACE(misbehaviour.szWhat);
        const Peer bad(server.connectWhenFree());  // so the one before has left its slot
        bad.send(misbehaviour.sBytes);
        if (misbehaviour.bCloses) continue;
        const std::string sAll = bad.receive(100000);  // what the server answered before, then its farewell
        ASSERT_GE(sAll.size(), 8u);
        EXPECT_EQ(sAll.substr(sAll.size() - 8), words({5, 8}));
    }
    EXPECT_GT(server.deliver(good, 1000), 0u);
    server.finish();
    EXPECT_TRUE(server.isComplete());
}

TEST_F(ServerTest, HundredClientsComeAndGoAndEveryTileArrivesOnce) {
    Random random(5);
    TestServer server(61, 61, 2, 8);  // 961 tiles
    std::vector<std::thread> vClients;
    for (int i = 0; i < 100; ++i) {
        const int iEnd = server.connectWhenFree();
        const unsigned uTiles = random.below(10);
        const std::string sFarewell[] = {"", words({6, 8}), words({4, 16}), "?", words({9, 9})};
        vClients.emplace_back([&server, iEnd, uTiles, sLast = sFarewell[random.below(5)]] {
            const Peer peer(iEnd);
            server.deliver(peer, uTiles);
            peer.send(sLast);
        });
    }
    for (std::thread& client : vClients) client.join();
    EXPECT_FALSE(server.board.isDone());
    server.finish();
    EXPECT_TRUE(server.isComplete());
}

TEST_F(ServerTest, BookkeepingLosesNeitherTasksNorSlots) {
    TestServer server(4, 1, 1, 1);
    TaskBoard& board = server.board;
    Task* pTasks[4];
    for (Task*& pTask : pTasks) pTask = board.takeTask();
    EXPECT_EQ(board.takeTask(), nullptr);
    EXPECT_TRUE(server.loop.startClient(-1, {}));  // nothing to do for a client
    board.giveBack(*pTasks[1]);
    board.giveBack(*pTasks[3]);
    EXPECT_EQ(board.takeTask(), pTasks[3]);
    ClientSlots& slots = server.slots;
    ClientSlot* pSlot = slots.admit(-1, {});
    ASSERT_NE(pSlot, nullptr);
    pSlot->client.bConnected = false;  // a send failed; the client's thread has not noticed yet
    EXPECT_EQ(slots.admit(-1, {}), nullptr);
    slots.leave(*pSlot);
    EXPECT_EQ(slots.admit(-1, {}), pSlot);
    slots.leave(*pSlot);
    EXPECT_EQ(board.takeTask(), pTasks[1]);
    EXPECT_EQ(board.takeTask(), nullptr);
}

TEST_F(ServerTest, AcceptLoopServesParksAndEndsWithTheLastTileOrAStop) {
    for (const bool bStop : {false, true}) {
        TestServer test(8, 8, 8, 2);
        SocketServer& listener = test.listener;
        ASSERT_FALSE(listener.initServer(0, 2));
        bool bStopped = false;
        std::thread loop([&] { bStopped = test.loop.run(); });
        const Peer served(connectTo(listener.uPort));
        served.send(words({0, 8}));
        EXPECT_EQ(served.receive(584).size(), 584u);
        const long iFiles = openFiles();
        const Peer waiting(connectTo(listener.uPort));  // the only task is taken
        EXPECT_TRUE(waitUntil([&] { return openFiles() == iFiles + 2; })) << "both ends are open";
        if (bStop) test.wakeup.requestStop();
        if (!bStop) served.send(words({4, 16, 0, 192}) + test.pixels(test.board.vTasks[0]));
        EXPECT_EQ(served.receive(8), words({5, 8}));
        EXPECT_TRUE(served.isClosed());
        loop.join();
        listener.release();
        EXPECT_TRUE(waiting.isClosed());
        EXPECT_EQ(bStopped, bStop);
        EXPECT_EQ(test.isComplete(), !bStop);
    }
}

}  // namespace
