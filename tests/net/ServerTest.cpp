// The server's end of the exchange, against clients that may misbehave.
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <sstream>
#include <thread>
#include <vector>

#include "net/Peer.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using ServerTest = FileTest;
using std::chrono::milliseconds;

std::string repeat(const std::string& sBytes, unsigned uTimes) {
    std::string sAll;
    for (; uTimes; --uTimes) sAll += sBytes;
    return sAll;
}

/// A server whose loop runs on a port of its own, with times that suit a test.
class LoopTest : public ServerTest {
 protected:
    // Listens, for an image of 8 rows that is cut into tiles of 8 x 8 pixels.
    void prepare(uint32_t uTiles, uint32_t uSlots) {
        pServer = std::make_unique<TestServer>(8 * uTiles, 8, 8, uSlots);
        ASSERT_FALSE(pServer->listener.initServer(0, 64));
        pServer->listener.iAcceptWait = 5;
        pServer->loop.reportInterval = milliseconds(20);
    }

    void start() {
        thread = std::thread([this] { bStopped = pServer->loop.run(); });
    }
    ~LoopTest() override { stop(); }

    void stop() {
        if (!thread.joinable()) return;
        pServer->wakeup.requestStop();
        thread.join();
    }

    int connect() const { return connectTo(pServer->listener.uPort); }

    // A connection that is accepted but not served, since all is taken.
    int park() const {
        const long iFiles = openFiles();
        const int iEnd = connect();
        EXPECT_TRUE(waitUntil([&] { return openFiles() == iFiles + 2; })) << "both ends are open";
        return iEnd;
    }

    bool waitForLog(const std::string& sText) {
        return waitUntil([&] { return contains(sLog += takeLog(), sText); });
    }

    // The picture gets done by this client alone.
    void finish(const Peer& peer) {
        pServer->deliver(peer, UINT32_MAX);
        EXPECT_TRUE(waitUntil([&] { return pServer->board.isDone(); }));
        EXPECT_TRUE(pServer->isComplete());
    }

    std::unique_ptr<TestServer> pServer;
    std::string sLog;

 private:
    std::thread thread;
    bool bStopped = false;
};

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
        if (sBytes.empty()) continue;  // a sentence
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

struct BadClient {
    const char* szWhat;
    std::string sBytes;
    bool bCloses = false;  // it hangs up; else the server does, after a farewell
};

std::vector<BadClient> badClients() {
    const std::string sStart = words({0, 8, 2, 8});
    std::string sNoise;
    Random random(3);
    for (unsigned u = 0; u < 200; ++u) sNoise += static_cast<char>(random.below(256));
    return {
        {"result too short", sStart + words({4, 16, 1, 3}) + "123" + words({9, 8})},
        {"result too long", sStart + words({4, 16, 1, 4096}) + std::string(4096, 'x')},
        {"huge result", sStart + words({4, 16, 1, 0xFFFFFFFF})},
        {"huge result for another task", sStart + words({4, 16, 7777, 0xFFFFFFFF})},
        {"wrong header size", words({3, 33})},
        {"unknown type", words({9, 8})},
        {"another protocol", "GET / HTTP/1.1\r\n\r\n"},
        {"no protocol", sNoise},
        {"task refused", sStart + words({6, 8})},
        {"asks only", repeat(words({0, 8}), 101)},  // each answer was a line in the log, without end
        {"says ready only", repeat(words({2, 8}), 101)},
        {"says nothing that matters", repeat(words({7, 8}), 101)},
        {"results nobody asked for", sStart + repeat(words({4, 16, 7777, 48}) + std::string(48, 'x'), 101)},
        {"silence", ""},
        {"half a header", words({0})},
        {"half a result", sStart + words({4, 16, 1, 48}) + "half"},
        {"half a dropped result", sStart + words({4, 16, 7777, 48}) + "half"},
        {"gone at once", "", true},
        {"gone in a header", words({4}), true},
        {"gone while it loads", words({0, 8}), true},
        {"gone with a tile", sStart, true},
        {"gone in a result", sStart + words({4, 16, 1}), true},
        {"gone in the pixels", sStart + words({4, 16, 1, 48}) + "half", true},
        {"another protocol, and gone", "GET / HTTP/1.1\r\n\r\n", true},
    };
}

