#pragma once

#include <assimp/scene.h>

#include <string>
#include <vector>

namespace rt {

/// Which axis of a file's numbers points up, 'x', 'y' or 'z': what the format says, or, of STL and PLY, which do not,
/// how the model stands. A notice tells of a guess that is not the usual one.
char upOf(const aiScene& scene, const std::string& sSuffix, std::vector<std::string>& vNotices);

}  // namespace rt
