// Whole farms of processes.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>

#include <filesystem>
#include <memory>
#include <vector>

#include "net/Peer.h"
#include "support/FileTest.h"
#include "support/Scenes.h"

namespace {

/// The program, running in a directory of its own that sees the test's scenes.
class Process {
 public:
    Process(const std::string& sName, std::vector<std::string> vArguments) : sDirectory(sName) {
        std::filesystem::create_directories(sName);
        std::filesystem::create_symlink("../Scenes", sName + "/Scenes");
        vArguments.insert(vArguments.begin(), RT_PROGRAM);
        if (*RT_EMULATOR) vArguments.insert(vArguments.begin(), RT_EMULATOR);
        std::vector<char*> vPointers;
        for (std::string& sArgument : vArguments) vPointers.push_back(sArgument.data());
        vPointers.push_back(nullptr);
        iProcess = fork();
        if (iProcess) return;
        setenv("TMPDIR", ".", 1);
        if (chdir(sName.c_str()) || !freopen("stdout", "w", stdout)) _exit(99);
        execv(vPointers[0], vPointers.data());
        _exit(99);
    }
    ~Process() {
        if (iProcess == -1) return;
        send(SIGKILL);
        end();
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void send(int iSignal) const { kill(iProcess, iSignal); }

    // The exit status once the process has ended, -1 for a signal.
    int end() {
        int iStatus = 0;
        waitpid(std::exchange(iProcess, -1), &iStatus, 0);
        return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
    }

    std::string log() const { return readFile(sDirectory + "/RayTracer.log"); }
    std::string image(const std::string& sName = "out_tex.bmp") const { return readFile(sDirectory + "/" + sName); }
    bool waitFor(const std::string& sText, const std::string& sFile = "RayTracer.log") const {
        return waitUntil([&] { return contains(readFile(sDirectory + "/" + sFile), sText); });
    }
    long peakKilobytes() const {
        const std::string sStatus = readFile("/proc/" + std::to_string(iProcess) + "/status"), sName = "VmHWM:";
        return std::stol(sStatus.substr(sStatus.find(sName) + sName.size()));
    }
    long files() const { return openFiles(std::to_string(iProcess)); }

 private:
    std::string sDirectory;
    pid_t iProcess;
};

class FarmTest : public FileTest {
 protected:
    std::string sPicture;  // as local mode renders it

    void render(const std::vector<std::string>& vOptions) {
        makeScene(makeShowcase(), 90, 70).write("test");
        vSettings = vOptions;
        vSettings.push_back("test");
        const auto out = std::find(vOptions.begin(), vOptions.end(), "--out");
        const std::string sFile = out == vOptions.end() ? "out_tex.bmp" : *(out + 1);
        std::filesystem::create_directories("local/" + std::filesystem::path(sFile).parent_path().string());
        Process local("local", vSettings);
        EXPECT_EQ(local.end(), 1);
        sPicture = local.image(sFile);
        EXPECT_FALSE(sPicture.empty());
    }

    std::unique_ptr<Process> startServer(const std::string& sName, const std::string& sOn, const std::string& sMax) {
        std::vector<std::string> vArguments{"--server", sOn, sMax};
        vArguments.insert(vArguments.end(), vSettings.begin(), vSettings.end());
        auto pServer = std::make_unique<Process>(sName, vArguments);
        if (sOn != "0") return pServer;
        EXPECT_TRUE(pServer->waitFor("Waiting for clients"));
        const std::string sLog = pServer->log(), sPhrase = "Listening on port ";
        uPort = static_cast<uint16_t>(std::stoul(sLog.substr(sLog.find(sPhrase) + sPhrase.size())));
        return pServer;
    }

    std::unique_ptr<Process> startClient(const std::string& sName) const {
        return std::make_unique<Process>(sName,
                                         std::vector<std::string>{"--client", "127.0.0.1", std::to_string(uPort)});
    }

    uint16_t uPort = 0;

