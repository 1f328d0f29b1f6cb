// Listening, connecting, sending and receiving.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <thread>

#include "net/Connect.h"
#include "net/ParkedClients.h"
#include "net/Peer.h"
#include "support/FileTest.h"

using namespace rt;

namespace {

using SocketsTest = FileTest;

TEST_F(SocketsTest, ListensConnectsAndCarriesAMessageInPieces) {
    SocketServer server;
    ASSERT_FALSE(server.initServer(0, 4));
    SocketClient client;
    // Names of 30 characters and more were refused. This one is 127.0.0.1, with the first number in octal digits.
    const std::string sLong = std::string(40, '0') + "177.0.0.1";
    ASSERT_FALSE(client.initClient(sLong.c_str(), server.uPort));
    EXPECT_EQ(client.szIP, sLong.substr(0, 29));
    ASSERT_FALSE(server.checkRequest());
    const Peer peer(server.iClientSocket);
    std::string sText(25, '-');
    std::thread sender([&] {
        for (int i = 0; i < 3; ++i) peer.send("0123456789");
    });
    EXPECT_FALSE(client.getResponse(sText.data(), 25));
    sender.join();
    EXPECT_EQ(sText, "0123456789012345678901234");
    // Rows with gaps between them, more than one call takes; what lies in the gaps stays.
    peer.send(std::string(300, 'a'));
    std::string sRows(400, '-');
    EXPECT_FALSE(client.getRows(reinterpret_cast<uint8_t*>(sRows.data()), 3, 100, 4));
    EXPECT_EQ(sRows.substr(0, 16), "567-89a-aaa-aaa-");
    EXPECT_EQ(sRows.substr(392), "aaa-aaa-");
}

TEST_F(SocketsTest, FailuresAreReportedAndLeaveNoFileOpen) {
    const long iBefore = openFiles();
    SocketServer server, second;
    ASSERT_FALSE(server.initServer(0, 1));
    EXPECT_TRUE(second.initServer(server.uPort, 1));
    const std::string sLog = takeLog();
    EXPECT_TRUE(contains(sLog, "[Sockets.cpp | initServer | LINE: ")) << sLog;
    EXPECT_TRUE(contains(sLog, ">> bind() failed!")) << sLog;
    const uint16_t uPort = server.uPort;
    server.release();
    EXPECT_FALSE(server.bConnected);
    SocketClient client;
    EXPECT_TRUE(client.initClient("127.0.0.1", uPort));
    EXPECT_TRUE(contains(takeLog(), ">> connect() failed\n\n"));
    EXPECT_TRUE(client.initClient("a host text of 30 characters..", uPort)) << "not one that can be resolved";
    EXPECT_TRUE(client.initClient("no.such.host.invalid", uPort));
    EXPECT_TRUE(contains(takeLog(), ">> getaddrinfo() failed!\n\n"));
    EXPECT_EQ(openFiles(), iBefore);
}

TEST_F(SocketsTest, AReleasedWrapperNeverClosesANumberThatIsUsedAgain) {
    const auto [iClient, iOther] = makeConnection();
    SocketClient client;
    client.initClient(iClient, {});
    client.release();
    const Peer other(iOther), reused(dup(iOther));
    client.release();
    EXPECT_NE(fcntl(iClient, F_GETFD), -1);
    char text[4] = {};
    EXPECT_TRUE(client.getResponse(text, 4));
    EXPECT_TRUE(client.send({{text, 4}}));
}

TEST_F(SocketsTest, WaitsEndWithTheWakeupAndWithAStalledPeer) {
    Wakeup wakeup;
    ASSERT_FALSE(wakeup.init());
    const auto [iClient, iOther] = makeConnection();
    const Peer other(iOther);
    SocketClient client;
    client.initClient(iClient, {});
    char text[4];
    client.iStallLimit = 20;
    other.send("ab");
    EXPECT_TRUE(client.getResponse(text, 4, WAIT_FOREVER));  // half of it came
    client.iStopFile = wakeup.file();
    std::thread waker([&] { wakeup.requestStop(); });
    EXPECT_TRUE(client.getResponse(text, 4, WAIT_FOREVER));
    waker.join();
    SocketServer listener;
    ASSERT_FALSE(listener.initServer(0, 1));
    EXPECT_TRUE(listener.checkRequest(wakeup.file()));
    EXPECT_EQ(listener.iClientSocket, 0);
}

// Sending waited half a minute for a peer that never reads, whatever signal came.
TEST_F(SocketsTest, SendingEndsWithTheWakeupAndWithAPeerThatNeverReads) {
    Wakeup wakeup;
    ASSERT_FALSE(wakeup.init());
    const std::string sLong(16 << 20, 'x');
    for (const bool bStop : {true, false}) {
        const auto [iClient, iOther] = makeConnection();
        const Peer other(iOther);
        SocketClient client;
        client.initClient(iClient, {});
        client.iStopFile = bStop ? wakeup.file() : -1;
        client.iStallLimit = bStop ? 3600000 : 20;
        std::thread waker([&] { wakeup.requestStop(); });
        EXPECT_TRUE(client.send({{sLong.data(), sLong.size()}}));
        waker.join();
        std::string sRest = other.receive(sLong.size());
        EXPECT_LT(sRest.size(), sLong.size()) << "the connection is shut down behind half a packet";
    }
    const auto [iClient, iOther] = makeConnection();
    const Peer other(iOther);
    SocketClient client;
    client.initClient(iClient, {});
    std::string sGot;
    std::thread reader([&] { sGot = other.receive(sLong.size() + 5); });
    EXPECT_FALSE(client.send({{"head", 4}, {sLong.data(), sLong.size()}, {"t", 1}}));
    reader.join();
    EXPECT_EQ(firstDifference(sGot, "head" + sLong + "t"), "");
}

TEST_F(SocketsTest, ConnectingGoesOnAndSaysWhereAndWhyAndHowOften) {
    SocketServer server;
    ASSERT_FALSE(server.initServer(0, 1));
    const uint16_t uPort = server.uPort;
    server.release();
    Wakeup wakeup;
    ASSERT_FALSE(wakeup.init());
    SocketClient client;
    ConnectTimes times;
    times.iLongestPause = 2;
    times.reportInterval = std::chrono::milliseconds(10);
    bool bStopped = true;
    std::thread connecting([&] { bStopped = connectWithRetries(client, "127.0.0.1", uPort, wakeup, times); });
    const std::string sReport = "No server at 127.0.0.1:" + std::to_string(uPort) + " yet: Connection refused, ";
    EXPECT_TRUE(waitUntil([&] { return contains(takeLog(), sReport); }));
    EXPECT_TRUE(waitUntil([&] { return !server.initServer(uPort, 1); }));
    connecting.join();
    EXPECT_FALSE(bStopped);
    EXPECT_TRUE(client.bConnected);
    wakeup.requestStop();
    EXPECT_TRUE(connectWithRetries(client, "127.0.0.1", uPort, wakeup, times));
}

TEST_F(SocketsTest, ClientsThatComeAndGoUnservedUseUpNoFiles) {
    const long iBefore = openFiles();
    ParkedClients parked;
    const auto park = [&parked] {
        const auto [iServer, iClient] = makeConnection();
        parked.add(iServer, {});
        return iClient;
    };
    const Peer patient(park());
    for (int i = 0; i < 600; ++i) {
        Peer passer(park());
        passer.send(words({0, 8}));
        passer.close();
        parked.dropClosed();
        ASSERT_EQ(parked.count(), 1u);
    }
    int ends[300];
    for (int& iEnd : ends) iEnd = park();
    EXPECT_EQ(parked.count(), 301u) << "none is closed while descriptors last";
    close(std::exchange(ends[0], -1));
    parked.makeRoom();  // whose peer has left goes first
    EXPECT_EQ(parked.count(), 300u);
    EXPECT_FALSE(contains(takeLog(), "sent away"));
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &old), 0);
    const int iNext = dup(0);
    close(iNext);
    const rlimit few{static_cast<rlim_t>(iNext) + ParkedClients::SPARE_FILES, old.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    ends[0] = park();
    setrlimit(RLIMIT_NOFILE, &old);
    EXPECT_EQ(parked.count(), 300u);
    EXPECT_TRUE(patient.isClosed());
    EXPECT_TRUE(
        contains(takeLog(), "No descriptor is free (see ulimit -n): waiting client 0.0.0.0:0 is sent away, 1 "));
    for (const int iEnd : ends) close(iEnd);
    parked.dropClosed();
    EXPECT_EQ(parked.count(), 0u);
    EXPECT_EQ(openFiles(), iBefore + 1);  // the patient one's own end
}

}  // namespace
