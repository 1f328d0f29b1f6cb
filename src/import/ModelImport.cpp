// Runs an import from the model file to a scene in files or in memory; the file is read in a child process.

#include "import/ModelImport.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>

#include "base/Printable.h"
#include "import/ModelStaging.h"
#include "import/SceneWriter.h"
#include "import/Stage.h"
#include "import/files/ReaderLimits.h"
#include "import/reader/ModelReader.h"

namespace rt {

namespace {

constexpr size_t MOST_NOTICES = 100;  // that are told
constexpr int STOPPED = SIGUSR1;      // tells the child that nobody wants its scene any more

std::atomic<pid_t> g_iChild{0};
static_assert(std::atomic<pid_t>::is_always_lock_free, "used in a signal handler");

// What the child does with a model that is on stage. True on failure, with the reason in sMessage.
using Deliver = std::function<bool(Model& model, const SceneCamera& camera, const std::vector<SceneLight>& vLights,
                                   std::string& sMessage)>;

bool importHere(const std::string& sModel, const ImportOptions& options, const Deliver& deliver, std::string& sMessage,
                std::vector<std::string>& vNotices) {
    Model model;
    if (readModel(sModel, options, model, sMessage, vNotices)) return true;
    replaceMaterials(model, options.eMaterial);
    const SceneCamera camera = placeCamera(model, options, vNotices);
    const std::vector<SceneLight> vLights = placeLights(model, camera);
    const bool bMirrors = options.eMaterial == ImportOptions::MIRROR || options.eMaterial == ImportOptions::GLASS;
    if (bMirrors && !options.bStudio) {
        addRoom(model, camera);
    } else if (options.bGround) {
        addGround(model);
    }
    if (options.bProgress) fprintf(stderr, "\rwriting      ");
    if (deliver(model, camera, vLights, sMessage)) return true;
    sMessage = std::to_string(model.vVertices.size()) + " vertices, " + std::to_string(model.vTriangles.size()) +
               " triangles, " + std::to_string(model.vMaterials.size()) + " materials, " +
               std::to_string(vLights.size()) + " lights";
    return false;
}

// What the child tells: first the result as 0 or 1, then the message, then the notices. Each ends with a zero: the
// texts of a model may hold line breaks.
void sendResult(int iPipe, bool bFailed, const std::string& sMessage, const std::vector<std::string>& vNotices) {
    std::string sText = bFailed ? "1" : "0";
    const auto add = [&sText](const std::string& s) { sText.append(1, '\0').append(s.c_str()); };
    add(sMessage);
    const size_t uTold = std::min(vNotices.size(), MOST_NOTICES);
    for (size_t u = 0; u < uTold; ++u) add(vNotices[u]);
    if (uTold < vNotices.size()) add("and " + std::to_string(vNotices.size() - uTold) + " more like these");
    sText += '\0';
    for (size_t u = 0; u < sText.size();) {
        const ssize_t i = write(iPipe, sText.data() + u, sText.size() - u);
        if (i <= 0) return;
        u += static_cast<size_t>(i);
    }
}

std::vector<std::string> receiveTexts(int iPipe) {
    std::vector<std::string> vTexts(1);
    char buffer[4096];
    for (ssize_t i; (i = read(iPipe, buffer, sizeof(buffer))) > 0 || (i < 0 && errno == EINTR);) {
        for (ssize_t u = 0; u < i; ++u) {
            if (buffer[u] == '\0')
                vTexts.emplace_back();
            else
                vTexts.back() += buffer[u];
        }
    }
    vTexts.pop_back();
    return vTexts;
}

// A pipe that is none of the standard streams, which may be closed. True on failure.
bool makePipe(int (&iEnds)[2]) {
    int iPipe[2];
    if (pipe(iPipe) != 0) return true;
    for (unsigned u = 0; u < 2; ++u) iEnds[u] = fcntl(iPipe[u], F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int iErrno = errno;
    for (const int i : iPipe) close(i);
    if (iEnds[0] != -1 && iEnds[1] != -1) return false;
    for (const int i : iEnds) close(i);
    errno = iErrno;
    return true;
}

// Readers talk.
void silence(bool bQuiet) {
    const int iNowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(iNowhere, STDOUT_FILENO);
    if (bQuiet) dup2(iNowhere, STDERR_FILENO);
}

void endChild(int iSignal) {
    removeUnfinishedScene();
    signal(iSignal, SIG_DFL);
    raise(iSignal);  // delivered when this returns
}

// Signals end the child without anything left behind. Those that its parent ignores stay ignored. A file that gets too
// large is a failed write.
void handleSignals(pid_t iParent, const sigset_t& mask) {
    struct sigaction action {};
    action.sa_handler = endChild;
    sigfillset(&action.sa_mask);
    for (const int iSignal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU, STOPPED}) {
        struct sigaction before {};
        sigaction(iSignal, nullptr, &before);
        if (before.sa_handler != SIG_IGN || iSignal == SIGXCPU || iSignal == STOPPED)
            sigaction(iSignal, &action, nullptr);
    }
    signal(SIGXFSZ, SIG_IGN);
    signal(SIGPIPE, SIG_IGN);
    prctl(PR_SET_PDEATHSIG, STOPPED);
    sigset_t open = mask;
    sigdelset(&open, STOPPED);
    sigdelset(&open, SIGXCPU);
    sigprocmask(SIG_SETMASK, &open, nullptr);
    if (getppid() != iParent) _exit(1);
}

[[noreturn]] void runChild(int iPipe, const std::string& sModel, const ImportOptions& options, const Deliver& deliver) {
    std::string sMessage;
    std::vector<std::string> vNotices;
    bool bFailed = true;
    limitReader();
    silence(!options.bProgress);
    try {  // assimp throws on some broken files, and so does memory that does not suffice
        bFailed = importHere(sModel, options, deliver, sMessage, vNotices);
    } catch (const std::exception& e) {
        sMessage = "cannot read " + sModel + ": " + readerReason(sModel, e.what());
    }
    if (options.bProgress) fprintf(stderr, "\r             \r");
    sendResult(iPipe, bFailed, sMessage, vNotices);
    _exit(0);
}

// Starts the child. Its number, -1 on failure.
pid_t startChild(const int (&iPipe)[2], const std::string& sModel, const ImportOptions& options,
                 const Deliver& deliver) {
    const pid_t iParent = getpid();
    sigset_t all, before;
    sigfillset(&all);
    fflush(nullptr);                          // or the child would write it again
    sigprocmask(SIG_SETMASK, &all, &before);  // until either side is ready for signals
    const pid_t iChild = fork();
    if (iChild == 0) {
        close(iPipe[0]);
        handleSignals(iParent, before);
        runChild(iPipe[1], sModel, options, deliver);
    }
    if (iChild > 0) g_iChild = iChild;
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return iChild;
}

// What a child's end means that told nothing.
std::string endOf(int iStatus) {
    const int iSignal = WIFSIGNALED(iStatus) ? WTERMSIG(iStatus) : 0;
    if (iSignal == SIGXCPU || iSignal == SIGKILL) return "it takes more time or memory than there is";
    if (iSignal == SIGHUP || iSignal == SIGINT || iSignal == SIGTERM) return "its reader was stopped";
    return "its reader crashed";
}

bool importUnsafe(const std::string& sModel, const ImportOptions& options, const Deliver& deliver,
                  std::string& sMessage, std::vector<std::string>& vNotices) {
    int iPipe[2];
    if (makePipe(iPipe)) return sMessage = std::string("cannot make a pipe: ") + strerror(errno), true;
    const pid_t iChild = startChild(iPipe, sModel, options, deliver);
    const int iErrno = errno;
    close(iPipe[1]);
    const std::vector<std::string> vTexts = receiveTexts(iPipe[0]);
    close(iPipe[0]);
    if (iChild == -1) return sMessage = std::string("cannot start a process: ") + strerror(iErrno), true;
    int iStatus = 0;
    while (waitpid(iChild, &iStatus, 0) == -1 && errno == EINTR) continue;
    g_iChild = 0;
    if (vTexts.size() < 2) return sMessage = "cannot read " + sModel + ": " + endOf(iStatus), true;
    sMessage = vTexts[1];
    if (vTexts[0] != "0") return true;  // what the scene would have lacked is of no interest
    vNotices.insert(vNotices.end(), vTexts.begin() + 2, vTexts.end());
    return false;
}

void makeSafe(std::string& sMessage, std::vector<std::string>& vNotices) {
    sMessage = Velk::Printable(sMessage.c_str()).text();
    for (std::string& s : vNotices) s = Velk::Printable(s.c_str()).text();
}

}  // namespace

bool importModel(const std::string& sModel, const std::string& sScenesRoot, const std::string& sName,
                 const ImportOptions& options, std::string& sMessage, std::vector<std::string>& vNotices) {
    const ScenePaths paths{sScenesRoot, options.sWrittenRoot.empty() ? sScenesRoot : options.sWrittenRoot, sName};
    const Deliver deliver = [&paths](const Model& model, const SceneCamera& camera,
                                     const std::vector<SceneLight>& vLights, std::string& sReason) {
        return writeScene(paths, model, camera, vLights, sReason);
    };
    const bool bFailed =
        checkTarget(paths, options.bForce, sMessage) || importUnsafe(sModel, options, deliver, sMessage, vNotices);
    if (!bFailed) sMessage = sName + ": " + sMessage;
    makeSafe(sMessage, vNotices);
    return bFailed;
}

bool importModel(const std::string& sModel, const ImportOptions& options, StagedScene& scene, std::string& sMessage,
                 std::vector<std::string>& vNotices) {
    const int iFile = memfd_create("model", MFD_CLOEXEC);
    if (iFile == -1) return sMessage = std::string("cannot make room for a model: ") + strerror(errno), true;
    const Deliver deliver = [iFile](Model& model, const SceneCamera& camera, const std::vector<SceneLight>& vLights,
                                    std::string& sReason) {
        if (!stageModel(model, camera, vLights).send(iFile)) return false;
        sReason = std::string("cannot hand the model over: ") + strerror(errno);
        return true;
    };
    bool bFailed = importUnsafe(sModel, options, deliver, sMessage, vNotices);
    if (!bFailed && scene.receive(iFile)) {
        sMessage = "cannot read " + sModel + ": its reader went astray";
        bFailed = true;
    }
    close(iFile);
    makeSafe(sMessage, vNotices);
    return bFailed;
}

void stopImport() {
    const pid_t iChild = g_iChild;
    if (iChild <= 0) return;
    kill(iChild, STOPPED);
    kill(iChild, SIGCONT);  // if somebody has halted it
    waitpid(iChild, nullptr, 0);
}

std::string sceneNameOf(const std::string& sModel) {
    std::string sName = sModel.substr(sModel.rfind('/') + 1);
    const size_t uDot = sName.rfind('.');
    if (uDot != 0 && uDot != std::string::npos) sName.resize(uDot);
    for (char& c : sName) {
        if (!isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '-' && c != '_') c = '_';
    }
    if (!sName.empty() && (sName[0] == '.' || sName[0] == '-')) sName[0] = '_';
    return sName;
}

}  // namespace rt
