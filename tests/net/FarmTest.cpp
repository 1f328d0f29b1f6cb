// Whole farms of processes.
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <vector>

#include "net/Peer.h"
#include "support/FileTest.h"
#include "support/Process.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

/// The program, running in a directory of its own that sees the test's scenes.
class Member : public Process {
 public:
    Member(const std::string& sName, const std::string& sArguments)
        : Process("mkdir -p " + sName + "; cd " + sName +
                  " && ln -s ../Scenes && exec env TMPDIR=. " RT_EMULATOR " " RT_PROGRAM " " + sArguments + " >stdout"),
          sDirectory(sName + "/") {}

    std::string file(const std::string& sName = "RayTracer.log") const { return readFile(sDirectory + sName); }
    bool waitFor(const std::string& sText, const std::string& sFile = "RayTracer.log") const {
        return waitUntil([&] { return contains(file(sFile), sText); });
    }
    long files() const { return openFiles(id()); }

 private:
    std::string sDirectory;
};

class FarmTest : public FileTest {
 protected:
    std::string sPicture;  // as local mode renders it
    uint16_t uPort = 0;

    void render(const std::string& sOptions) {
        makeScene(makeShowcase(), 90, 70).write("test");
        sSettings = sOptions + " test";
        Member local("local", sSettings);
        EXPECT_EQ(local.wait(), 1);
        sPicture = local.file("out_tex.bmp");
        EXPECT_FALSE(sPicture.empty());
    }

    std::unique_ptr<Member> startServer(const std::string& sName, const std::string& sOnAndMost) {
        auto pServer = std::make_unique<Member>(sName, "--server " + sOnAndMost + " " + sSettings);
        if (sOnAndMost[0] != '0') return pServer;
        EXPECT_TRUE(pServer->waitFor("Waiting for clients"));
        const std::string sLog = pServer->file(), sPhrase = "Listening on port ";
        uPort = static_cast<uint16_t>(std::stoul(sLog.substr(sLog.find(sPhrase) + sPhrase.size())));
        return pServer;
    }

    std::unique_ptr<Process> startWorker(const std::string& sMore = "") const {
        return std::make_unique<Process>("exec " RT_EMULATOR " " RT_WORKER " 127.0.0.1 " + std::to_string(uPort) +
                                         " --jobs 2 " + sMore + " 2>>worker");
    }

    static size_t countTiles(const Member& server) {
        const std::string sLog = server.file(), sPhrase = " result received\n";
        size_t uTiles = 0;
        for (size_t u = sLog.find(sPhrase); u != std::string::npos; u = sLog.find(sPhrase, u + 1)) ++uTiles;
        return uTiles;
    }

    // The server ends with the picture of local mode.
    void expectPicture(Member& server) const {
        EXPECT_EQ(server.wait(), 1);
        EXPECT_EQ(firstDifference(server.file("out_tex.bmp"), sPicture), "");
    }

    std::unique_ptr<Member> startClient(const std::string& sName) const {
        return std::make_unique<Member>(sName, "--client 127.0.0.1 " + std::to_string(uPort));
    }

 private:
    std::string sSettings;
};

TEST_F(FarmTest, ThreeClientsRenderThePictureOfLocalModeThoughOneIsKilled) {
    render("--texattr 1 --dirt --packsize 1200 --resolution 1600 1200");  // long tiles, to be killed in the middle
    const auto pServer = startServer("server", "0 3");
    const auto pKilled = startClient("killed");
    EXPECT_TRUE(pKilled->waitFor("Task 0 received"));
    pKilled->send(SIGKILL);
    EXPECT_EQ(pKilled->wait(), 1000 + SIGKILL);
    EXPECT_FALSE(contains(pKilled->file(), "OK\n")) << "it was in the middle of it";
    EXPECT_TRUE(pServer->waitFor("getResponse() failed"));
    std::vector<std::unique_ptr<Member>> vClients;
    for (const char* szName : {"first", "second", "third"}) vClients.push_back(startClient(szName));
    expectPicture(*pServer);
    for (const auto& pClient : vClients) {
        // One that came too late would try on for ever; it may even meet the signal before it is ready for one.
        pClient->send(SIGTERM);
        const int iStatus = pClient->wait();
        EXPECT_TRUE(iStatus == 1 || iStatus == 1000 + SIGTERM) << iStatus;
    }
}

TEST_F(FarmTest, WorkersServeBesideClientsAndMayBeKilledOrAskedToLeave) {
    render("--texattr 1 --dirt --packsize 60 --resolution 1200 900");
    const auto pServer = startServer("server", "0 6");
    const auto pKilled = startWorker();
    EXPECT_TRUE(waitUntil([&] { return countTiles(*pServer) >= 1; }));
    pKilled->send(SIGKILL);
    EXPECT_EQ(pKilled->wait(), 1000 + SIGKILL);
    const size_t uTiles = countTiles(*pServer);
    const auto pAsked = startWorker();
    EXPECT_TRUE(waitUntil([&] { return countTiles(*pServer) > uTiles; }));
    pAsked->send(SIGINT);
    EXPECT_EQ(pAsked->wait(), 130);
    EXPECT_TRUE(waitUntil([&] { return contains(pServer->file(), "getResponse() failed"); })) << "the killed one";
    const auto pClient = startClient("client");
    const auto pWorker = startWorker();
    expectPicture(*pServer);
    EXPECT_EQ(pWorker->wait(), 0) << readFile("worker");
    EXPECT_EQ(list(), (std::vector<std::string>{"Scenes", "client", "local", "server", "worker"}))
        << "no cache, no log";
}