TEST_F(ServerTest, MisbehavingClientsLoseNoTile) {
    TestServer server(32, 16, 4, 2);
    const Peer good(server.connect());
    good.send(words({0, 8}));
    EXPECT_EQ(good.receive(584).size(), 584u);  // it holds the first slot and task 0 now; the others find task 1
    server.slots.vClients[1].client.iStallLimit = 20;
    for (const BadClient& client : badClients()) {
        SCOPED_TRACE(client.szWhat);
        const Peer bad(server.connectWhenFree());  // so the one before has left its slot
        bad.send(client.sBytes);
        if (client.bCloses) continue;
        const std::string sAll = bad.receive(100000);  // what the server answered before, then its farewell
        ASSERT_GE(sAll.size(), 8u);
        EXPECT_EQ(sAll.substr(sAll.size() - 8), words({5, 8}));
    }
    const std::string sLog = takeLog();
    for (const char* sz : {"Client 0.0.0.0:0 never spoke, task 1 is untaken again\n",
                           "of the result of task 1: 3 bytes", "of a result for another task: 4294967295 bytes\n"}) {
        EXPECT_TRUE(contains(sLog, sz)) << sz;
    }
    EXPECT_GT(server.deliver(good, 1000), 0u);
    server.finish();
    EXPECT_TRUE(server.isComplete());
}

TEST_F(ServerTest, WhoGivesATileBackIsCountedAndWhoLeavesIsNot) {
    TestServer server(32, 16, 4, 1);
    std::string sWho;
    for (const bool bLeaves : {true, false}) {
        const Peer peer(server.connectWhenFree());
        if (bLeaves) {
            peer.send(words({0, 8, 2, 8}));
            EXPECT_EQ(peer.receive(616).size(), 616u);
            peer.send(words({4, 16, 0, 48}) + std::string(48, 'x') + words({6, 8}));
        } else {
            EXPECT_EQ(server.deliver(peer, 1), 1u);  // the next tile is sent by now
            peer.send(words({6, 8}));
        }
        EXPECT_FALSE(peer.receive(100).empty());
        EXPECT_TRUE(waitUntil([&] { return server.slots.connectedClients() == 0; }));
        EXPECT_EQ(server.slots.refusals(sWho), bLeaves ? 0u : 1u);
    }
}

TEST_F(LoopTest, AHundredBadClientsAtATimeBesideTwoHonestOnes) {
    constexpr uint32_t SLOTS = 8, TILES = 1024;
    prepare(TILES, SLOTS);
    for (uint32_t u = 0; u < SLOTS; ++u) pServer->slots.vClients[u].client.iStallLimit = 20;
    const long iFiles = openFiles();
    std::thread serving([&] {
        AcceptLoop loop(pServer->listener, pServer->board, pServer->slots, pServer->wakeup);
        loop.silenceLimit = milliseconds(20);
        EXPECT_FALSE(loop.run());
    });
    std::atomic<bool> bQuiet{false};  // the bad ones are gone
    const auto work = [&] {           // half of the picture while they are there, the rest afterwards
        while (!pServer->board.isDone()) {
            const bool bMore = bQuiet || pServer->board.doneTasks() < TILES / 2;
            if (bMore) pServer->deliver(Peer(connect()), bQuiet ? TILES : 3);
            std::this_thread::yield();
        }
    };
    const auto freeze = [&] {  // with its second tile, which matters when no other is left
        const Peer peer(connect());
        pServer->deliver(peer, 1);
        peer.receive(1 << 20);
    };
    const std::vector<BadClient> vKinds = badClients();
    const auto misbehave = [&](size_t u) {
        const Peer peer(connect());
        const bool bSlow = u % 10 == 0;  // it might compute for as long as it likes
        peer.send(bSlow ? words({0, 8, 2, 8}) : vKinds[u % vKinds.size()].sBytes);
        if (bSlow || !vKinds[u % vKinds.size()].bCloses) peer.receive(bSlow ? 584 + 32 : 1 << 20);
    };
    std::vector<std::thread> vGood, vBad;
    for (int i = 0; i < 2; ++i) vGood.emplace_back(work);
    for (size_t u = 0; u < 200; ++u) {
        if (u % 40 == 0) vGood.emplace_back(freeze);  // they must not take every slot
        vBad.emplace_back(misbehave, u);
        if (u % 100 < 99) continue;
        for (std::thread& worker : vBad) worker.join();
        vBad.clear();
    }
    bQuiet = true;
    for (std::thread& worker : vGood) worker.join();
    serving.join();
    EXPECT_TRUE(pServer->isComplete());
    EXPECT_TRUE(waitUntil([&] { return openFiles() == iFiles; }));
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

TEST_F(LoopTest, AParkedConnectionWasNeverServedWhenTheServedOneDied) {
    prepare(1, 1);
    start();
    Peer served(connect());
    served.send(words({0, 8}));
    EXPECT_EQ(served.receive(584).size(), 584u);
    const Peer first(park()), second(park());
    served.close();
    finish(first);
    stop();
    pServer.reset();
    EXPECT_EQ(second.receive(9), "") << "it was never served";
}

TEST_F(LoopTest, AFrozenClientHeldItsTileForEver) {
    prepare(2, 2);
    pServer->loop.silenceLimit = milliseconds(50);
    start();
    const Peer frozen(connect());
    EXPECT_EQ(pServer->deliver(frozen, 1), 1u);
    EXPECT_EQ(frozen.receive(32).substr(0, 12), words({3, 32, 1}));
    const Peer willing(park());
    finish(willing);
    EXPECT_EQ(frozen.receive(8), "");
    EXPECT_TRUE(waitForLog("Client 127.0.0.1:"));
    EXPECT_TRUE(contains(sLog, "is given up: silent for 0 s, with task 1\n"));
}

// Clients were sent away while tiles were left for others, and while their pixels came.
TEST_F(LoopTest, OnlySilenceThatKeepsTheFarmFromEndingCosts) {
    constexpr auto ages = std::chrono::hours(9);
    for (const bool bAllTaken : {false, true}) {
        prepare(bAllTaken ? 2 : 3, 1);
        pServer->loop.silenceLimit = std::chrono::minutes(30);
        start();
        Peer busy(connect());
        EXPECT_EQ(pServer->deliver(busy, 1), 1u);
        busy.send(words({4, 16, 1, 192}) + "pix");
        RSIServer& exchange = pServer->slots.vClients[0].exchange;
        const auto isComing = [&] { return exchange.tResult.load() != RSIServer::Clock::time_point{}; };
        EXPECT_TRUE(waitUntil(isComing));
        const Peer waiting(park());
        exchange.tHeard = RSIServer::Clock::now() - ages;
        if (!bAllTaken) exchange.tResult = RSIServer::Clock::time_point{};  // silent by now
        for (int i = 0; i < 5; ++i) {
            sLog.clear();
            ASSERT_TRUE(waitForLog("1 connections parked\n"));
            EXPECT_FALSE(contains(sLog, "given up"));
        }
        if (bAllTaken) {
            exchange.tResult = RSIServer::Clock::now() - ages;
            EXPECT_TRUE(waitForLog("is given up: its result trickles in for 32400 s, with task 1\n"));
        } else {
            busy.close();
        }
        finish(waiting);
        stop();
    }
}

TEST_F(LoopTest, WithoutAFreeDescriptorNobodyNewWasHeard) {
    prepare(1, 1);
    const Peer served(connect()), first(connect()), second(connect()), third(connect());
    const int iFree = dup(0);  // the first of the two numbers that remain
    close(iFree);
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &old), 0);
    const rlimit few{static_cast<rlim_t>(iFree) + 2, old.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    start();
    EXPECT_TRUE(first.isClosed());
    EXPECT_TRUE(second.isClosed());
    setrlimit(RLIMIT_NOFILE, &old);
    finish(served);
}

