// The client's end of the exchange, against a server that may misbehave.
#include <sys/stat.h>

#include <sstream>
#include <thread>
#include <tuple>
#include <vector>

#include "net/Client.h"
#include "net/Peer.h"
#include "net/SceneFiles.h"
#include "support/FileTest.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

/// A client on a small scene; the test plays its server.
class ClientTest : public FileTest {
 protected:
    RayTracer rayTracer;  // the client's
    SocketClient client;
    RaytracerParameters parameters;  // to be sent

    ClientTest() {
        makeScene(makeShowcase(), 21, 10).write("test");
        snprintf(parameters.szDescFile, sizeof(parameters.szDescFile), "Scenes/scene_descs/test.txt");
        parameters.uPackSize = 8;
    }

    // Runs a client to its end against a server's behaviour.
    template <typename Behaviour>
    void run(const Behaviour& behave) {
        const auto [iClient, iServer] = makeConnection();
        client.initClient(iClient, {});
        std::thread worker([this] {
            RSIClient rsiClient;
            rsiClient.init(client, rayTracer);
            rsiClient.run();
        });
        {
            const Peer server(iServer);
            EXPECT_EQ(server.receive(8), words({0, 8}));
            behave(server);
        }
        worker.join();
        EXPECT_EQ(client.iSocket, -1);
        EXPECT_EQ(rayTracer.scene.pVertices, nullptr);
    }

    std::string parametersPacket() const { return words({1, 12, 572}) + bytesOf(parameters); }
};

TEST_F(ClientTest, ClientsOfOneSceneMustGetTheSameSettings) {
    Wakeup wakeup;
    SharedScene shared(wakeup);
    // What follows the end of a text means nothing.
    for (const auto& [uPackSize, szTail, uAnswer] :
         {std::tuple{8u, "", 2u}, {8u, "?", 2u}, {9u, "", 6u}, {8u, "", 2u}}) {
        parameters.uPackSize = uPackSize;
        parameters.szOutFile[200] = *szTail;
        const auto [iClient, iServer] = makeConnection();
        SocketClient connection;
        connection.initClient(iClient, {});
        std::thread worker([&shared, &connection] {
            RSIClient member;
            member.init(connection, shared);
            member.run();
        });
        Peer server(iServer);
        EXPECT_EQ(server.receive(8), words({0, 8}));
        server.send(parametersPacket());
        EXPECT_EQ(server.receive(8), words({uAnswer, 8}));
        if (*szTail) {  // asked to leave, it delivers what it has and takes no more
            wakeup.requestStop();
            server.send(words({3, 32, 7, 8, 0, 8, 8, 8}));
            EXPECT_EQ(server.receive(16 + 192 + 8).substr(16 + 192), words({6, 8}));
        }
        server.close();
        worker.join();
    }
    EXPECT_EQ(shared.uPreparations, 1u);
    EXPECT_EQ(shared.uDelivered, 1u);
    EXPECT_TRUE(contains(shared.failure(), "other settings than another"));
}

TEST_F(ClientTest, ExchangeIsTheRecordedOne) {
    RayTracer judge;
    judge.parameters.uPackSize = 8;
    ASSERT_FALSE(judge.load(parameters.szDescFile, false));
    ASSERT_FALSE(judge.preprocessScene());
    std::string sInner(8 * 8 * 3, '?'), sCorner(5 * 2 * 3, '?');
    judge.calculatePack(8, 0, reinterpret_cast<unsigned char*>(sInner.data()));
    judge.calculatePack(16, 8, reinterpret_cast<unsigned char*>(sCorner.data()));
    run([&](const Peer& server) {
        server.send(parametersPacket().substr(0, 100));  // a packet may come in pieces
        server.send(parametersPacket().substr(100));
        EXPECT_EQ(server.receive(8), words({2, 8}));
        server.send(words({3, 32, 7, 8, 0, 8, 8, 8}));
        EXPECT_EQ(server.receive(16 + 192 + 8), words({4, 16, 7, 192}) + sInner + words({2, 8}));
        server.send(words({0, 8, 2, 8, 6, 8, 7, 8, 4, 16}));  // without a meaning for the client
        server.send(words({99, 8}));                          // makes it ask again
        EXPECT_EQ(server.receive(8), words({0, 8}));
        server.send(parametersPacket());
        EXPECT_EQ(server.receive(8), words({2, 8}));
        server.send(words({3, 32, 5, 16, 8, 5, 2, 8}));
        EXPECT_EQ(server.receive(16 + 30 + 8), words({4, 16, 5, 30}) + sCorner + words({2, 8}));
        server.send(words({5, 8}));
        EXPECT_TRUE(server.isClosed());
    });
    const std::string sLog = takeLog();
    EXPECT_TRUE(contains(sLog, "Task 5 received, ( 16, 8 ) -> Sending answer, task: 5, buffer size: 30...OK\n"));
    EXPECT_FALSE(contains(sLog, "LINE"));
}

