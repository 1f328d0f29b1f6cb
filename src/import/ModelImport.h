#pragma once
// Turns a model file of any format that assimp reads into a complete scene of this program.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rt {

/// What a user may ask of an import. The defaults give a framed and lit picture of any model.
struct ImportOptions {
    /// KEEP takes the file's materials; the others give the whole model one material.
    enum Material { KEEP, MATTE, MIRROR, GLASS };

    bool bGround = false;                        // a square under the model
    std::optional<double> dTurn;                 // degrees the eye goes round the model, to the right of its front
    std::optional<double> dElevation;            // degrees of the eye above the horizon
    std::optional<double> dFov;                  // horizontal field of view in degrees
    std::optional<std::array<double, 3>> vFrom;  // eye, in the scene's coordinates
    std::optional<std::array<double, 3>> vAt;    // what it looks at; the model's centre when only vFrom is given
    std::optional<uint32_t> uWidth, uHeight;     // pixels
    Material eMaterial = KEEP;
    char cUp = 0;                // 'x', 'y' or 'z'; 0 is the format's own convention
    bool bAllowOutside = false;  // a model may name files outside its directory
    bool bForce = false;         // replaces a scene of the same name
    bool bProgress = false;      // one line on stderr that is overwritten
    std::string sWrittenRoot;    // how the description names sScenesRoot; empty: the same
};

/// Imports the model file sModel as the scene sName: sScenesRoot/scene_descs/NAME.txt and
/// sScenesRoot/NAME/NAME.{brs,cam,atr,lgt}. The description holds paths that begin with sScenesRoot (or sWrittenRoot),
/// so an absolute root makes a scene that loads from everywhere.
///
/// True on failure, with one line in sMessage and nothing left behind; sMessage says what was imported otherwise.
/// On success, vNotices gets one line for each thing that the scene cannot show as the model has it. The file is read
/// in a child process, so that one that crashes its reader is a failure like any other; when this process dies, that
/// one removes what it has begun and ends. All texts are safe for a terminal. Requires a process of one thread.
[[nodiscard]] bool importModel(const std::string& sModel, const std::string& sScenesRoot, const std::string& sName,
                               const ImportOptions& options, std::string& sMessage, std::vector<std::string>& vNotices);

/// Ends the import that runs, if any, and returns when it has left nothing behind, or is complete. importModel() must
/// not go on after that. For a signal handler.
void stopImport();

/// The name that a scene gets when the user gives none: the file's, with every character but letters, digits, '.', '_'
/// and '-' turned into '_'.
std::string sceneNameOf(const std::string& sModel);

}  // namespace rt

