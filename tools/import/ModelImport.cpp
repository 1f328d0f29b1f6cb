// Runs an import from the model file to the scene's files, in a child process.

#include "import/ModelImport.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>

#include "import/AssimpTypes.h"
#include "import/ModelReader.h"
#include "import/SceneWriter.h"
#include "import/Stage.h"

namespace Import {

namespace {

constexpr rlim_t LONGEST_SECONDS = 600;           // of processor time: a hundred million triangles
constexpr rlim_t LEAST_MEMORY = rlim_t{1} << 30;  // bytes of address space, libraries included
constexpr rlim_t MEMORY_A_BYTE = 200;             // of the file: seven are usual, but some formats are compressed

bool importHere(const std::string& sModel, const ScenePaths& paths, const ImportOptions& options, std::string& sMessage,
                std::vector<std::string>& vNotices) {
    Model model;
    if (readModel(sModel, options.cUp, options.bProgress, model, sMessage, vNotices)) return true;
    replaceMaterials(model, options.eMaterial);
    const SceneCamera camera = placeCamera(model, options);
    const std::vector<SceneLight> vLights = placeLights(model, camera);
    if (options.eMaterial == ImportOptions::MIRROR || options.eMaterial == ImportOptions::GLASS) {
        addRoom(model, camera);
    } else if (options.bGround) {
        addGround(model);
    }
    if (options.bProgress) fprintf(stderr, "\rwriting      ");
    if (writeScene(paths, model, camera, vLights, sMessage)) return true;
    sMessage = paths.sName + ": " + std::to_string(model.vVertices.size()) + " vertices, " +
               std::to_string(model.vTriangles.size()) + " triangles, " + std::to_string(model.vMaterials.size()) +
               " materials, " + std::to_string(vLights.size()) + " lights";
    return false;
}

// What the child tells: a line each, first the result as 0 or 1, then the message, then the notices.
void sendResult(int iPipe, bool bFailed, const std::string& sMessage, const std::vector<std::string>& vNotices) {
    std::string sText = std::string(bFailed ? "1" : "0") + "\n" + sMessage + "\n";
    for (const std::string& s : vNotices) sText += s + "\n";
    for (size_t u = 0; u < sText.size();) {
        const ssize_t i = write(iPipe, sText.data() + u, sText.size() - u);
        if (i <= 0) return;
        u += static_cast<size_t>(i);
    }
}

std::vector<std::string> receiveLines(int iPipe) {
    std::vector<std::string> vLines(1);
    char buffer[4096];
    for (ssize_t i; (i = read(iPipe, buffer, sizeof(buffer))) > 0;) {
        for (ssize_t u = 0; u < i; ++u) {
            if (buffer[u] == '\n')
                vLines.emplace_back();
            else
                vLines.back() += buffer[u];
        }
    }
    vLines.pop_back();
    return vLines;
}

// The sanitizers' shadow memory takes more address space than any limit allows.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool SANITIZED = true;
#else
constexpr bool SANITIZED = false;
#endif

// What reading may take: glTF keeps its numbers in another file, so only the machine is a measure for it.
rlim_t memoryFor(const std::string& sModel) {
    const rlim_t uMachine = static_cast<rlim_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
    struct stat status {};
    const bool bWhole = stat(sModel.c_str(), &status) == 0 && suffixOf(sModel) != "gltf";
    return bWhole ? std::min(uMachine, LEAST_MEMORY + MEMORY_A_BYTE * static_cast<rlim_t>(status.st_size)) : uMachine;
}

// Keeps a reader that a broken file leads astray from taking the machine with it, and from talking.
void limitChild(const std::string& sModel, bool bQuiet) {
    const rlim_t uMemory = SANITIZED ? RLIM_INFINITY : memoryFor(sModel);
    const rlimit memory{uMemory, uMemory};
    setrlimit(RLIMIT_AS, &memory);
    const rlimit time{LONGEST_SECONDS, LONGEST_SECONDS}, core{0, 0};
    setrlimit(RLIMIT_CPU, &time);
    setrlimit(RLIMIT_CORE, &core);
    const int iNowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(iNowhere, STDOUT_FILENO);
    if (bQuiet) dup2(iNowhere, STDERR_FILENO);
}

[[noreturn]] void runChild(pid_t iParent, int iPipe, const std::string& sModel, const ScenePaths& paths,
                           const ImportOptions& options) {
    std::string sMessage;
    std::vector<std::string> vNotices;
    bool bFailed = true;
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // nobody waits for the scene of a parent that was killed
    if (getppid() != iParent) _exit(1);
    limitChild(sModel, !options.bProgress);
    try {  // assimp throws on some broken files, and so does memory that does not suffice
        bFailed = importHere(sModel, paths, options, sMessage, vNotices);
    } catch (const std::exception& e) {
        sMessage = "cannot read " + sModel + ": " + e.what();
    }
    if (options.bProgress) fprintf(stderr, "\r             \r");
    sendResult(iPipe, bFailed, sMessage, vNotices);
    _exit(0);
}

}  // namespace

bool importModel(const std::string& sModel, const std::string& sScenesRoot, const std::string& sName,
                 const ImportOptions& options, std::string& sMessage, std::vector<std::string>& vNotices) {
    const ScenePaths paths{sScenesRoot, options.sWrittenRoot.empty() ? sScenesRoot : options.sWrittenRoot, sName};
    if (checkTarget(paths, options.bForce, sMessage)) return true;
    int iPipe[2];
    if (pipe(iPipe) != 0) return sMessage = std::string("cannot make a pipe: ") + strerror(errno), true;
    fflush(nullptr);  // or the child would write it again
    const pid_t iParent = getpid(), iChild = fork();
    if (iChild == 0) {
        close(iPipe[0]);
        runChild(iParent, iPipe[1], sModel, paths, options);
    }
    close(iPipe[1]);
    const std::vector<std::string> vLines = receiveLines(iPipe[0]);
    close(iPipe[0]);
    if (iChild == -1) return sMessage = std::string("cannot start a process: ") + strerror(errno), true;
    int iStatus = 0;
    while (waitpid(iChild, &iStatus, 0) == -1 && errno == EINTR) continue;
    if (vLines.size() < 2 || !WIFEXITED(iStatus)) {
        const bool bEndless = WIFSIGNALED(iStatus) && (WTERMSIG(iStatus) == SIGXCPU || WTERMSIG(iStatus) == SIGKILL);
        sMessage = "cannot read " + sModel +
                   (bEndless ? ": it takes more time or memory than there is" : ": its reader crashed");
        return true;
    }
    sMessage = vLines[1];
    vNotices.insert(vNotices.end(), vLines.begin() + 2, vLines.end());
    return vLines[0] != "0";
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

}  // namespace Import
