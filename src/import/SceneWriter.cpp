// Writes an imported scene's five files, all of them or none.

#include "import/SceneWriter.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/OutputFile.h"
#include "base/TextWriter.h"
#include "import/ModelStaging.h"
#include "import/SignalBlock.h"

namespace rt {

using Velk::OutputFile;
using Velk::TextWriter;

namespace {

constexpr size_t LONGEST_PATH = 255;                                  // of a line in a description
constexpr const char* SUFFIXES[] = {".brs", ".cam", ".atr", ".lgt"};  // in the description's order

std::string folderOf(const ScenePaths& paths) {
    return paths.sRoot + "/" + paths.sName;
}

std::string descriptionOf(const ScenePaths& paths) {
    return paths.sRoot + "/scene_descs/" + paths.sName + ".txt";
}

bool exists(const std::string& sFile) {
    struct stat status {};
    return stat(sFile.c_str(), &status) == 0;
}

// Directories that were made on the way, for a signal handler to find: changed only while signals are blocked.
std::vector<std::string> g_vMade;

void removeDirectories() {
    for (auto i = g_vMade.rbegin(); i != g_vMade.rend(); ++i) rmdir(i->c_str());
}

// Makes directories, which go with it unless the scene is complete.
class NewDirectories {
 public:
    ~NewDirectories() {
        const SignalBlock block;
        const int iErrno = errno;
        removeDirectories();
        keep();
        errno = iErrno;
    }
    void keep() { g_vMade.clear(); }

    bool make(const std::string& sPath) {
        for (size_t uSlash = 0; uSlash != std::string::npos;) {
            uSlash = sPath.find('/', uSlash + 1);
            const std::string sPart = sPath.substr(0, uSlash);
            const SignalBlock block;
            if (mkdir(sPart.c_str(), 0777) == 0) {
                g_vMade.push_back(sPart);
                continue;
            }
            const int iErrno = errno;
            if (iErrno != EEXIST && !exists(sPart)) return errno = iErrno, true;
        }
        return false;
    }
};

// Gives the files their names, all or none. On failure the number of the file that is to blame is in uFailed.
bool commitAll(OutputFile (&files)[5], const std::string (&sFiles)[5], unsigned& uFailed) {
    // A disk that is full may say so only now. Later, only a rename can fail.
    for (uFailed = 0; uFailed < 5; ++uFailed) {
        if (fflush(files[uFailed].stream()) != 0 || ferror(files[uFailed].stream())) return true;
        if (fsync(fileno(files[uFailed].stream())) != 0 && errno != EINVAL && errno != EROFS) return true;
    }
    bool bNew[5] = {};
    for (uFailed = 0; uFailed < 5; ++uFailed) {
        bNew[uFailed] = !exists(sFiles[uFailed]);
        if (!files[uFailed].commit()) continue;
        const int iErrno = errno;
        for (unsigned u = 0; u < uFailed; ++u) {
            if (bNew[u]) unlink(sFiles[u].c_str());
        }
        return errno = iErrno, true;
    }
    return false;
}

void writePoint(TextWriter& out, const Velk::NMVector3f& p) {
    out.shortest(p.x).character(' ').shortest(p.y).character(' ').shortest(p.z);
}

void writePoint(TextWriter& out, const Vector3d& p) {
    writePoint(out, Velk::NMVector3f{static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)});
}

void writeGeometry(FILE* pFile, const Model& model) {
    TextWriter out(pFile);
    out.text("vertices ").number(static_cast<uint32_t>(model.vVertices.size())).character('\n');
    for (const Velk::NMVector3f& p : model.vVertices) {
        writePoint(out, p);
        out.character('\n');
    }
    out.text("\ntriangles ").number(static_cast<uint32_t>(model.vTriangles.size())).character('\n');
    for (const ModelTriangle& t : model.vTriangles) {
        out.number(t.uVertices[0])
            .character(' ')
            .number(t.uVertices[1])
            .character(' ')
            .number(t.uVertices[2])
            .character('\n');
    }
    out.character('\n');
    for (size_t u = 0; u < model.vTriangles.size(); ++u) {
        out.number(model.vTriangles[u].uMaterial).character(u % 10 == 9 ? '\n' : ' ');
    }
    out.character('\n');
}

void writeCamera(FILE* pFile, const SceneCamera& camera) {
    TextWriter out(pFile);
    out.text("Camera imported\nviewpoint ");
    writePoint(out, camera.v3Eye);
    out.text("\nscreen\n");
    for (const Vector3d& v3Corner : camera.v3Corners) {
        writePoint(out, v3Corner);
        out.character('\n');
    }
    out.text("resolution ").number(camera.uWidth).character(' ').number(camera.uHeight).character('\n');
}

void writeMaterials(FILE* pFile, const Model& model) {
    TextWriter out(pFile);
    const auto line = [&](const char* szKeyword, double d) {
        out.text(szKeyword).shortest(static_cast<float>(d)).character('\n');
    };
    for (const ModelMaterial& m : model.vMaterials) {
        out.text("Attr ").text(materialWord(m.sName).c_str()).character('\n');
        line("kd ", m.dDiffuse);
        line("ks ", m.dSpecular);
        out.text("gs ").number(m.uExponent).character('\n');
        line("kts ", m.dReflection);
        line("kf ", 1.0 - m.dTransmission);
        line("eta ", m.dEta);
        out.text("color ").number(m.vColour[0]).character(' ').number(m.vColour[1]).character(' ').number(m.vColour[2]);
        out.text(m.bSmooth ? "\nshading smooth\nenddef\n\n" : "\nshading flat\nenddef\n\n");
    }
}

void writeLights(FILE* pFile, const std::vector<SceneLight>& vLights) {
    TextWriter out(pFile);
    out.number(static_cast<uint32_t>(vLights.size())).character('\n');
    for (const SceneLight& light : vLights) {
        writePoint(out, light.v3Position);
        out.character(' ').shortest(static_cast<float>(light.dFlux)).text(" 0 -1 0\n");
    }
}

void writeDescription(FILE* pFile, const ScenePaths& paths) {
    const std::string sStem = paths.sWritten + "/" + paths.sName + "/" + paths.sName;
    for (const char* szSuffix : SUFFIXES) fprintf(pFile, "%s%s\n", sStem.c_str(), szSuffix);
}

}  // namespace

