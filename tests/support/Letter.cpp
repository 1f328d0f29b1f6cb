// A solid letter F, copied as a model file of each kind.
#include "support/Letter.h"

#include <sstream>

#include "support/FileTest.h"

namespace {

std::string copy(const std::string& sFile) {
    writeFile(sFile, readFile(RT_SOURCE_DIR "/tests/data/" + sFile));
    return sFile;
}

// An OBJ file with its vertices moved.
std::string placed(const std::string& sObj, const LetterPlace& at) {
    std::istringstream lines(sObj);
    std::string sText;
    for (std::string sLine; std::getline(lines, sLine); sText += sLine + "\n") {
        double x = 0, y = 0, z = 0;
        if (sscanf(sLine.c_str(), "v %lf %lf %lf", &x, &y, &z) != 3) continue;
        char szLine[100];
        snprintf(szLine, sizeof(szLine), "v %.9g %.9g %.9g", x * at.dScale + at.dX, y * at.dScale + at.dY,
                 z * at.dScale + at.dZ);
        sLine = szLine;
    }
    return sText;
}

}  // namespace

std::string writeLetter(const std::string& sSuffix, const LetterPlace& place) {
    const std::string sFile = copy("letter." + sSuffix);
    if (sSuffix == "gltf") copy("letter.bin");
    if (sSuffix == "obj") writeFile(sFile, placed(readFile(sFile), place));
    return sFile;
}

std::string writeLetterWithCamera() {
    copy("letter.bin");
    return copy("camera.gltf");
}