 private:
    std::vector<std::string> vSettings;
};

TEST_F(FarmTest, ThreeClientsRenderThePictureOfLocalMode) {
    render({"--texattr", "1", "--dirt", "--packsize", "9", "--resolution", "200", "150"});
    const auto pServer = startServer("server", "0", "3");
    std::vector<std::unique_ptr<Process>> vClients;
    for (const char* szName : {"first", "second", "third"}) vClients.push_back(startClient(szName));
    EXPECT_EQ(pServer->end(), 1);
    EXPECT_EQ(firstDifference(pServer->image(), sPicture), "");
    for (const auto& pClient : vClients) {
        // One that came too late would try on for ever; it may even meet the signal before it is ready for one.
        pClient->send(SIGTERM);
        const int iStatus = pClient->end();
        EXPECT_TRUE(iStatus == 1 || iStatus == -1) << iStatus;
    }
}

TEST_F(FarmTest, AKilledClientsTaskGoesToAnother) {
    render({"--packsize", "1000", "--resolution", "320", "240"});
    const auto pServer = startServer("server", "0", "2");
    const auto pFirst = startClient("first");
    EXPECT_TRUE(pFirst->waitFor("Task 0 received"));
    pFirst->send(SIGKILL);
    EXPECT_EQ(pFirst->end(), -1);
    EXPECT_FALSE(contains(pFirst->log(), "OK\n")) << "it was in the middle of it";
    EXPECT_TRUE(pServer->waitFor("getResponse() failed"));
    const auto pSecond = startClient("second");
    EXPECT_EQ(pServer->end(), 1);
    EXPECT_EQ(firstDifference(pServer->image(), sPicture), "");
    EXPECT_EQ(pSecond->end(), 1);
    EXPECT_FALSE(contains(pSecond->log(), "LINE"));
}

TEST_F(FarmTest, AClientMayStartBeforeItsServerAndEndsWithIt) {
    render({"--packsize", "1000", "--resolution", "320", "240"});
    SocketServer probe;  // for a port that is free
    ASSERT_FALSE(probe.initServer(0, 1));
    uPort = probe.uPort;
    EXPECT_EQ(startServer("occupied", std::to_string(uPort), "1")->end(), 1);
    probe.release();
    const auto pClient = startClient("client");
    EXPECT_TRUE(pClient->waitFor("connect() failed"));
    const auto pServer = startServer("server", std::to_string(uPort), "1");
    EXPECT_TRUE(pClient->waitFor("Task 0 received"));
    pServer->send(SIGKILL);
    pServer->end();
    EXPECT_EQ(pClient->end(), 1);
    EXPECT_TRUE(contains(pClient->log(), "[Client.cpp | getResponse | LINE: "));
}

TEST_F(FarmTest, SignalsEndBothSidesAndSayHowFarTheyCame) {
    render({});
    const auto pServer = startServer("server", "0", "1");
    const Peer silent(connectTo(uPort));
    EXPECT_TRUE(pServer->waitFor("Client 0 created"));
    const long iFiles = pServer->files();
    const Peer beyondTheLimit(connectTo(uPort));
    EXPECT_TRUE(waitUntil([&] { return pServer->files() > iFiles; }));
    pServer->send(SIGTERM);
    EXPECT_EQ(silent.receive(8), words({5, 8}));
    EXPECT_TRUE(beyondTheLimit.isClosed());
    EXPECT_EQ(pServer->end(), 1);
    EXPECT_TRUE(contains(pServer->log(), "Stopped by a signal, 0 of 9 tasks done"));
    EXPECT_TRUE(pServer->image().empty());
    const auto pClient = startClient("client");  // nobody listens any more
    EXPECT_TRUE(pClient->waitFor("connect() failed"));
    pClient->send(SIGINT);
    EXPECT_EQ(pClient->end(), 1);
    EXPECT_TRUE(contains(pClient->log(), "Stopped by a signal"));
}

TEST_F(FarmTest, FourHundredConnectionsCostTheServerNeitherMemoryNorThePicture) {
    render({"--packsize", "5"});
    const auto pServer = startServer("server", "0", "128");
    const long iPeak = pServer->peakKilobytes(), iFiles = pServer->files();
    std::vector<std::unique_ptr<Peer>> vPeers;
    for (unsigned u = 0; u < 400; ++u) {
        vPeers.push_back(std::make_unique<Peer>(connectTo(uPort)));
        vPeers.back()->send(u % 2 ? words({0, 8, 2, 8, 4, 16, 7777, 0xFFFFFFFF}) : "GET / HTTP/1.1\r\n\r\n");
    }
    vPeers.clear();
    EXPECT_TRUE(waitUntil([&] { return pServer->files() == iFiles; }));
    EXPECT_LT(pServer->peakKilobytes() - iPeak, 256 * 1024);  // of 128 threads, a sanitizer's memory included
    const auto pFirst = startClient("first"), pSecond = startClient("second");
    EXPECT_EQ(pServer->end(), 1);
    EXPECT_EQ(firstDifference(pServer->image(), sPicture), "");
}

TEST_F(FarmTest, AStoppedServerKeepsTheTilesThatAreDone) {
    render({"--packsize", "40", "--out", "a.b/room.bmp"});
    std::filesystem::create_directories("server/a.b");
    const auto pServer = startServer("server", "0", "1");
    const Peer peer(connectTo(uPort));
    peer.send(words({0, 8, 2, 8}));
    EXPECT_EQ(peer.receive(616).size(), 616u);
    peer.send(words({4, 16, 0, 4800}) + std::string(4800, 'x') + words({2, 8}));
    EXPECT_TRUE(pServer->waitFor("task 0 result received"));
    peer.send(words({4, 16, 1, 4800}) + "half of it");
    EXPECT_TRUE(pServer->waitFor("Current task: 2/6", "stdout"));
    pServer->send(SIGTERM);
    EXPECT_EQ(pServer->end(), 1);
    EXPECT_TRUE(contains(pServer->log(), "Stopped by a signal, 1 of 6 tasks done, they are in a.b/room.part.bmp\n"));
    Velk::NBitmap part;
    ASSERT_FALSE(part.loadFromFile("server/a.b/room.part.bmp"));
    for (const auto& [x, y, uColour] : {std::tuple{0u, 0u, 0x787878u}, {39, 39, 0x787878}, {40, 0, 0}, {0, 40, 0}}) {
        EXPECT_EQ(part.getPixel(x, y), uColour) << x << ' ' << y;
    }
}

TEST_F(FarmTest, AFinishedPictureThatCannotBeWrittenIsKept) {
    render({"--out", "gone/picture.bmp"});
    std::filesystem::create_directories("server/gone");
    const auto pServer = startServer("server", "0", "1");
    std::filesystem::remove("server/gone");
    const auto pClient = startClient("client");
    EXPECT_EQ(pServer->end(), 1);
    const std::string sLog = pServer->log(), sPhrase = "The finished image is kept in ";
    ASSERT_TRUE(contains(sLog, sPhrase)) << sLog;
    const size_t uName = sLog.find(sPhrase) + sPhrase.size();
    EXPECT_EQ(firstDifference(pServer->image(sLog.substr(uName, sLog.find('\n', uName) - uName)), sPicture), "");
}

// Two that were started together read one log and one port, and hung.
TEST_F(FarmTest, TwoFarmsWorkInOneDirectory) {
    render({"--packsize", "8"});
    const std::string sRun = "RT_CLIENTS=1 RT_PROGRAM=" RT_PROGRAM " " RT_SOURCE_DIR "/scripts/farm test --packsize 8 ";
    const std::string sBoth = "{ " + sRun + "--out a.bmp >a 2>&1 & " + sRun + "--out b.bmp >b 2>&1; wait $!; } 2>&1";
    EXPECT_EQ(system(sBoth.c_str()), 0) << readFile("a") << readFile("b");
    EXPECT_EQ(firstDifference(readFile("a.bmp"), sPicture), "") << readFile("a");
    EXPECT_EQ(firstDifference(readFile("b.bmp"), sPicture), "") << readFile("b");
}

TEST_F(FarmTest, TheServerNamesThePortThatItUnderstood) {
    SocketServer probe;
    ASSERT_FALSE(probe.initServer(0, 1));
    uPort = probe.uPort;
    probe.release();
    makeScene(makeShowcase(), 90, 70).write("test");
    const std::string sWords = std::to_string(65536 + uPort) + "x", sPort = std::to_string(uPort);
    Process server("server", {"--server", sWords, "1", "test"});
    EXPECT_TRUE(server.waitFor("Waiting for clients"));
    EXPECT_TRUE(contains(server.log(), "The port \"" + sWords + "\" is understood as " + sPort + "\n")) << server.log();
    EXPECT_TRUE(contains(server.log(), "Listening on port " + sPort + "\n"));
    EXPECT_NE(connectTo(uPort), -1);
}

TEST_F(FarmTest, APictureThatCannotBeIsRefusedBeforeTheFirstClient) {
    makeScene(makeShowcase(), 90, 70).write("test");
    for (const auto& [szOption, szValue, szReport] :
         {std::tuple{"--resolution", "60000", "Image too large: 60000 x 60000"},
          {"--out", "no/such/directory.bmp", "Failed to open file: no/such/directory.bmp"}}) {
        Process server(szOption, {"--server", "0", "1", szOption, szValue, szValue, "test"});
        EXPECT_EQ(server.end(), 1);
        EXPECT_TRUE(contains(server.log(), szReport)) << szOption;
        EXPECT_FALSE(contains(server.log(), "Waiting")) << szOption;
    }
}

}  // namespace