bool checkTarget(const ScenePaths& paths, bool bForce, std::string& sMessage) {
    const std::string& sName = paths.sName;
    const bool bOdd = std::any_of(sName.begin(), sName.end(), [](unsigned char c) { return c <= ' ' || c == '/'; });
    if (sName.empty() || sName[0] == '.' || sName[0] == '-' || bOdd) {
        sMessage = "not fit for a scene's name: \"" + sName + "\"";
    } else if (paths.sRoot.empty() ||
               std::any_of(paths.sWritten.begin(), paths.sWritten.end(), [](unsigned char c) { return c < ' '; })) {
        sMessage = "not fit for the scenes' directory: \"" + paths.sRoot + "\"";
    } else if (paths.sWritten.size() + 2 * sName.size() + 6 > LONGEST_PATH) {
        sMessage = "the scene's paths would be longer than 255 characters: \"" + paths.sWritten + "/" + sName + "\"";
    } else if (!bForce && (exists(descriptionOf(paths)) || exists(folderOf(paths) + "/" + sName + ".brs"))) {
        sMessage = "there is a scene \"" + sName + "\" already; --force replaces it";
    } else {
        return false;
    }
    return true;
}

bool writeScene(const ScenePaths& paths, const Model& model, const SceneCamera& camera,
                const std::vector<SceneLight>& vLights, std::string& sMessage) {
    const std::string sStem = folderOf(paths) + "/" + paths.sName;
    const std::string sFiles[] = {sStem + SUFFIXES[0], sStem + SUFFIXES[1], sStem + SUFFIXES[2], sStem + SUFFIXES[3],
                                  descriptionOf(paths)};
    NewDirectories directories;
    OutputFile files[5];  // after the directories, so that their temporary files go first
    const auto fail = [&](const std::string& sFile) {
        sMessage = "cannot write " + sFile + ": " + (errno ? strerror(errno) : "it is no regular file");
        return true;
    };
    if (directories.make(folderOf(paths))) return fail(folderOf(paths));
    if (directories.make(paths.sRoot + "/scene_descs")) return fail(paths.sRoot + "/scene_descs");
    for (unsigned u = 0; u < 5; ++u) {
        if (files[u].open(sFiles[u].c_str())) return fail(sFiles[u]);
    }
    writeGeometry(files[0].stream(), model);
    writeCamera(files[1].stream(), camera);
    writeMaterials(files[2].stream(), model);
    writeLights(files[3].stream(), vLights);
    writeDescription(files[4].stream(), paths);
    unsigned uFailed = 0;
    const SignalBlock block;  // or a signal could come between the last file and keep()
    if (commitAll(files, sFiles, uFailed)) return fail(sFiles[uFailed]);
    directories.keep();
    return false;
}

void removeUnfinishedScene() {
    OutputFile::removeUnfinished();
    removeDirectories();
}

}  // namespace rt
