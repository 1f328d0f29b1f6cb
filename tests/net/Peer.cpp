// The other end of a connection, scripted.
#include "net/Peer.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>
#include <utility>

#include "support/Files.h"

using namespace rt;

constexpr int GENEROUS_SECONDS = 60;

std::string words(std::initializer_list<uint32_t> vWords) {
    return {reinterpret_cast<const char*>(vWords.begin()), vWords.size() * 4};
}

bool waitUntil(const std::function<bool()>& pfnCondition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(GENEROUS_SECONDS);
    while (!pfnCondition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

std::array<int, 2> makeConnection() {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    return ends;
}

int connectTo(uint16_t uPort) {
    SocketClient client;
    EXPECT_FALSE(client.initClient("127.0.0.1", uPort));
    return std::exchange(client.iSocket, -1);
}

long openFiles(const std::string& sProcess) {
    return std::distance(std::filesystem::directory_iterator("/proc/" + sProcess + "/fd"), {});
}

long peakKilobytes(const std::string& sProcess) {
    const std::string sStatus = readFile("/proc/" + sProcess + "/status"), sName = "VmHWM:";
    return std::stol(sStatus.substr(sStatus.find(sName) + sName.size()));
}

void Peer::send(const std::string& sBytes) const {
    // The other end may have closed already; what it sent before tells.
    [[maybe_unused]] const ssize_t iSent = ::send(iSocket, sBytes.data(), sBytes.size(), MSG_NOSIGNAL);
}

std::string Peer::receive(size_t uBytes) const {
    std::string sBytes(uBytes, '\0');
    size_t uHave = 0;
    for (ssize_t iPart = 1; uHave < uBytes && iPart > 0; uHave += static_cast<size_t>(std::max<ssize_t>(iPart, 0))) {
        pollfd file{iSocket, POLLIN, 0};
        bTimeout = poll(&file, 1, GENEROUS_SECONDS * 1000) < 1;
        iPart = bTimeout ? 0 : recv(iSocket, &sBytes[uHave], uBytes - uHave, 0);
    }
    sBytes.resize(uHave);
    return sBytes;
}

void Peer::shut() const {
    shutdown(iSocket, SHUT_WR);
}

void Peer::close() {
    if (iSocket != -1) ::close(iSocket);
    iSocket = -1;
}

TestServer::TestServer(uint32_t uWidth, uint32_t uHeight, uint32_t uPackSize, uint32_t uSlots) {
    parameters.uWidth = uWidth;
    parameters.uHeight = uHeight;
    parameters.uPackSize = uPackSize;
    EXPECT_FALSE(wakeup.init());
    EXPECT_FALSE(image.create(uWidth, uHeight));
    memset(image.pData, 0, image.uSize);
    EXPECT_FALSE(board.create(parameters, image, wakeup));
    EXPECT_FALSE(slots.create(uSlots, board, wakeup.file()));
}

int TestServer::connect() {
    const auto [iServer, iClient] = makeConnection();
    if (!loop.startClient(iServer, {})) return iClient;
    close(iServer);
    close(iClient);
    return -1;
}

int TestServer::connectWhenFree() {
    int iEnd = -1;
    EXPECT_TRUE(waitUntil([&] { return (iEnd = connect()) != -1; }));
    return iEnd;
}

void TestServer::finish() {
    while (!board.isDone()) {
        const int iEnd = connect();
        if (iEnd != -1) deliver(Peer(iEnd), UINT32_MAX);
    }
}

std::string TestServer::pixels(const Task& task) const {
    std::string sPixels;
    for (uint32_t y = task.uY; y < task.uY + task.uRows; ++y) {
        for (uint32_t x = 3 * task.uX; x < 3 * (task.uX + task.uColumns); ++x) {
            sPixels += static_cast<char>(1 + (x * 7 + y * 31) % 255);
        }
    }
    return sPixels;
}

unsigned TestServer::deliver(const Peer& peer, unsigned uTiles) const {
    peer.send(words({0, 8}));
    const std::string sFirst = peer.receive(8);
    if (sFirst == words({5, 8}) || sFirst.empty()) return 0;  // the last task was taken meanwhile, or all are done
    EXPECT_EQ(sFirst, words({1, 12}));
    EXPECT_EQ(peer.receive(576), words({572}) + bytesOf(parameters));
    unsigned uDone = 0;
    for (peer.send(words({2, 8})); uDone < uTiles; ++uDone, peer.send(words({2, 8}))) {
        const std::string sHeader = peer.receive(8);
        if (sHeader == words({5, 8})) break;
        EXPECT_EQ(sHeader, words({3, 32}));
        uint32_t task[6] = {};
        memcpy(task, peer.receive(24).data(), 24);
        const std::string sPixels = pixels(board.vTasks[task[0]]);
        peer.send(words({4, 16, task[0], static_cast<uint32_t>(sPixels.size())}) + sPixels);
    }
    return uDone;
}

bool TestServer::isComplete() const {
    const std::string sAll = pixels({0, 0, 0, parameters.uWidth, parameters.uHeight, 0, nullptr, false, false});
    return memcmp(image.pData, sAll.data(), sAll.size()) == 0;
}
