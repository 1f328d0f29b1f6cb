// Reads and writes transforms.json, the file of cameras that tools for photogrammetry and radiance fields share.
#include "rt-render/cameras/CameraFile.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <nlohmann/json.hpp>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"
#include "base/OutputFile.h"
#include "shared/Console.h"

namespace rt {

using nlohmann::json;

namespace {

constexpr size_t MOST_CAMERAS = 9999;
constexpr size_t MOST_BYTES = size_t{64} << 20;
constexpr size_t LONGEST_NAME = 100;
constexpr double ROTATION = 1e-3;  // how far the axes of a pose may be from unit vectors at right angles
constexpr double LARGEST = 1e9;    // number of a camera
constexpr const char* PARALLEL = "ORTHOGRAPHIC";

// True when the file cannot be read, which is reported.
bool readText(const std::string& sFile, std::string& sText) {
    errno = 0;
    const Velk::NRaiiFile file(Velk::openInput(sFile.c_str()));
    if (!file.get()) {
        Console::error("%s: cannot be read: %s", sFile.c_str(), errno ? strerror(errno) : "not a regular file");
        return true;
    }
    std::vector<char> vBuffer(1 << 16);
    for (size_t u; (u = fread(vBuffer.data(), 1, vBuffer.size(), file.get())) > 0;) {
        sText.append(vBuffer.data(), u);
        if (sText.size() > MOST_BYTES)
            return Console::error("%s: too large for a file of cameras", sFile.c_str()), true;
    }
    return false;
}

// What a picture may be called in any directory.
std::string nameOf(const std::string& sPath) {
    std::string sName = std::filesystem::path(sPath).stem().string().substr(0, LONGEST_NAME);
    for (char& c : sName) {
        if (!isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '_' && c != '-') c = '_';
    }
    if (!sName.empty() && (sName[0] == '.' || sName[0] == '-')) sName[0] = '_';
    return sName;
}

// Reads one camera, of which all that is missing is the whole file's. The first thing that is wrong is in sWrong.
struct CameraReader {
    const json &frame, &all;
    std::string sWrong{};

    void refuse(const std::string& sReason) {
        if (sWrong.empty()) sWrong = sReason;
    }

    const json* find(const char* szKey) const {
        for (const json* p : {&frame, &all}) {
            const auto i = p->find(szKey);
            if (i != p->end()) return &*i;
        }
        return nullptr;
    }

    std::optional<double> number(const char* szKey, double dLeast, double dMost) {
        const json* p = find(szKey);
        if (!p || p->is_null()) return {};
        const double d = p->is_number() ? p->get<double>() : NAN;
        if (d > dLeast && d < dMost) return d;
        refuse(std::string(szKey) + " is no such number");
        return {};
    }

    void readPose(FileCamera& camera) {
        const json* p = find("transform_matrix");
        bool bFits = p && p->is_array() && (p->size() == 3 || p->size() == 4);
        for (size_t r = 0; bFits && r < 3; ++r) {
            const json& row = (*p)[r];
            bFits = row.is_array() && row.size() == 4;
            for (size_t c = 0; bFits && c < 4; ++c) {
                bFits = row[c].is_number() && fabs(row[c].get<double>()) < LARGEST;
                if (bFits) camera.dPose[r][c] = row[c].get<double>();
            }
        }
        if (!bFits) return refuse("transform_matrix of 4 x 4 numbers expected");
        const auto& m = camera.dPose;
        for (unsigned a = 0; a < 3; ++a) {
            for (unsigned b = 0; b <= a; ++b) {
                const double d = m[0][a] * m[0][b] + m[1][a] * m[1][b] + m[2][a] * m[2][b];
                if (!(fabs(d - (a == b ? 1.0 : 0.0)) < ROTATION)) return refuse("transform_matrix is no rotation");
            }
        }
        const double dTurned = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                               m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                               m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
        if (dTurned < 0.0) refuse("transform_matrix is a mirror");
    }

    void read(FileCamera& camera) {
        readPose(camera);
        camera.uWidth = static_cast<uint32_t>(lround(number("w", 0.5, INT32_MAX).value_or(0.0)));
        camera.uHeight = static_cast<uint32_t>(lround(number("h", 0.5, INT32_MAX).value_or(0.0)));
        camera.fx = number("fl_x", 1e-6, LARGEST);
        camera.fy = number("fl_y", 1e-6, LARGEST);
        camera.cx = number("cx", -LARGEST, LARGEST);
        camera.cy = number("cy", -LARGEST, LARGEST);
        camera.dAngleX = number("camera_angle_x", 1e-6, 3.14159);
        camera.dAngleY = number("camera_angle_y", 1e-6, 3.14159);
        if (!camera.fx && !camera.dAngleX) refuse("fl_x or camera_angle_x expected");
        const json *pModel = find("camera_model"), *pPath = find("file_path");
        camera.bParallel = pModel && pModel->is_string() && pModel->get_ref<const std::string&>() == PARALLEL;
        if (camera.bParallel && !camera.fx) refuse("fl_x expected");
        if (pPath && pPath->is_string()) camera.sName = nameOf(pPath->get_ref<const std::string&>());
    }

