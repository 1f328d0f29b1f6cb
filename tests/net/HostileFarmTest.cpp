// A server among clients of every bad kind.
#include <atomic>
#include <thread>

#include "net/Peer.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

/// A server on a port, with times that suit a test, among clients of every bad kind.
class HostileFarmTest : public FileTest {
 protected:
    static constexpr unsigned SLOTS = 8, TILES = 32 * 32;

    TestServer server{128, 128, 4, SLOTS};
    std::thread loop;
    std::atomic<bool> bQuiet{false};  // the bad clients are gone

    HostileFarmTest() {
        EXPECT_FALSE(server.listener.initServer(0, 128));
        server.listener.iAcceptWait = 2;
        for (unsigned u = 0; u < SLOTS; ++u) server.slots.vClients[u].client.iStallLimit = 20;
        loop = std::thread([this] {
            AcceptLoop acceptLoop(server.listener, server.board, server.slots, server.wakeup);
            acceptLoop.silenceLimit = std::chrono::milliseconds(20);
            EXPECT_FALSE(acceptLoop.run());
        });
    }

    int connect() const { return connectTo(server.listener.uPort); }

    // Delivers half of the picture while the bad ones are there, and the rest afterwards.
    void honest() const {
        while (!server.board.isDone()) {
            if (bQuiet || server.board.doneTasks() < TILES / 2) server.deliver(Peer(connect()), bQuiet ? TILES : 3);
            std::this_thread::yield();
        }
    }
};

enum Ending {
    HANGS_UP,
    WAITS_FOR_THE_END,
    LINGERS,  // and might compute for as long as it likes
    FREEZES   // which matters when no other tile is left
};

TEST_F(HostileFarmTest, AHundredBadClientsAtATimeBesideTwoHonestOnes) {
    const std::string sAsk = words({0, 8}), sReady = words({2, 8}), sStart = sAsk + sReady;
    std::string sFlood, sPings, sBlind = sStart, sNoise;
    Random random(3);
    for (unsigned u = 0; u < 200; ++u) {
        sFlood += sAsk;
        sPings += words({7, 8});
        sBlind += words({4, 16, 5000 + u, 48}) + std::string(48, 'x');
        sNoise += static_cast<char>(random.below(256));
    }
    const struct {
        std::string sBytes;
        Ending ending;
        bool bDelivers = false;  // a tile before that
    } kinds[] = {
        {"", HANGS_UP},
        {"", WAITS_FOR_THE_END},
        {words({0}), WAITS_FOR_THE_END},                                    // half a header
        {"GET / HTTP/1.1\r\n\r\n", HANGS_UP},                               // another protocol
        {sNoise, WAITS_FOR_THE_END},                                        // none at all
        {words({3, 33}), WAITS_FOR_THE_END},                                // wrong size
        {words({9, 8}), WAITS_FOR_THE_END},                                 // wrong type
        {sAsk, HANGS_UP},                                                   // gone while it loads
        {sFlood, WAITS_FOR_THE_END},                                        // asks only
        {sPings, WAITS_FOR_THE_END},                                        // says nothing that matters
        {sBlind, WAITS_FOR_THE_END},                                        // results nobody asked for, and never reads
        {sStart, HANGS_UP},                                                 // dies with a tile
        {sStart, LINGERS},                                                  // is slow with a tile
        {sStart + words({6, 8}), WAITS_FOR_THE_END},                        // refuses
        {sStart + words({4, 16, 7777, 0xFFFFFFFF}), WAITS_FOR_THE_END},     // huge
        {sStart + words({4, 16, 7777, 48}) + "half", WAITS_FOR_THE_END},    // stops in the pixels
        {sReady, FREEZES, true},                                            // freezes with its second tile
        {words({4, 16, 7777, 48}) + std::string(48, 'x'), HANGS_UP, true},  // delivers what it has not
    };
    const long iFiles = openFiles();
    std::vector<std::thread> vFrozen;
    std::thread honestOnes[2];
    for (std::thread& thread : honestOnes) thread = std::thread([this] { honest(); });
    for (int iRound = 0; iRound < 2; ++iRound) {
        std::vector<std::thread> vBad;
        for (size_t u = 0; u < 100; ++u) {
            const auto& kind = kinds[u % std::size(kinds)];
            // They are not given up while tiles are left, so they must not take every slot.
            if (kind.ending == FREEZES && vFrozen.size() == SLOTS - 2) continue;
            (kind.ending == FREEZES ? vFrozen : vBad).emplace_back([this, &kind] {
                const Peer peer(connect());
                if (kind.bDelivers) server.deliver(peer, 1);
                peer.send(kind.sBytes);
                if (kind.ending != HANGS_UP) peer.receive(kind.ending == LINGERS ? 584 + 32 : 1 << 20);
            });
        }
        for (std::thread& thread : vBad) thread.join();
    }
    bQuiet = true;
    for (std::thread& thread : honestOnes) thread.join();
    for (std::thread& thread : vFrozen) thread.join();
    loop.join();
    EXPECT_TRUE(server.isComplete());
    EXPECT_TRUE(waitUntil([&] { return openFiles() == iFiles; }));
}

}  // namespace
