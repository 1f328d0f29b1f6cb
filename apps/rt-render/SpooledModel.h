#pragma once

#include <string>

namespace rt {

/// A model from standard input in a file of its own, in a directory that nobody else may enter, so that it can name no
/// files of others. Both go with the object, or with a signal.
class SpooledModel {
 public:
    SpooledModel() = default;
    ~SpooledModel();
    SpooledModel(const SpooledModel&) = delete;
    SpooledModel& operator=(const SpooledModel&) = delete;

    /// Copies standard input to its end into a file of this name. True on failure, which is reported.
    [[nodiscard]] bool take(const std::string& sName);

    const std::string& file() const { return sFile; }

 private:
    std::string sDirectory, sFile;
};

}  // namespace rt
