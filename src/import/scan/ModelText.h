#pragma once
// What a format's reader gets in place of a model file whose bytes it would not understand.

#include <cstdint>
#include <cstdio>
#include <string>

namespace rt {

struct ModelText {
    std::string sText;  // the file's new bytes, when bReplaced
    bool bReplaced = false;
    std::string sHint;          // why its reader fails, if it does; empty when that is not known
    uint64_t uFaces = 0;        // that the file declares; 0 when it does not say
    char cUp = 0;               // the upright axis of the program that wrote it; 0 when that is not known
    bool bMeanNormals = false;  // the program wrote those of vertices, also where faces are flat

    /// The bytes as a stream, of the file itself or of sText, which must stay as it is as long as the stream is open.
    /// The caller closes it. Null with errno when there is none.
    FILE* open(const std::string& sFile) const;
};

/// Makes UTF-8 of a file in UTF-16, and takes the mark away that says so; other files stay as they are. True with the
/// reason in sReason when the file cannot be read.
[[nodiscard]] bool decodeText(const std::string& sFile, ModelText& text, std::string& sReason);

/// Turns a PLY file's strips into faces and takes away what else assimp 5.2 stumbles over: elements that are neither
/// vertices nor faces, a blank at the start of the data. Counts the faces. True with the reason in sReason when the
/// file is broken.
[[nodiscard]] bool rewritePly(const std::string& sFile, ModelText& text, std::string& sReason);

/// Counts the faces of an STL file in binary, an OFF file or a COLLADA file.
void countStl(const std::string& sFile, ModelText& text);
void countOff(const std::string& sFile, ModelText& text);
void countCollada(const std::string& sFile, ModelText& text);

/// Adds the rest of a stream to sText, or the next uMost bytes of it.
void readRest(FILE* pFile, std::string& sText, size_t uMost = SIZE_MAX);

}  // namespace rt
