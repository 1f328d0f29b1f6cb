// The farm for people, and its page.
#if defined(RT_FARM) && defined(RT_PAGE)
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "apps/RenderSteps.h"
#include "net/Peer.h"
#include "picture/PictureFile.h"
#include "shared/Pace.h"

namespace {

// Of the scene "test" in 7 x 6 tiles.
class FarmPageTest : public RenderTest {
 protected:
    static uint16_t freePort() {
        SocketServer probe;
        uint16_t uPort = static_cast<uint16_t>(10000 + getpid() % 20000);
        while (probe.initServer(uPort, 1)) ++uPort;
        return uPort;
    }

    const uint16_t uPage = freePort();
    uint16_t uPort = 0;

    std::unique_ptr<Process> start(const std::string& sMore = "") {
        fs::remove("said");
        auto pFarm = std::make_unique<Process>("exec " RT_FARM " test -o farm.png --packsize 8 --port 0 --verbose " +
                                               sMore + " --page " + std::to_string(uPage) + " >said 2>&1");
        readPort(*pFarm, "shows how far");
        return pFarm;
    }

    // Waits until the farm has said something after its port.
    void readPort(Process& farm, const std::string& sLast) {
        EXPECT_TRUE(waitUntil([&] {
            const std::string sSaid = readFile("said");
            const size_t uAt = sSaid.find("wait on port ");
            return farm.hasEnded() || (uAt != std::string::npos && sSaid.find(sLast, uAt) != std::string::npos);
        }));
        const std::string sSaid = readFile("said"), sPhrase = "wait on port ";
        const size_t uAt = sSaid.find(sPhrase);
        EXPECT_NE(uAt, std::string::npos) << sSaid;
        if (uAt != std::string::npos) uPort = static_cast<uint16_t>(std::stoul(sSaid.substr(uAt + sPhrase.size())));
    }

    // The whole answer of the page.
    std::string ask(const std::string& sPath, const std::string& sHost = "localhost") const {
        const Peer peer(connectTo(uPage));
        peer.send("GET " + sPath + " HTTP/1.1\r\nHost: " + sHost + "\r\n\r\n");
        return peer.receive(1 << 20);
    }

    // The pixels of the page's picture, empty before there is one.
    DecodedPicture picture() const {
        DecodedPicture picture;
        const std::string sAnswer = ask("/picture.png"), sPng = sAnswer.substr(sAnswer.find("\r\n\r\n") + 4);
        const bool bNone = decodePicture(reinterpret_cast<const uint8_t*>(sPng.data()), sPng.size(), 1, picture);
        EXPECT_EQ(bNone, contains(sAnswer, "HTTP/1.1 404"));
        return picture;
    }

