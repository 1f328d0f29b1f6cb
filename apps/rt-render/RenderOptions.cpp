// The command line of rt-render.
#include "rt-render/RenderOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "base/Version.h"
#include "picture/PictureFile.h"
#include "shared/Console.h"
#include "shared/ExitStatus.h"
#include "shared/NearNames.h"

namespace rt {

using Velk::NMVector3f;

bool isModelName(const std::string& sFile) {
    const std::string sSuffix = suffixOf(sFile);
    return !sSuffix.empty() && sSuffix != ".txt";
}

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

std::string textOf(const Range<float>& range) {
    std::ostringstream text;
    text << "a number";
    if (range.most < FLT_MAX) text << " from " << range.least << " to " << range.most;
    return text.str();
}

std::string textOf(const Range<uint32_t>& range) {
    return "a whole number from " + std::to_string(range.least) + " to " + std::to_string(range.most);
}

// An option of N numbers, the last of which counts when it is given again.
template <typename Number, size_t N>
CLI::Option* addNumbers(CLI::App& app, const char* szName, const char* szValues, const char* szText,
                        Range<Number> range, const std::function<void(const Number (&)[N])>& store) {
    const auto take = [=](const CLI::results_t& vTexts) {
        Number numbers[N] = {};
        for (size_t u = 0; u < N; ++u) {
            const bool bNumber = !readNumber(vTexts[u], numbers[u]);
            if (bNumber && numbers[u] >= range.least && numbers[u] <= range.most) continue;
            throw CLI::ValidationError(szName, "\"" + vTexts[u] + "\" is not " + textOf(range));
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

// An option of one of some words. store gets the word's index.
void addChoice(CLI::App& app, const char* szName, const char* szWhat, const std::vector<std::string>& vWords,
               const char* szText, const std::function<void(size_t)>& store) {
    const auto take = [=](const CLI::results_t& vTexts) {
        const auto found = std::find(vWords.begin(), vWords.end(), vTexts[0]);
        if (found == vWords.end()) {
            throw CLI::ValidationError(szName, "unknown " + std::string(szWhat) + " \"" + vTexts[0] + "\", there are " +
                                                   listOf(vWords, vWords.size()));
        }
        store(static_cast<size_t>(found - vWords.begin()));
        return true;
    };
    std::string sWords = vWords[0];
    for (size_t u = 1; u < vWords.size(); ++u) sWords += "|" + vWords[u];
    app.add_option(szName, take, szText)
        ->type_name(sWords)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

void addPictureOptions(CLI::App& app, RenderOptions& options) {
    RaytracerParameters& p = options.parameters;
    app.add_option("-o,--out", options.sPicture,
                   "the picture (SCENE.png here); its suffix is one of " + pictureSuffixes())
        ->type_name("FILE")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
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
    addChoice(group, "--material", "material", {"matte", "mirror", "glass"}, "one for the whole model",
              [&import](size_t u) {
                  constexpr ImportOptions::Material MATERIALS[] = {ImportOptions::MATTE, ImportOptions::MIRROR,
                                                                   ImportOptions::GLASS};
                  import.eMaterial = MATERIALS[u];
              });
    addChoice(group, "--up", "axis", {"x", "y", "z"}, "the model's upright axis",
              [&import](size_t u) { import.cUp = "xyz"[u]; });
    group.add_flag("--allow-outside", import.bAllowOutside,
                   "textures and data of the model from anywhere, not only from below its directory");
}
#endif

void addRunOptions(CLI::App& app, RenderOptions& options) {
    addCount(app, "--jobs", "N", options.uJobs, {1, MAX_JOBS}, "worker threads (one a core)");
    addCount(app, "--packsize", "PIXELS", options.parameters.uPackSize, {1, 4096}, "edge of a tile (32)");
    addChoice(app, "--light", "kind of light", {"studio", "lamps"},
              "soft light that turns with the camera (models), or the lamps of the scene or file (scenes)",
              [&options](size_t u) { options.bStudio = u == 0; });
    addChoice(app, "--rays", "kind of rays", {"tree", "watertight"},
              "who says what a ray meets: RayTracer's tree (scenes), or each face alone (models)",
              [&options](size_t u) { options.rays = u ? RayKind::WATERTIGHT : RayKind::TREE; });
    app.add_flag("--resume", options.bResume, "go on with the picture that Ctrl-C interrupted");
    app.add_flag("--resetcache", options.parameters.bResetCache, "build the kd-tree anew");
    addCount(app, "--cache-limit", "MB", options.uCacheLimit, {0, 1u << 20},
             "size of all kd-trees that are kept (1024)");
    app.add_flag("--quiet", options.bQuiet, "errors only");
    app.add_flag("--verbose", options.bVerbose, "all that the library says, and times");
}

bool isDirectory(const std::string& sPath) {
    std::error_code error;
    return std::filesystem::is_directory(sPath, error);
}

// Completes the picture's name. True when it cannot be one, which is reported.
bool completePicture(RenderOptions& options) {
    std::string& s = options.sPicture;
    const bool bFolder = !s.empty() && s.back() == '/';
    if (options.uOrbit && isDirectory(s)) s += bFolder ? "frame.png" : "/frame.png";
    if (s.empty()) s = options.uOrbit ? "frame.png" : std::filesystem::path(options.sScene).stem().string() + ".png";
    if (pictureFormat(s)) return false;
    if (isDirectory(s)) {
        Console::error("rt-render: --out: \"%s\" is a directory; the name of a file is wanted", s.c_str());
    } else if (bFolder) {
        Console::error("rt-render: --out: there is no directory \"%s\"", s.c_str());
    } else {
        Console::error("rt-render: --out: no picture format has this suffix, there are %s: \"%s\"",
                       pictureSuffixes().c_str(), s.c_str());
    }
    return true;
}

// What no option can know of the others. True when something is wrong, which is reported.
bool checkOptions(const CLI::App& app, RenderOptions& options, int& iStatus) {
    if (!options.uJobs) options.uJobs = std::max(1u, std::thread::hardware_concurrency());
    iStatus = STATUS_USAGE;
    if (completePicture(options)) return true;
    if (options.parameters.bCustomCamera && !(length(options.parameters.v3CameraLook) > 0.0f)) {
        Console::error("rt-render: --camera: the direction has no length");
        return true;
    }
    for (const char* szName : {"--turn", "--elevation", "--ground", "--material", "--up", "--allow-outside"}) {
        const CLI::Option* pOption = app.get_option_no_throw(szName);
        if (!pOption || !pOption->count() || isModelName(options.sScene)) continue;
        Console::error("rt-render: %s is for model files: \"%s\"", szName, options.sScene.c_str());
        return true;
    }
    return false;
}

// Words of the command line as the parser wants them: the last one first, "--resolution 640x480" as two numbers.
std::vector<std::string> wordsOf(int argc, char** argv) {
    std::vector<std::string> vWords;
    const std::string sOption = "--resolution", sEqual = sOption + "=";
    for (int i = 1; i < argc; ++i) {
        const std::string sWord = argv[i];
        const size_t uStart = sWord.compare(0, sEqual.size(), sEqual) == 0 ? sEqual.size() : 0;
        const size_t uCross = sWord.find('x', uStart);
        const bool bNumbers = uCross != std::string::npos && uCross > uStart && uCross + 1 < sWord.size() &&
                              sWord.find_first_not_of("0123456789x", uStart) == std::string::npos &&
                              sWord.rfind('x') == uCross;
        if (bNumbers && (uStart || (i > 1 && argv[i - 1] == sOption))) {
            vWords.push_back(sWord.substr(0, uCross));
            vWords.push_back(sWord.substr(uCross + 1));
        } else {
            vWords.push_back(sWord);
        }
    }
    std::reverse(vWords.begin(), vWords.end());
    return vWords;
}

// Reports words that belong to no option, options first: what follows them was meant for them. True when there are any.
bool reportStrays(CLI::App& app) {
    const std::vector<std::string> vStrays = app.remaining();
    if (vStrays.empty()) return false;
    const auto isOption = [](const std::string& s) { return s.size() > 1 && s[0] == '-' && s != "--"; };
    const auto found = std::find_if(vStrays.begin(), vStrays.end(), isOption);
    if (found == vStrays.end()) {
        Console::error("rt-render: one scene at a time: \"%s\" is one too many (--help lists the options)",
                       vStrays.back().c_str());
        return true;
    }
    const std::string sTyped = found->substr(0, found->find('='));
    std::vector<std::string> vNames;
    const auto collect = [&vNames](const CLI::App& group) {
        for (const CLI::Option* pOption : group.get_options()) {
            for (const std::string& s : pOption->get_lnames()) vNames.push_back("--" + s);
        }
    };
    collect(app);
    for (const CLI::App* pGroup : app.get_subcommands([](const CLI::App*) { return true; })) collect(*pGroup);
    const std::string sNearest = nearestFirst(vNames, sTyped)[0];
    const std::string sHint = isNear(sNearest, sTyped) ? ", did you mean " + sNearest + "?" : "";
    Console::error("rt-render: unknown option %s%s (--help lists the options)", sTyped.c_str(), sHint.c_str());
    return true;
}

// Says what is wrong with the command line, or prints what it asks for. The exit status.
int reportParseError(CLI::App& app, CLI::Option& scene, const CLI::ParseError& error) {
    scene.required();                                                                   // the help shows it so
    if (app.get_help_ptr()->count()) return app.exit(CLI::CallForHelp()), STATUS_DONE;  // whatever else is wrong
    if (error.get_exit_code() == 0) return app.exit(error), STATUS_DONE;
    std::string sWhat = error.what();
    const CLI::Option* pOption = app.get_option_no_throw(sWhat.substr(0, sWhat.find(':')));
    if (pOption && error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ArgumentMismatch)) {
        sWhat = pOption->get_name() + ": " + pOption->get_type_name() + " expected";
    }
    Console::error("rt-render: %s (--help lists the options)", sWhat.c_str());
    return STATUS_USAGE;
}

}  // namespace

bool parseOptions(int argc, char** argv, RenderOptions& options, int& iStatus) {
    CLI::App app("Renders a scene or a model file on all cores.", "rt-render");
    app.set_version_flag("--version", std::string("rt-render ") + Velk::VERSION);
    app.set_help_flag("-h,--help", "prints this");
    app.allow_extras();
    CLI::Option* pScene =
        app.add_option("SCENE", options.sScene, "a scene's name, a description's path or a model file");
    addPictureOptions(app, options);
    addViewOptions(app, options);
    addBrickOptions(app, options);
#ifdef RT_IMPORT
    addModelOptions(app, options);
#endif
    addRunOptions(app, options);
    try {
        app.parse(wordsOf(argc, argv));
    } catch (const CLI::ParseError& error) {
        iStatus = reportParseError(app, *pScene, error);
        return true;
    }
    iStatus = STATUS_USAGE;
    if (reportStrays(app)) return true;
    if (options.sScene.empty()) {
        Console::error("rt-render: the name of a scene or a model is missing (--help lists the options)");
        return true;
    }
    return checkOptions(app, options, iStatus);
}

}  // namespace rt
