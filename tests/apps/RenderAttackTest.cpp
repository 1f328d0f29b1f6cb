// rt-render under attack: Ctrl-C at any moment, terminals.
#ifdef RT_RENDER
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>

#include <iterator>
#include <sstream>
#include <thread>

#include "apps/RenderSteps.h"
#include "shared/parts/ContentHash.h"

using namespace rt;

namespace {

// rt-render as a child to disturb; what it says is in the file "said".
class RenderProcess : public Process {
 public:
    explicit RenderProcess(const std::string& sArguments)
        : Process("exec >said 2>&1; exec " RT_RENDER " " + sArguments) {}

    // Waits for its workers. False when it has ended without.
    bool isRendering() {
        std::error_code error;
        while (!hasEnded()) {
            if (std::distance(fs::directory_iterator("/proc/" + id() + "/task", error), {}) > 1) return true;
            std::this_thread::yield();
        }
        return false;
    }

    // Waits for child processes, as the importer is one; none when it has ended.
    std::vector<pid_t> children() {
        while (!hasEnded()) {
            std::istringstream text(readFile("/proc/" + id() + "/task/" + id() + "/children"));
            const std::vector<pid_t> vChildren{std::istream_iterator<pid_t>(text), {}};
            if (!vChildren.empty()) return vChildren;
            std::this_thread::yield();
        }
        return {};
    }
};

// Enough to be disturbed, whatever the machine does.
const std::string LONG = "test --resolution 420 360 --samples 3 --packsize 16 --jobs 3 -o x.bmp ";

TEST_F(RenderTest, CtrlCAtAnyMomentKeepsThePictureAndResumeGoesOn) {
    ASSERT_EQ(render(LONG), 0);
    const std::string sWhole = readFile("x.bmp");
    fs::remove("x.bmp");
    unsigned uInterrupted = 0;
    for (int iPause = 0;; iPause += 7) {  // milliseconds; the longer, the more is done
        RenderProcess process(LONG + "--resume");
        if (process.isRendering()) std::this_thread::sleep_for(std::chrono::milliseconds(iPause));
        process.send(SIGINT);
        const int iStatus = process.wait();
        ASSERT_TRUE(iStatus == 0 || iStatus == 130) << iStatus << readFile("said");
        if (iStatus == 0) break;
        ++uInterrupted;
        EXPECT_TRUE(contains(readFile("said"), "x.part.bmp, --resume goes on from there")) << readFile("said");
        EXPECT_EQ(readFile("x.part.bmp").size(), sWhole.size());
        EXPECT_FALSE(fs::exists("x.bmp"));
    }
    EXPECT_GT(uInterrupted, 0u);
    EXPECT_EQ(firstDifference(readFile("x.bmp"), sWhole), "");
    EXPECT_EQ(list(), (std::vector<std::string>{"Scenes", "cache", "said", "x.bmp"})) << "no part is left";
}

TEST_F(RenderTest, OtherSettingsAndDamagedPartsAreNotResumed) {
    const auto interrupt = [] {
        RenderProcess process(LONG);
        EXPECT_TRUE(process.isRendering());
        process.send(SIGINT);
        EXPECT_EQ(process.wait(), 130);
    };
    interrupt();
    const std::string sOther = LONG + "--texattr 1 --resume --resolution 70 60";
    EXPECT_EQ(render(sOther), 0);
    EXPECT_TRUE(contains(sOutput, "starting anew")) << sOutput;
    const std::string sPicture = readFile("x.bmp");
    EXPECT_EQ(render(sOther), 0);
    EXPECT_EQ(sOutput, "") << "the part is gone";
    EXPECT_EQ(firstDifference(readFile("x.bmp"), sPicture), "");
    interrupt();
    const std::string sPart = readFile("x.part.bmp.resume");
    const size_t uHash = sPart.find('\n', sPart.find('\n') + 1) + 1, uBody = uHash + 33;
    const auto forged = [&](const std::string& sBody) {  // anybody can compute the hash
        ContentHash hash;
        hash.add(sBody);
        return sPart.substr(0, uHash) + hash.text() + "\n" + sBody;
    };
    const size_t uTiles = 27 * 23;
    const std::string sDamaged = sPart.substr(0, sPart.size() - 1) + static_cast<char>(sPart.back() ^ 1);
    const std::string sDone(uTiles, '\1'), sOdd = std::string(uTiles - 1, '\0') + '\2';
    ASSERT_EQ(forged(sPart.substr(uBody)), sPart);
    for (const std::string& s :
         {sDamaged, forged(sDone), forged(sOdd), forged(sPart.substr(uBody) + "x"), forged("")}) {
        writeFile("x.part.bmp.resume", s);
        EXPECT_EQ(render(LONG + "--resume"), 0);
        EXPECT_TRUE(contains(sOutput, "starting anew")) << sOutput;
    }
}

TEST_F(RenderTest, OrbitsGoOnAtTheFrameThatWasInterrupted) {
    const std::string sOrbit = "test --orbit 3 --resolution 210 180 --samples 4 -o x.bmp ";
    EXPECT_EQ(render(sOrbit), 0);
    const std::string sLast = readFile("x-0003.bmp");
    for (const char* sz : {"x-0001.bmp", "x-0002.bmp", "x-0003.bmp"}) fs::remove(sz);
    RenderProcess process(sOrbit);
    while (process.isRendering() && !fs::exists("x-0001.bmp")) std::this_thread::yield();
    process.send(SIGINT);
    ASSERT_EQ(process.wait(), 130) << readFile("said");
    writeFile("x-0001.bmp", "as it was");
    EXPECT_EQ(render(sOrbit + "--resume"), 0);
    EXPECT_EQ(firstDifference(readFile("x-0003.bmp"), sLast), "");
    EXPECT_EQ(readFile("x-0001.bmp"), "as it was");
}

#ifdef RT_IMPORT
void writeSheet() {
    std::string sModel;
    for (int i = 0; i < 20000; ++i) {
        const std::string sX = std::to_string(i % 100), sY = std::to_string(i / 100);
        sModel += "v " + sX + " " + sY + " 0\nv " + sX + ".8 " + sY + " 0\nv " + sX + " " + sY + ".8 0\nf -3 -2 -1\n";
    }
    writeFile("sheet.obj", sModel);
}

TEST_F(RenderTest, ModelsHaveWatertightRaysAndScenesTheTree) {
    writeSheet();
    const std::string sSmall = " -o x.bmp --resolution 40 30 ";
    const auto picture = [&](const std::string& sArguments) {
        EXPECT_EQ(render(sArguments + sSmall), 0) << sOutput;
        return readFile("x.bmp");
    };
    const std::string sModel = picture("sheet.obj"), sScene = picture("test --rays watertight --jobs 1");
    EXPECT_TRUE(cached().empty()) << "a tree was built";
    EXPECT_EQ(picture("sheet.obj --rays watertight --jobs 3"), sModel);
    EXPECT_EQ(picture("test --rays watertight --jobs 3"), sScene);
    picture("test");
    picture("sheet.obj --rays tree");
    EXPECT_EQ(cached().size(), 2u);
    EXPECT_EQ(render("test --rays" + sSmall), 2);
}

TEST_F(RenderTest, SignalsBeforeTheFirstPixelLeaveNothing) {
    writeSheet();
    const std::string sRun = "sheet.obj -o x.bmp --resolution 40 30";
    const auto tStart = std::chrono::steady_clock::now();
    EXPECT_EQ(render(sRun), 0) << sOutput;
    const auto tWhole = std::chrono::steady_clock::now() - tStart;
    EXPECT_EQ(list(), (std::vector<std::string>{"Scenes", "sheet.obj", "x.bmp"})) << "no tree is kept";
    for (int iPart = -2, iStatus = 1; iStatus; ++iPart) {  // all that is done before the picture gets its turn
        RenderProcess process(sRun + (iPart == -1 ? " 2>/dev/full" : ""));
        EXPECT_TRUE(iPart >= 0 || !process.children().empty()) << "the importer's child";
        if (iPart >= 0) std::this_thread::sleep_for(tWhole * iPart / 16);
        process.send(iPart < 0 ? SIGINT : iPart % 2 ? SIGTERM : SIGHUP);
        iStatus = process.wait();
        EXPECT_TRUE(iPart >= 0 || iStatus == 130) << iStatus << readFile("said");
        for (const char* sz : {"x.part.bmp", "x.part.bmp.resume"}) fs::remove(sz);
        for (const std::string& sName : list()) EXPECT_FALSE(contains(sName, "rt-render-")) << sName;
        for (const std::string& sName : cached()) {
            EXPECT_FALSE(contains(sName, "RayTracer-") || contains(sName, ".new")) << sName << ", sixteenth " << iPart;
        }
        if (iStatus) fs::remove_all("cache");
    }
}

TEST_F(RenderTest, TheImporterEndsWithItsKilledParent) {
    writeSheet();
    RenderProcess process("sheet.obj -o x.bmp");
    const std::vector<pid_t> vChildren = process.children();
    ASSERT_FALSE(vChildren.empty());
    const std::string sErrors = "/proc/" + std::to_string(vChildren[0]) + "/fd/2";
    std::error_code error;
    while (fs::exists(sErrors, error) && fs::read_symlink(sErrors, error) != "/dev/null") std::this_thread::yield();
    kill(vChildren[0], SIGSTOP);  // or it might end in time by itself
    process.send(SIGKILL);
    EXPECT_EQ(process.wait(), 1000 + SIGKILL);
    kill(vChildren[0], SIGCONT);
    const auto tLimit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (fs::exists(sErrors, error) && std::chrono::steady_clock::now() < tLimit) std::this_thread::yield();
    EXPECT_FALSE(fs::exists(sErrors, error)) << "the importer is still there";
    if (fs::exists(sErrors, error)) kill(vChildren[0], SIGKILL);
}
#endif

// All that a terminal shows of a run.
std::string shownOnTerminal(const std::string& sArguments) {
    const int iMaster = posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_EQ(grantpt(iMaster), 0);
    EXPECT_EQ(unlockpt(iMaster), 0);
    RenderProcess process(sArguments + " 2>" + ptsname(iMaster));
    std::string sShown;
    char buffer[4096];
    pollfd ready{iMaster, POLLIN, 0};
    for (bool bEnded = false;;) {
        const bool bMore = poll(&ready, 1, bEnded ? 0 : 20) > 0 && (ready.revents & POLLIN);
        const ssize_t iRead = bMore ? read(iMaster, buffer, sizeof(buffer)) : 0;
        if (iRead > 0) sShown.append(buffer, static_cast<size_t>(iRead));
        if (iRead <= 0 && bEnded) break;
        bEnded = bEnded || process.hasEnded();
    }
    close(iMaster);
    EXPECT_EQ(process.wait(), 0);
    return sShown;
}

TEST_F(RenderTest, ProgressIsShownOnTerminalsOnly) {
    if (!std::filesystem::exists("/dev/pts/ptmx")) GTEST_SKIP() << "there are no terminals in this root";
    std::string sShown;
    for (int iSamples = 2; iSamples < 64 && !contains(sShown, " left"); iSamples *= 2) {  // until it takes a while
        sShown = shownOnTerminal("test -o x.bmp --resolution 420 360 --samples " + std::to_string(iSamples));
    }
    EXPECT_TRUE(contains(sShown, "x.bmp: 0 %")) << sShown;
    EXPECT_TRUE(contains(sShown, " million camera rays a second, ")) << sShown;
    EXPECT_TRUE(contains(sShown, "x.bmp: 420 x 360 pixels, rendered in ")) << sShown;
    EXPECT_EQ(readFile("said"), "") << "standard output";
    EXPECT_EQ(shownOnTerminal("test -o x.bmp --quiet"), "");
}

}  // namespace
#endif