    int work() { return runCommand(RT_WORKER " 127.0.0.1 " + std::to_string(uPort) + " 2>&1", sOutput); }
};

TEST_F(FarmPageTest, StatusAndPictureTellTheSameAndAStoppedFarmGoesOn) {
    Velk::NBitmap bitmap;
    writeFile("wanted.bmp", required("test"));
    ASSERT_FALSE(bitmap.loadFromFile("wanted.bmp"));
    auto pFarm = start();
    EXPECT_TRUE(contains(ask("/status.json"), "\"tiles\":42,\"done\":0,\"percent\":0,"));
    Peer peer(connectTo(uPort));
    peer.send(words({0, 8, 2, 8}));
    EXPECT_EQ(peer.receive(616).size(), 616u);
    std::string sTile;
    for (unsigned y = 0; y < 8; ++y) sTile.append(reinterpret_cast<const char*>(bitmap.pData) + y * 56 * 3, 24);
    peer.send(words({4, 16, 0, 192}) + sTile + words({2, 8}));
    std::string sStatus;
    EXPECT_TRUE(waitUntil([&] { return contains(sStatus = ask("/status.json"), "\"done\":1,"); })) << sStatus;
    EXPECT_TRUE(contains(sStatus, "\"address\":\"127.0.0.1:")) << sStatus;
    EXPECT_TRUE(contains(ask("/metrics"), "\nrt_farm_tiles_done 1\n"));
    // It is made anew every other second at most.
    EXPECT_TRUE(waitUntil([&] { return contains(ask("/picture.png"), "X-Tiles-Done: 1\r\n"); }));
    const DecodedPicture seen = picture();
    ASSERT_EQ(seen.vPixels.size(), 56u * 48 * 4);
    for (unsigned y = 0; y < 48; ++y) {
        for (unsigned x = 0; x < 56; ++x) {
            const uint8_t* p = seen.vPixels.data() + (y * 56 + x) * 4;
            const bool bDone = x < 8 && y < 8;
            ASSERT_EQ(p[3], bDone ? 255 : 0) << x << ' ' << y;
            const unsigned uColour = unsigned{p[0]} << 16 | unsigned{p[1]} << 8 | p[2];
            ASSERT_EQ(uColour, bDone ? bitmap.getPixel(x, y) : 0) << x << ' ' << y;
        }
    }
    pFarm->send(SIGINT);
    EXPECT_EQ(pFarm->wait(), 130);
    EXPECT_TRUE(contains(readFile("said"), "interrupted; 1 of 42 tiles are in farm.part.png")) << readFile("said");
    pFarm = start("--resume");
    EXPECT_TRUE(contains(readFile("said"), "goes on at 1 of 42 tiles")) << readFile("said");
    ASSERT_EQ(work(), 0) << sOutput;
    EXPECT_EQ(pFarm->wait(), 0);
    EXPECT_FALSE(contains(readFile("said"), "task 0 result received"));
    EXPECT_EQ(render("test -o wanted.png"), 0);
    EXPECT_EQ(firstDifference(readFile("farm.png"), readFile("wanted.png")), "");
    EXPECT_FALSE(fs::exists("farm.part.png.resume"));
}

TEST_F(FarmPageTest, WhatCannotBeIsSaid) {
    SocketServer taken;
    ASSERT_FALSE(taken.initServer(0, 1));
    const std::string sTaken = std::to_string(taken.uPort);
    const struct {
        std::string sArguments;
        int iStatus;
        const char* szSaid;
    } cases[] = {{"", 2, "the name of a scene is missing"},
                 {"test --allow 10.1.0.0/33", 2, "no range of addresses"},
                 {"test --allow 10.1", 2, "no range of addresses"},
                 {"test -o x.tiff", 2, "no picture format"},
                 {"test --port 65536", 2, "from 0 to 65535"},
                 {"nowhere", 1, "nowhere: no such scene, there are test"},
                 {"model.obj", 1, "rt-import makes one of a model"},
                 {"test -o gone/x.png", 1, "cannot be written"},
                 {"test --port " + sTaken, 1, "Address already in use"},
                 {"test --port 0 --page " + sTaken, 1, "the port is taken"}};
    writeFile("model.obj", "v 0 0 0\n");
    for (const auto& [sArguments, iStatus, szSaid] : cases) {
        EXPECT_EQ(runCommand(RT_FARM " " + sArguments + " 2>&1", sOutput), iStatus) << sArguments;
        EXPECT_TRUE(contains(sOutput, szSaid)) << sOutput;
    }
    EXPECT_EQ(runCommand(RT_WORKER " localhost 0 2>&1", sOutput), 2) << sOutput;
    // The range 10.1.0.0/16.
    sockaddr_in address{};
    for (const auto& [uAddress, bIn] : {std::pair{0x0A01FFFFu, true}, {0x0A020000u, false}}) {
        address.sin_addr.s_addr = htonl(uAddress);
        EXPECT_EQ((AddressRange{0x0A010000, 0xFFFF0000}.holds(address)), bIn);
        EXPECT_TRUE(AddressRange().holds(address));
    }
}

TEST_F(FarmPageTest, ADescriptionIsTakenByItsPathAndWorkersNeedItsDirectory) {
    fs::create_directory("elsewhere");
    Process farm("cd elsewhere && exec " RT_FARM
                 " ../Scenes/scene_descs/test.txt --port 0 --page 0 --verbose >../said 2>&1");
    readPort(farm, "    Scenes/test/test.lgt: ");
    EXPECT_TRUE(contains(readFile("said"), "where the same files lie, as in " + fs::current_path().string() + ":"));
    const std::string sHere = fs::current_path(), sFile = "Scene file Scenes/scene_descs/test.txt: ";
    fs::current_path("elsewhere");
    EXPECT_EQ(work(), 1);
    EXPECT_TRUE(contains(sOutput, sFile + "No such file")) << sOutput;
    makeScene(makeShowcase(), 56, 40).write("test");  // all tiles but those of the last row would fit
    EXPECT_EQ(work(), 1);
    EXPECT_TRUE(contains(sOutput, "the server's picture has another size")) << sOutput;
    fs::current_path(sHere);
    EXPECT_TRUE(waitUntil([&] { return contains(readFile("said"), "are its scene files these?\nwarning: " + sFile); }));
    ASSERT_EQ(work(), 0) << sOutput;
    EXPECT_EQ(farm.wait(), 0) << readFile("said");
    EXPECT_EQ(render("test -o wanted.png"), 0);
    EXPECT_EQ(firstDifference(readFile("elsewhere/test.png"), readFile("wanted.png")), "");
}

TEST_F(FarmPageTest, BrowsersThatHangFloodOrProbeDoNotTouchTheFarm) {
    const auto pFarm = start();
    for (const char* szPath :
         {"/../../../etc/passwd", "/%2e%2e/%2e%2e/etc/passwd", "//etc/passwd", "/said", "/x?../said"}) {
        EXPECT_TRUE(contains(ask(szPath), "HTTP/1.1 404")) << szPath << ask(szPath);
    }
    EXPECT_TRUE(contains(ask("/status.json", "example.org:80"), "HTTP/1.1 403"));
    EXPECT_TRUE(contains(ask("/"), "prefers-color-scheme: dark"));
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 2048);
    setrlimit(RLIMIT_NOFILE, &limit);
    // More than the page accepts, so none may wait for it here.
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(uPage);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::vector<std::unique_ptr<Peer>> vPeers;
    const long iFiles = openFiles(pFarm->id());
    for (unsigned u = 0; u < 1000; ++u) {
        const int iSocket = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        ASSERT_NE(iSocket, -1) << u;
        static_cast<void>(!connect(iSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
        if (u < 100) static_cast<void>(!send(iSocket, "GET /picture", 12, MSG_NOSIGNAL));
        vPeers.push_back(std::make_unique<Peer>(iSocket));
    }
    EXPECT_TRUE(waitUntil([&] { return openFiles(pFarm->id()) > iFiles + 8; })) << "the page is held by them";
    EXPECT_LT(openFiles(pFarm->id()), iFiles + 64);
    ASSERT_EQ(work(), 0) << sOutput;
    EXPECT_EQ(pFarm->wait(), 0) << readFile("said");
    EXPECT_EQ(render("test -o wanted.png"), 0);
    EXPECT_EQ(firstDifference(readFile("farm.png"), readFile("wanted.png")), "");
}

TEST_F(FarmPageTest, RtRenderShowsItsPicturesThereToo) {
    const std::string sPort = std::to_string(uPage);
    Process render("exec " RT_RENDER " test -o x.png --orbit 3 --resolution 8000 6000 --verbose --page " + sPort +
                   " >said 2>&1");
    ASSERT_TRUE(waitUntil([&] { return render.hasEnded() || contains(readFile("said"), "shows how far"); }));
    std::string sStatus;
    EXPECT_TRUE(waitUntil([&] {
        return contains(sStatus = ask("/status.json"), "\"secondsLeft\":") && !contains(sStatus, "null");
    })) << sStatus;
    EXPECT_TRUE(contains(sStatus, "\"picture\":\"x-0001.png\",\"number\":1,\"of\":3,\"width\":8000,")) << sStatus;
    EXPECT_FALSE(contains(sStatus, "clients"));
    EXPECT_TRUE(contains(ask("/metrics"), "\nrt_render_pictures 3\n"));
    EXPECT_EQ(picture().uHeight, 462u);
    render.send(SIGINT);
    EXPECT_EQ(render.wait(), 130);
}

TEST(PaceTest, TimeLeftComesFromTheLastTwoMinutes) {
    Pace pace(10);
    const Pace::Clock::time_point t0{};
    const auto at = [&](int iSeconds, uint32_t uDone) { pace.add(t0 + std::chrono::seconds(iSeconds), uDone); };
    at(500, 10);  // nobody worked
    EXPECT_FALSE(pace.secondsFor(1));
    for (int i = 0; i <= 60; ++i) at(1000 + i, 11 + static_cast<uint32_t>(i));
    EXPECT_NEAR(pace.secondsFor(100).value_or(0), 100, 2);
    for (int i = 61; i <= 300; ++i) at(1000 + i, 71 + static_cast<uint32_t>(i - 60) * 2);
    EXPECT_NEAR(pace.secondsFor(100).value_or(0), 50, 1);
    for (int i = 301; i <= 500; ++i) at(1000 + i, 551);  // all have left
    EXPECT_FALSE(pace.secondsFor(100));
}

// Headers and bodies without end took gigabytes, one header with two thousand ranges minutes.
TEST_F(FarmPageTest, RequestsWithoutEndCostNeitherMemoryNorAThread) {
    const auto pFarm = start();
    const long iFiles = openFiles(pFarm->id()), iPeak = peakKilobytes(pFarm->id());
    const std::string sGet = "GET /status.json HTTP/1.1\r\nHost: localhost\r\n";
    const std::string sPost = "POST / HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (const bool bHeaders : {true, false}) {
        const Peer peer(connectTo(uPage));
        const std::string sRow = std::string(0xFF8, 'x');
        peer.send(bHeaders ? sGet : sPost);
        for (unsigned u = 0; u < 16384; ++u) peer.send(bHeaders ? sRow + ": x\r\n" : "FF8\r\n" + sRow + "\r\n");
        EXPECT_FALSE(contains(peer.receive(1 << 20), " 200 ")) << bHeaders;
    }
    std::string sRanges = "Range: bytes=0-";
    for (unsigned u = 0; u < 2000; ++u) sRanges += ",0-";
    const std::string sEnd = "\r\n", sRubbish = std::string("\0\xFF\r\n\r\n", 6) + sGet;
    for (const std::string& sRest : {sRanges + sEnd + sEnd, sEnd + sRubbish, sEnd + sGet + sEnd, sEnd}) {
        const Peer peer(connectTo(uPage));
        peer.send(sGet + sRest);
        peer.shut();  // its half of the connection
        const std::string sAnswer = peer.receive(1 << 20);
        EXPECT_TRUE(contains(sAnswer, "HTTP/1.1 200 OK\r\n")) << sRest.substr(0, 20) << sAnswer;
        EXPECT_LT(sAnswer.size(), 2000u);
    }
    const Peer slow(connectTo(uPage));
    slow.send(sGet);
    EXPECT_TRUE(waitUntil([&] { return openFiles(pFarm->id()) > iFiles; }));
    EXPECT_TRUE(waitUntil([&] {
        slow.send("x");
        return openFiles(pFarm->id()) == iFiles;
    }));
    EXPECT_LT(peakKilobytes(pFarm->id()) - iPeak, 64 * 1024);
    ASSERT_EQ(work(), 0) << sOutput;
    EXPECT_EQ(pFarm->wait(), 0) << readFile("said");
}

}  // namespace
#endif
