#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "net/ParkedClients.h"
#include "net/Peer.h"
#include "support/FileTest.h"

namespace {

using SocketsTest = FileTest;

unsigned openFiles() {
    unsigned uCount = 0;
    DIR* pDirectory = opendir("/proc/self/fd");
    while (readdir(pDirectory)) ++uCount;
    closedir(pDirectory);
    return uCount;
}

TEST_F(SocketsTest, ListensConnectsAndCarriesAMessageInPieces) {
    SocketServer server;
    ASSERT_FALSE(server.initServer(0, 4));
    SocketClient client;
    ASSERT_FALSE(client.initClient("localhost", server.uPort));
    EXPECT_STREQ(client.szIP, "localhost");
    ASSERT_FALSE(server.checkRequest());
    const Peer peer(server.iClientSocket);
    std::string sText(100, ' ');
    std::thread sender([&] {
        for (int i = 0; i < 10; ++i) peer.send("0123456789");
    });
    EXPECT_FALSE(client.getResponse(sText.data(), 95));
    sender.join();
    EXPECT_EQ(sText.substr(0, 95),
              "01234567890123456789012345678901234567890123456789"
              "012345678901234567890123456789012345678901234");
    // Rows with gaps between them, more than one call takes; what lies in the gaps stays.
    peer.send(std::string(300, 'a'));
    std::string sRows(400, '-');
    EXPECT_FALSE(client.getRows(reinterpret_cast<uint8_t*>(sRows.data()), 3, 100, 4));
    EXPECT_EQ(sRows.substr(0, 16), "567-89a-aaa-aaa-");
    EXPECT_EQ(sRows.substr(392), "aaa-aaa-");
}

TEST_F(SocketsTest, FailuresAreReportedAndLeaveNoFileOpen) {
    const unsigned uBefore = openFiles();
    SocketServer server;
    ASSERT_FALSE(server.initServer(0, 1));
    SocketServer second;
    EXPECT_TRUE(second.initServer(server.uPort, 1));
    EXPECT_NE(takeLog().find("[Sockets.cpp | initServer | LINE: "), std::string::npos);
    const uint16_t uPort = server.uPort;
    server.release();
    EXPECT_FALSE(server.bConnected);
    SocketClient client;
    EXPECT_TRUE(client.initClient("127.0.0.1", uPort));
    EXPECT_NE(takeLog().find(">> connect() failed\n\n"), std::string::npos);
    EXPECT_TRUE(client.initClient("a host text of 30 characters..", uPort));
    EXPECT_TRUE(client.initClient("no.such.host.invalid", uPort));
    EXPECT_NE(takeLog().find(">> getaddrinfo() failed!\n\n"), std::string::npos);
    EXPECT_EQ(openFiles(), uBefore);
}

TEST_F(SocketsTest, AReleasedWrapperNeverClosesANumberThatIsUsedAgain) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    SocketClient client;
    client.initClient(ends[0], {});
    client.release();
    const int iReused = dup(ends[1]);
    ASSERT_EQ(iReused, ends[0]);
    client.release();
    EXPECT_NE(fcntl(iReused, F_GETFD), -1);
    EXPECT_TRUE(client.getResponse(ends, 4));
    EXPECT_TRUE(client.sendPacket(ends, 4));
    close(iReused);
    close(ends[1]);
}

TEST_F(SocketsTest, WaitsEndWithTheWakeupAndWithAStalledPeer) {
    Wakeup wakeup;
    ASSERT_FALSE(wakeup.init());
    TestServer server(1, 1, 1, 1);
    const Peer peer(server.connect());
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const Peer other(ends[1]);
    SocketClient client;
    client.initClient(ends[0], {});
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

TEST_F(SocketsTest, ClientsThatComeAndGoUnservedUseUpNoFiles) {
    const unsigned uBefore = openFiles();
    ParkedClients parked;
    const auto park = [&parked] {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        parked.add(ends[0]);
        return ends[1];
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
    EXPECT_EQ(parked.count(), ParkedClients::MAX_PARKED);
    EXPECT_TRUE(patient.isClosed());
    for (const int iEnd : ends) close(iEnd);
    parked.dropClosed();
    EXPECT_EQ(parked.count(), 0u);
    EXPECT_EQ(openFiles(), uBefore + 1);  // the patient one's own end
}

}  // namespace