TEST_F(LoopTest, AClientMayComputeForLongAndTheServerSaysWhatItWaitsFor) {
    prepare(2, 2);
    pServer->loop.silenceLimit = milliseconds(10);
    start();
    const Peer slow(connect());
    slow.send(words({0, 8, 2, 8}));
    EXPECT_EQ(slow.receive(616).size(), 616u);
    const Peer other(connect());
    EXPECT_EQ(pServer->deliver(other, 2), 1u);
    EXPECT_TRUE(other.isClosed());
    const int iWaiting = park();
    const Peer waiting(iWaiting);
    const std::string sTask = "Waiting for task 0, held by 127.0.0.1:";
    for (int i = 0; i < 3; ++i) {
        sLog.clear();
        EXPECT_TRUE(waitForLog(sTask)) << "it never delivered, so its first tile may take any time";
        EXPECT_TRUE(waitForLog("Waiting: 1 of 2 tasks done, 0 untaken, 1 connections parked\n"));
    }
    slow.send(words({4, 16, 0, 192}) + pServer->pixels(pServer->board.vTasks[0]));
    EXPECT_TRUE(waitUntil([&] { return pServer->board.isDone(); }));
    EXPECT_TRUE(pServer->isComplete());
    stop();
    char text[1];
    EXPECT_EQ(recv(iWaiting, text, 1, MSG_DONTWAIT), -1) << "it is open until the picture is written";
    pServer.reset();
    EXPECT_TRUE(waiting.isClosed());
}

// The log said nothing of a tile that was given back after the others had been sent home.
TEST_F(LoopTest, ATileThatWaitsForAClientIsSaidAndWhoNeverSpoke) {
    prepare(1, 1);
    start();
    Peer(connect()).close();
    EXPECT_TRUE(waitForLog(" never spoke, task 0 is untaken again\n"));
    EXPECT_TRUE(waitForLog("Waiting: a task is untaken and no client is connected, start one\n"));
    EXPECT_TRUE(contains(sLog, "Client 127.0.0.1:")) << sLog;
}

}  // namespace
