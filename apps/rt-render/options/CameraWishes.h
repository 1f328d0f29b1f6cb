#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rt {

/// A view of the whole scene that has a name.
struct NamedView {
    const char* szName;
    double dTurn;       // degrees that the eye goes round to the right of the scene's front, which looks along z
    double dElevation;  // degrees above the horizon
};

/// From where the user wants to look, beyond the one view of the scene.
struct CameraWishes {
    std::vector<NamedView> vViews;                    // a picture each
    uint32_t uHemisphere = 0;                         // pictures from all around and above; 0: none
    uint32_t uSeed = 0;                               // which of the ways to spread them
    std::string sCameras;                             // a file of cameras, a picture each; empty: none
    std::string sWriteCameras;                        // where the cameras of all pictures go; empty: nowhere
    std::optional<std::array<double, 4>> intrinsics;  // focal lengths and principal point in pixels
    bool bParallel = false;                           // rays
    bool bSheet = false;                              // all pictures in one

    /// Whether the pictures are told apart by numbers or names in those of their files.
    bool isMany() const { return !vViews.empty() || uHemisphere || !sCameras.empty(); }
};

/// Reads names of views with commas between them. True when one of them is none, or none is there.
[[nodiscard]] bool readViews(const std::string& sText, std::vector<NamedView>& vViews);

/// The names that there are: "front, back".
std::string viewNames();

}  // namespace rt