TEST_F(FarmTest, AClientMayStartBeforeItsServerAndEndsWithIt) {
    render("--packsize 1000 --resolution 320 240");
    SocketServer probe;  // for a port that is free, and that the system gives to no other test meanwhile
    uPort = static_cast<uint16_t>(10000 + getpid() % 20000);
    while (probe.initServer(uPort, 1)) ASSERT_LT(++uPort, 32000);
    // A port is cut to 16 bits, and said.
    const std::string sPort = std::to_string(uPort), sCut = std::to_string(65536 + uPort) + "x";
    EXPECT_EQ(startServer("occupied", sCut + " 1")->wait(), 1);
    probe.release();
    const auto pClient = startClient("client");
    EXPECT_TRUE(pClient->waitFor("connect() failed"));
    const auto pServer = startServer("server", sCut + " 1");
    EXPECT_TRUE(pClient->waitFor("Task 0 received"));
    EXPECT_TRUE(contains(pServer->file(), "The port \"" + sCut + "\" is understood as " + sPort + "\n"));
    EXPECT_TRUE(contains(pServer->file(), "Listening on port " + sPort + "\n"));
    pServer->send(SIGKILL);
    pServer->wait();
    EXPECT_EQ(pClient->wait(), 1);
    EXPECT_TRUE(contains(pClient->file(), "[Client.cpp | getResponse | LINE: "));
}

TEST_F(FarmTest, SignalsEndBothSidesAndSayHowFarTheyCame) {
    render("");
    const auto pServer = startServer("server", "0 1");
    const Peer silent(connectTo(uPort));
    EXPECT_TRUE(pServer->waitFor("Client 0 created"));
    const long iFiles = pServer->files();
    const Peer beyondTheLimit(connectTo(uPort));
    EXPECT_TRUE(waitUntil([&] { return pServer->files() > iFiles; }));
    pServer->send(SIGTERM);
    EXPECT_EQ(silent.receive(8), words({5, 8}));
    EXPECT_TRUE(beyondTheLimit.isClosed());
    EXPECT_EQ(pServer->wait(), 1);
    EXPECT_TRUE(contains(pServer->file(), "Stopped by a signal, 0 of 9 tasks done"));
    EXPECT_TRUE(pServer->file("out_tex.bmp").empty());
    const auto pClient = startClient("client");  // nobody listens any more
    EXPECT_TRUE(pClient->waitFor("connect() failed"));
    pClient->send(SIGINT);
    EXPECT_EQ(pClient->wait(), 1);
    EXPECT_TRUE(contains(pClient->file(), "Stopped by a signal"));
}

TEST_F(FarmTest, TwoHundredConnectionsCostTheServerNeitherMemoryNorThePicture) {
    render("--packsize 5");
    const auto pServer = startServer("server", "0 128");
    const long iPeak = peakKilobytes(pServer->id()), iFiles = pServer->files();
    std::vector<std::unique_ptr<Peer>> vPeers;
    for (unsigned u = 0; u < 200; ++u) {
        vPeers.push_back(std::make_unique<Peer>(connectTo(uPort)));
        vPeers.back()->send(u % 2 ? words({0, 8, 2, 8, 4, 16, 7777, 0xFFFFFFFF}) : "GET / HTTP/1.1\r\n\r\n");
    }
    vPeers.clear();
    EXPECT_TRUE(waitUntil([&] { return pServer->files() == iFiles; }));
    EXPECT_LT(peakKilobytes(pServer->id()) - iPeak, 256 * 1024);  // of 128 threads, a sanitizer's memory included
    const auto pFirst = startClient("first"), pSecond = startClient("second");
    expectPicture(*pServer);
}

TEST_F(FarmTest, AStoppedServerKeepsTheTilesThatAreDone) {
    render("--packsize 40");
    std::filesystem::create_directories("server/a.b");
    const auto pServer = startServer("server", "0 1 --out a.b/room.bmp");
    const Peer peer(connectTo(uPort));
    peer.send(words({0, 8, 2, 8}));
    EXPECT_EQ(peer.receive(616).size(), 616u);
    peer.send(words({4, 16, 0, 4800}) + std::string(4800, 'x') + words({2, 8}));
    EXPECT_TRUE(pServer->waitFor("task 0 result received"));
    peer.send(words({4, 16, 1, 4800}) + "half of it");
    EXPECT_TRUE(pServer->waitFor("Current task: 2/6", "stdout"));
    pServer->send(SIGTERM);
    EXPECT_EQ(pServer->wait(), 1);
    EXPECT_TRUE(contains(pServer->file(), "Stopped by a signal, 1 of 6 tasks done, they are in a.b/room.part.bmp\n"));
    Velk::NBitmap part;
    ASSERT_FALSE(part.loadFromFile("server/a.b/room.part.bmp"));
    for (const auto& [x, y, uColour] : {std::tuple{0u, 0u, 0x787878u}, {39, 39, 0x787878}, {40, 0, 0}, {0, 40, 0}}) {
        EXPECT_EQ(part.getPixel(x, y), uColour) << x << ' ' << y;
    }
}

TEST_F(FarmTest, AFinishedPictureThatCannotBeWrittenIsKept) {
    render("");
    std::filesystem::create_directories("server/gone");
    const auto pServer = startServer("server", "0 1 --out gone/picture.bmp");
    std::filesystem::remove("server/gone");
    const auto pClient = startClient("client");
    EXPECT_EQ(pServer->wait(), 1);
    const std::string sLog = pServer->file(), sPhrase = "The finished image is kept in ";
    ASSERT_TRUE(contains(sLog, sPhrase)) << sLog;
    const size_t uName = sLog.find(sPhrase) + sPhrase.size();
    EXPECT_EQ(firstDifference(pServer->file(sLog.substr(uName, sLog.find('\n', uName) - uName)), sPicture), "");
}

}  // namespace
