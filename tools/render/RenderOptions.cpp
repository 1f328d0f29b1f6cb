// The command line of rt-render.
#include "tools/render/RenderOptions.h"

#include <CLI/CLI.hpp>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <sstream>
#include <thread>

#include "base/Version.h"
#include "tools/render/Console.h"
#include "tools/render/PictureFile.h"

using Velk::NMVector3f;

namespace {

constexpr unsigned MAX_JOBS = 1024;
constexpr unsigned MAX_SAMPLES = 64;
constexpr unsigned MAX_ORBIT = 9999;  // four digits in the name

// A whole text as a number; RayTracer's "%f" rounds the same way. True when it is anything else.
bool readNumber(const std::string& s, float& f) {
    char* pEnd = nullptr;
    f = strtof(s.c_str(), &pEnd);
    return s.empty() || *pEnd || !std::isfinite(f);
}

bool readNumber(const std::string& s, uint32_t& u) {
    const char* pLast = s.data() + s.size();
    const std::from_chars_result result = std::from_chars(s.data(), pLast, u);
    return result.ec != std::errc() || result.ptr != pLast;
}

// What an option's numbers may be.
template <typename Number>
struct Range {
    Number least, most;
};
constexpr Range<float> ANY_NUMBER{-FLT_MAX, FLT_MAX};
constexpr Range<uint32_t> ANY_COUNT{0, UINT32_MAX};

// An option of N numbers, the last of which counts when it is given again.
template <typename Number, size_t N>
CLI::Option* addNumbers(CLI::App& app, const char* szName, const char* szValues, const char* szText,
                        Range<Number> range, const std::function<void(const Number (&)[N])>& store) {
    const auto take = [=](const CLI::results_t& vTexts) {
        Number numbers[N] = {};
        for (size_t u = 0; u < N; ++u) {
            if (readNumber(vTexts[u], numbers[u]))
                throw CLI::ValidationError(szName, "no such number: \"" + vTexts[u] + "\"");
            if (numbers[u] >= range.least && numbers[u] <= range.most) continue;
            std::ostringstream message;
            message << "must be from " << range.least << " to " << range.most << ": \"" << vTexts[u] << "\"";
            throw CLI::ValidationError(szName, message.str());
        }
        store(numbers);
        return true;
    };
    return app.add_option(szName, take, szText)
        ->type_size(int{N})
        ->type_name(szValues)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

// An option of one whole number.
void addCount(CLI::App& app, const char* szName, const char* szValue, unsigned& uTarget, Range<uint32_t> range,
              const char* szText) {
    addNumbers<uint32_t, 1>(app, szName, szValue, szText, range, [&uTarget](const uint32_t(&u)[1]) { uTarget = u[0]; });
}

void addPictureOptions(CLI::App& app, RenderOptions& options) {
    RaytracerParameters& p = options.parameters;
    app.add_option("-o,--out", options.sPicture,
                   "the picture (SCENE.png here); its suffix is one of " + pictureSuffixes())
        ->type_name("FILE");
    addNumbers<uint32_t, 2>(app, "--resolution", "W H", "size in pixels (the camera's)", {1, INT32_MAX},
                            [&p](const uint32_t(&u)[2]) {
                                p.uWidth = u[0];
                                p.uHeight = u[1];
                                p.bCustomResolution = true;
                            });
    addCount(app, "--samples", "N", options.uSamples, {1, MAX_SAMPLES}, "N x N rays a pixel, for smooth edges (1)");
    addCount(app, "--orbit", "N", options.uOrbit, {1, MAX_ORBIT}, "N pictures around the scene: frame-0001.png and on");
}

void addViewOptions(CLI::App& app, RenderOptions& options) {
    RaytracerParameters& p = options.parameters;
    View& view = options.view;
    const auto vector = [](const float(&f)[3]) { return NMVector3f{f[0], f[1], f[2]}; };
    CLI::Option* pFrom =
        addNumbers<float, 3>(app, "--from", "X Y Z", "where the camera stands, in the scene's units", ANY_NUMBER,
                             [&view, vector](const float(&f)[3]) { view.v3From = vector(f); });
    CLI::Option* pAt = addNumbers<float, 3>(app, "--at", "X Y Z", "what it looks at (the scene's middle)", ANY_NUMBER,
                                            [&view, vector](const float(&f)[3]) { view.v3At = vector(f); });
    addNumbers<float, 1>(app, "--fov", "DEG", "angle from the picture's left edge to the right one", {0.1f, 170.0f},
                         [&view](const float(&f)[1]) { view.fFov = f[0]; });
    addNumbers<float, 6>(app, "--camera", "X Y Z DX DY DZ", "eye and direction as RayTracer takes them", ANY_NUMBER,
                         [&p](const float(&f)[6]) {
                             p.v3CameraPosition = {f[0], f[1], f[2]};
                             p.v3CameraLook = {f[3], f[4], f[5]};
                             p.bCustomCamera = true;
                         })
        ->excludes(pFrom)
        ->excludes(pAt);
}

void addBrickOptions(CLI::App& app, RenderOptions& options) {
    RaytracerParameters& p = options.parameters;
    addCount(app, "--texattr", "INDEX", p.uTexturedAttribute, ANY_COUNT,
             "material that becomes bricks, counted from 0");
    addNumbers<float, 3>(app, "--brick", "W H MORTAR", "brick and joint sizes (600 125 20)", ANY_NUMBER,
                         [&p](const float(&f)[3]) {
                             p.fBrickWidth = f[0];
                             p.fBrickHeight = f[1];
                             p.fMortarWidth = f[2];
                         });
    addNumbers<float, 1>(app, "--angle", "X", "how crooked the bricks lie (0.125)", ANY_NUMBER,
                         [&p](const float(&f)[1]) { p.fAngleCoeff = f[0]; });
    app.add_flag("--dirt", p.bDirt, "dirt on the bricks");
}

#ifdef RT_IMPORT
void addModelOptions(CLI::App& app, RenderOptions& options) {
    ImportOptions& import = options.import;
    CLI::App& group = *app.add_option_group("Models", "how a model file becomes a scene");
    const auto addAngle = [&group](const char* szName, std::optional<double>& angle, Range<float> range,
                                   const char* szText) {
        addNumbers<float, 1>(group, szName, "DEG", szText, range,
                             [&angle](const float(&f)[1]) { angle = static_cast<double>(f[0]); });
    };
    addAngle("--turn", import.dTurn, {-360.0f, 360.0f}, "how far the camera goes round the model");
    addAngle("--elevation", import.dElevation, {-90.0f, 90.0f}, "how high it stands above the horizon");
    group.add_flag("--ground", import.bGround, "a floor under the model");
    const std::map<std::string, ImportOptions::Material> materials = {
        {"matte", ImportOptions::MATTE}, {"mirror", ImportOptions::MIRROR}, {"glass", ImportOptions::GLASS}};
    group.add_option("--material", import.eMaterial, "one for the whole model")
        ->transform(CLI::CheckedTransformer(materials))
        ->type_name("matte|mirror|glass");
    group.add_option("--up", import.cUp, "the model's upright axis")
        ->check(CLI::IsMember({'x', 'y', 'z'}))
        ->type_name("x|y|z");
}
#endif

void addRunOptions(CLI::App& app, RenderOptions& options) {
    addCount(app, "--jobs", "N", options.uJobs, {1, MAX_JOBS}, "worker processes (one a core)");
    addCount(app, "--packsize", "PIXELS", options.parameters.uPackSize, {1, 4096}, "edge of a tile (32)");
    app.add_flag("--resume", options.bResume, "go on with the picture that Ctrl-C interrupted");
    app.add_flag("--resetcache", options.parameters.bResetCache, "build the kd-tree anew");
    addCount(app, "--cache-limit", "MB", options.uCacheLimit, {0, 1u << 20},
             "size of all kd-trees that are kept (1024)");
    app.add_flag("--quiet", options.bQuiet, "errors only");
    app.add_flag("--verbose", options.bVerbose, "all that the library says, and times");
}

// What no option can know of the others. True when something is wrong, which is reported.
bool checkOptions(const CLI::App& app, RenderOptions& options, int& iStatus) {
    if (!options.uJobs) options.uJobs = std::max(1u, std::thread::hardware_concurrency());
    iStatus = STATUS_USAGE;
    std::string& s = options.sPicture;
    std::error_code error;
    if (options.uOrbit && std::filesystem::is_directory(s, error)) s += "/frame.png";
    if (s.empty()) s = options.uOrbit ? "frame.png" : std::filesystem::path(options.sScene).stem().string() + ".png";
    if (!pictureFormat(s)) {
        Console::error("rt-render: --out: no picture format has this suffix, there are %s: \"%s\"",
                       pictureSuffixes().c_str(), s.c_str());
        return true;
    }
    for (const char* szName : {"--turn", "--elevation", "--ground", "--material", "--up"}) {
        const CLI::Option* pOption = app.get_option_no_throw(szName);
        if (!pOption || !pOption->count() || isModelName(options.sScene)) continue;
        Console::error("rt-render: %s is for model files: \"%s\"", szName, options.sScene.c_str());
        return true;
    }
    return false;
}

}  // namespace

bool isModelName(const std::string& sFile) {
    const std::string sSuffix = suffixOf(sFile);
    return !sSuffix.empty() && sSuffix != ".txt";
}

bool parseOptions(int argc, char** argv, RenderOptions& options, int& iStatus) {
    CLI::App app("Renders a scene or a model file on all cores.", "rt-render");
    app.set_version_flag("--version", std::string("rt-render ") + Velk::VERSION);
    app.set_help_flag("--help", "prints this");
    app.add_option("SCENE", options.sScene, "a scene's name, a description's path or a model file")->required();
    addPictureOptions(app, options);
    addViewOptions(app, options);
    addBrickOptions(app, options);
#ifdef RT_IMPORT
    addModelOptions(app, options);
#endif
    addRunOptions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        iStatus = STATUS_DONE;
        if (error.get_exit_code() == 0) return app.exit(error), true;  // help or version
        iStatus = STATUS_USAGE;
        Console::error("rt-render: %s (--help lists the options)", error.what());
        return true;
    }
    return checkOptions(app, options, iStatus);
}
