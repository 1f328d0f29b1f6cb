#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

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
    char cUp = 0;           // 'x', 'y' or 'z'; 0 is the format's own convention
    bool bOwnAxes = false;  // the file's own numbers: nothing is turned, mirrored, scaled or moved; no pictures then
    bool bStudio = false;   // whoever renders it has a studio: mirrors need no room around them
    bool bColours = false;  // whoever renders it takes textures and colours of vertices
    bool bAllowOutside = false;  // a model may name files outside its directory
    bool bCameraOfFile = false;  // takes the file's camera whatever it shows
    bool bForce = false;         // replaces a scene of the same name
    bool bProgress = false;      // one line on stderr that is overwritten
    std::string sWrittenRoot;    // how the description names sScenesRoot; empty: the same
};

}  // namespace rt