    bool hasDistortion() {
        for (const char* sz : {"k1", "k2", "k3", "k4", "p1", "p2"}) {
            const json* p = find(sz);
            if (p && p->is_number() && p->get<double>() != 0.0) return true;
        }
        return false;
    }
};

// One camera as the file has it.
nlohmann::ordered_json intrinsicsOf(const Pinhole& camera) {
    nlohmann::ordered_json values;
    if (camera.bParallel) {
        values["camera_model"] = PARALLEL;
    } else {
        values["camera_angle_x"] = 2.0 * atan(camera.uWidth / (2.0 * camera.fx));
    }
    values["fl_x"] = camera.fx;
    values["fl_y"] = camera.fy;
    values["cx"] = camera.cx;
    values["cy"] = camera.cy;
    values["w"] = camera.uWidth;
    values["h"] = camera.uHeight;
    return values;
}

nlohmann::ordered_json poseOf(const Pinhole& camera, bool bMirrored) {
    auto rows = nlohmann::ordered_json::array();
    for (unsigned r = 0; r < 3; ++r) {
        const double dSign = r == 2 && bMirrored ? -1.0 : 1.0;
        rows.push_back(
            {dSign * camera.right[r], -dSign * camera.down[r], -dSign * camera.forward[r], dSign * camera.eye[r]});
    }
    rows.push_back({0.0, 0.0, 0.0, 1.0});
    return rows;
}

}  // namespace

bool readCameras(const std::string& sFile, std::vector<FileCamera>& vCameras) {
    std::string sText;
    if (readText(sFile, sText)) return true;
    const json all = json::parse(sText, nullptr, false);
    const auto frames = all.is_object() ? all.find("frames") : all.end();
    if (!all.is_object() || frames == all.end() || !frames->is_array() || frames->empty()) {
        Console::error("%s: not a file of cameras: JSON with a list of \"frames\" expected", sFile.c_str());
        return true;
    }
    if (frames->size() > MOST_CAMERAS) {
        Console::error("%s: %zu cameras, %zu at most", sFile.c_str(), frames->size(), MOST_CAMERAS);
        return true;
    }
    bool bDistorted = false;
    for (size_t u = 0; u < frames->size(); ++u) {
        const json& frame = (*frames)[u];
        CameraReader reader{frame, all};
        FileCamera camera;
        if (frame.is_object()) {
            reader.read(camera);
        } else {
            reader.refuse("an object expected");
        }
        if (!reader.sWrong.empty()) {
            Console::error("%s: frames[%zu]: %s", sFile.c_str(), u, reader.sWrong.c_str());
            return true;
        }
        bDistorted = bDistorted || reader.hasDistortion();
        vCameras.push_back(camera);
    }
    if (bDistorted) Console::warning("%s: the distortion of lenses is left out", sFile.c_str());
    return false;
}

Pinhole pinholeOf(const FileCamera& file, uint32_t uWidth, uint32_t uHeight, bool bMirrored) {
    const double dAcross = file.uWidth ? uWidth / static_cast<double>(file.uWidth) : 1.0;
    const double dAlong = file.uHeight ? uHeight / static_cast<double>(file.uHeight) : 1.0;
    Pinhole camera{};
    for (unsigned a = 0; a < 3; ++a) {
        const double dSign = a == 2 && bMirrored ? -1.0 : 1.0;
        camera.right[a] = dSign * file.dPose[a][0];
        camera.down[a] = -dSign * file.dPose[a][1];
        camera.forward[a] = -dSign * file.dPose[a][2];
        camera.eye[a] = dSign * file.dPose[a][3];
    }
    camera.fx = file.fx ? *file.fx * dAcross : uWidth / (2.0 * tan(*file.dAngleX / 2.0));
    // Without a number of its own, pixels are square.
    const double dSquare = file.fx ? *file.fx * dAlong : camera.fx;
    camera.fy = file.fy ? *file.fy * dAlong : file.dAngleY ? uHeight / (2.0 * tan(*file.dAngleY / 2.0)) : dSquare;
    camera.cx = file.cx ? *file.cx * dAcross : uWidth / 2.0;
    camera.cy = file.cy ? *file.cy * dAlong : uHeight / 2.0;
    camera.uWidth = uWidth;
    camera.uHeight = uHeight;
    camera.bParallel = file.bParallel;
    return camera;
}

bool writeCameras(const std::string& sFile, const std::vector<NamedCamera>& vCameras, bool bMirrored) {
    namespace fs = std::filesystem;
    nlohmann::ordered_json all = intrinsicsOf(vCameras[0].camera);
    const nlohmann::ordered_json common = all;
    auto frames = nlohmann::ordered_json::array();
    for (const NamedCamera& named : vCameras) {
        nlohmann::ordered_json frame;
        frame["file_path"] =
            fs::absolute(named.sPicture).lexically_proximate(fs::absolute(sFile).parent_path()).string();
        const nlohmann::ordered_json own = intrinsicsOf(named.camera);
        if (own != common) frame.update(own);
        frame["transform_matrix"] = poseOf(named.camera, bMirrored);
        frames.push_back(frame);
    }
    all["frames"] = frames;
    const std::string sText = all.dump(1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
    Velk::OutputFile file;
    errno = 0;
    if (!file.open(sFile.c_str()) && fwrite(sText.data(), sText.size(), 1, file.stream()) == 1 && !file.commit()) {
        return false;
    }
    Console::error("%s: cannot be written: %s", sFile.c_str(), errno ? strerror(errno) : "not a file");
    return true;
}

}  // namespace rt