// Other colours make other pixels, which no end can notice.
TEST_F(ClientTest, TheLogsTellWhetherBothEndsHaveTheSameScene) {
    const auto fingerprints = [this](bool bClient) {
        if (bClient) run([&](const Peer& server) { server.send(parametersPacket() + words({5, 8})); });
        SceneDesc desc;
        if (!bClient && !desc.loadDescription(parameters.szDescFile)) logSceneFiles(parameters.szDescFile, desc);
        std::vector<std::string> vLines;
        std::stringstream log(takeLog());
        for (std::string sLine; std::getline(log, sLine);) {
            if (contains(sLine, "Scene file ")) vLines.push_back(sLine.substr(sLine.find("Scene file ")));
        }
        return vLines;
    };
    const std::vector<std::string> vServer = fingerprints(false);
    ASSERT_EQ(vServer.size(), 5u);
    EXPECT_EQ(vServer, fingerprints(true));
    std::string sColours = readFile("Scenes/test/test.atr");
    sColours[sColours.find('0')] = '1';
    writeFile("Scenes/test/test.atr", sColours);
    std::vector<std::string> vClient = fingerprints(true);
    ASSERT_EQ(vClient.size(), 5u);
    EXPECT_NE(vClient[3], vServer[3]);
    vClient[3] = vServer[3];
    EXPECT_EQ(vClient, vServer);
}

TEST_F(ClientTest, LostServersEndItWithAnError) {
    for (const size_t uBytes : {0u, 4u, 8u, 11u, 12u, 300u, 584u, 588u, 600u}) {
        SCOPED_TRACE(uBytes);
        const std::string sAll = parametersPacket() + words({3, 32, 7, 8, 0, 8, 8, 8});
        run([&](const Peer& server) { server.send(sAll.substr(0, uBytes)); });
        EXPECT_TRUE(contains(takeLog(), "[Client.cpp | "));
    }
    client.iStallLimit = 20;
    run([&](const Peer& server) {
        server.send("half");
        EXPECT_TRUE(server.isClosed());
    });
    EXPECT_TRUE(contains(takeLog(), "[Client.cpp | getResponse | "));
}

TEST_F(ClientTest, ChecksWhatItIsSent) {
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    const auto many = [](std::initializer_list<uint32_t> vWords) {
        std::string sAll;
        for (int i = 0; i < 101; ++i) sAll += words(vWords);
        return sAll;
    };
    const std::string sGood = parametersPacket(), sReady = words({2, 8}), sDone = words({6, 8});
    const auto with = [&sGood](size_t uOffset, const std::string& sField) {
        return std::string(sGood).replace(12 + uOffset, sField.size(), sField);
    };
    const struct {
        const char* szWhat;
        std::string sBytes, sAnswer;  // the answer is all that the client sends before it closes
        const char* szLog;
    } cases[] = {
        {"length, then the end", words({1, 12, 571, 5, 8}), "", "serverRaytracerParams | LINE"},
        {"path without an end", with(0, std::string(256, 'x')), sDone, "Invalid raytracer parameters"},
        {"name without an end", with(256, std::string(256, 'x')), sDone, "Invalid raytracer parameters"},
        {"pack size 0", with(512, words({0})), sDone, "Invalid raytracer parameters"},
        {"no such scene", with(0, "nothing"), sDone, "nothing"},
        {"task larger than the pack", sGood + words({3, 32, 7, 0, 0, 8, 8, 7}), sReady, "serverTask | LINE"},
        {"task before a scene", words({3, 32, 7, 0, 0, 8, 8, 8}), sDone, "before a scene"},
        {"task outside the image", sGood + words({3, 32, 7, 24, 0, 8, 8, 8}), sReady + sDone, "does not fit"},
        {"tile cut here but not there", sGood + words({3, 32, 7, 16, 0, 8, 8, 8}), sReady + sDone, "does not fit"},
        {"smaller than is rendered", sGood + words({3, 32, 7, 0, 0, 7, 8, 8}), sReady + sDone, "does not fit"},
        {"no pixels", sGood + words({3, 32, 7, 0, 0, 0, 0, 0}), sReady + sDone, "does not fit"},
        {"row beyond 32 bits", sGood + words({3, 32, 7, 0, 0xFFFFFFF8, 8, 8, 8}), sReady + sDone, "does not fit"},
        {"asked in vain for long", many({7, 8}) + sGood + words({5, 8}), sReady, "Scene file"},
        {"another protocol for long", many({80, 80}) + words({5, 8}), many({0, 8}), ""},
        {"path that colours the terminal", with(0, std::string("a\x1b[31m\nb\0", 9)), sDone, "file a\\x1B[31m\\x0Ab: "},
        {"a device", with(0, std::string("/dev/stdin\0", 11)), sDone, "No scene to render"},
        {"a pipe that nobody writes to", with(0, std::string("pipe\0", 5)), sDone, "No scene to render"},
        {"a directory", with(0, std::string("Scenes\0", 7)), sDone, "No scene to render"},
        {"immense image",
         with(512, words({0xFFFFFFFF}))
                 .replace(12 + 536, 4, std::string("\2\0\3\1", 4))
                 .replace(12 + 564, 8, words({70000, 70000})) +
             words({3, 32, 7, 0, 0, 70000, 70000, 70000}),
         sReady + sDone, "Not enough memory"},
    };
    for (const auto& refusal : cases) {
        SCOPED_TRACE(refusal.szWhat);
        run([&](const Peer& server) {
            server.send(refusal.sBytes);
            EXPECT_EQ(server.receive(10000), refusal.sAnswer);
        });
        EXPECT_TRUE(contains(takeLog(), refusal.szLog));
    }
}

}  // namespace
