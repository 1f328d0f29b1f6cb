#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace rt {

/// A part of a mesh, as its file has it: the name of a node, and the names on the way down to it with slashes between.
struct ScenePart {
    std::string sName;
    std::string sPath;

    /// Longer paths are cut.
    static constexpr size_t LONGEST = 1000;

    /// A part with this name below a path, which may be empty.
    static ScenePart below(const std::string& sAbove, const std::string& sName);
};

/// To which part each face belongs. A scene that knows of no parts has one, which is number 0.
struct SceneParts {
    /// The faces from uFirst on, up to the next run, are of one part.
    struct Run {
        uint32_t uFirst, uPart;
    };
    static_assert(sizeof(Run) == 8, "runs are sent as bytes");

    std::vector<ScenePart> vParts;
    std::vector<Run> vRuns;  // ascending, from face 0 on; the last may have no face; empty when there are no parts

    /// The faces that come after the first uFaces are of part uPart.
    void startRun(uint32_t uFaces, uint32_t uPart);

    /// Ends the last run at uFaces, and forgets the parts without faces.
    void finish(uint32_t uFaces);

    uint32_t partOf(uint32_t uFace) const;

    /// The number of faces of each part; of one part when there are none.
    std::vector<uint32_t> counts(uint32_t uFaces) const;

    /// True when runs and parts do not fit each other and so many faces.
    [[nodiscard]] bool areWrong(uint64_t uFaces) const;
};

}  // namespace rt
