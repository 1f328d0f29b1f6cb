// rt-render as its users see it: the pictures, the command line, what is said and what is left when something fails.
#ifdef RT_RENDER
#include <sys/stat.h>

#include <algorithm>

#include "apps/RenderSteps.h"

using namespace rt;

namespace {

using namespace std::string_literals;

TEST_F(RenderTest, PicturesAreThoseOfRayTracer) {
    fs::create_directory_symlink(RT_SOURCE_DIR "/Scenes", "bundled");
    for (const std::string s :
         {"--texattr 7 --dirt room_vn", "glass", "mirror", "shading", "--texattr 0 --brick 900 200 9 bricks",
          "--camera 1 2 -3 0 0.1 1 --packsize 7 glass", "--texattr 0 --angle 2 bricks"}) {
        fs::rename("Scenes", "mine");
        fs::rename("bundled", "Scenes");
        const std::string sPicture = required("--resolution 84 63 " + s);
        for (const char* szJobs : {"1", "2", "3"}) {
            EXPECT_EQ(render("--resolution 84 63 -o picture.bmp --jobs "s + szJobs + " " + s), 0) << sOutput;
            EXPECT_EQ(firstDifference(readFile("picture.bmp"), sPicture), "") << s << " with " << szJobs << " workers";
            EXPECT_EQ(sOutput.find_first_of("\r%"), std::string::npos) << sOutput;
        }
        fs::rename("Scenes", "bundled");
        fs::rename("mine", "Scenes");
    }
    EXPECT_EQ(list(), (std::vector<std::string>{"Scenes", "bundled", "cache", "picture.bmp"}));
}

TEST_F(RenderTest, ScenesAreFoundByNameByPathAndInstalled) {
    EXPECT_EQ(render("test -o x.bmp"), 0);
    const std::string sPicture = readFile("x.bmp");
    fs::create_directories("prefix/bin");
    fs::create_directories("prefix/share/raytracer");
    fs::copy_file(RT_RENDER, "prefix/bin/rt-render");
    fs::rename("Scenes", "prefix/share/raytracer/Scenes");
    const std::string sDescription = "prefix/share/raytracer/Scenes/scene_descs/test.txt";
    EXPECT_EQ(system((RT_EMULATOR " prefix/bin/rt-render test -o y.bmp")), 0) << "installed";
    EXPECT_EQ(firstDifference(readFile("y.bmp"), sPicture), "");
    for (const std::string& sPath : {sDescription, fs::absolute(sDescription).string()}) {
        fs::remove("x.bmp");
        EXPECT_EQ(render(sPath + " -o x.bmp"), 0) << sOutput;
        EXPECT_EQ(firstDifference(readFile("x.bmp"), sPicture), "") << sPath;
    }
    writeFile("prefix/share/raytracer/Scenes/test/test.atr", "Attr a\nkdd 1\nenddef\n");
    EXPECT_EQ(render(sDescription), 1);
    EXPECT_TRUE(contains(sOutput, "prefix/share/raytracer/Scenes/test/test.atr:2: warning: ")) << sOutput;
}

TEST_F(RenderTest, SamplesAreTheMeanOfALargerPicture) {
    const std::string sLarge = required("--resolution 63 54 test");
    EXPECT_EQ(render("test --resolution 21 18 --samples 3 -o small.bmp --packsize 7"), 0);
    const std::string sSmall = readFile("small.bmp");
    ASSERT_EQ(sSmall.size(), 54u + size_t{21 * 3 + 1} * 18);
    const auto byteOf = [](const std::string& s, size_t u) { return static_cast<unsigned char>(s[54 + u]); };
    for (unsigned y = 0; y < 18; ++y) {
        for (unsigned u = 0; u < 21 * 3; ++u) {
            unsigned uSum = 4;  // half of nine, rounded down
            for (unsigned i = 0; i < 9; ++i) {
                uSum += byteOf(sLarge, (y * 3 + i / 3) * (63 * 3 + 3) + (u / 3 * 3 + i % 3) * 3 + u % 3);
            }
            ASSERT_EQ(byteOf(sSmall, y * (21 * 3 + 1) + u), uSum / 9) << u << ", " << y;
        }
    }
}

TEST_F(RenderTest, FormatsFollowTheSuffix) {
    EXPECT_EQ(render("test -o p.ppm") + render("test -o p.BMP") + render("test -o p.png") + render("test"), 0);
    const std::string sBmp = readFile("p.BMP"), sPpm = readFile("p.ppm"), sHead = "P6\n56 48\n255\n";
    ASSERT_EQ(sPpm.substr(0, sHead.size()), sHead);
    for (unsigned u = 0; u < 56 * 48; ++u) {  // BMP has the bottom row first, and blue
        const std::string sRgb = sPpm.substr(sHead.size() + 3 * u, 3),
                          sBgr = sBmp.substr(54 + 3 * ((47 - u / 56) * 56 + u % 56), 3);
        ASSERT_EQ(sRgb, std::string(sBgr.rbegin(), sBgr.rend()));
    }
    EXPECT_EQ(readFile("p.png").substr(1, 3), "PNG");
    EXPECT_EQ(firstDifference(readFile("p.png"), readFile("test.png")), "") << "the default name";
    EXPECT_TRUE(render("test -o p.jpg") == 2 || readFile("p.jpg").substr(0, 2) == "\xFF\xD8") << sOutput;
}

TEST_F(RenderTest, RefusedCommandLinesEndWithTwoAndOneLine) {
    fs::create_directory("folder");
    const std::pair<const char*, const char*> cases[] = {
        {"", "a scene or a model is missing"},
        {"''", "a scene or a model is missing"},
        {"test --bogus", "unknown option --bogus ("},
        {"--sampels 3", "unknown option --sampels, did you mean --samples?"},
        {"test --fvo=3", "unknown option --fvo, did you mean --fov?"},
        {"test --quiet=3", "--quiet takes no value ("},
        {"test - --format txt", "needs --format with its suffix, and comes once"},
        {"- -", "needs --format"},
        {"test --format obj", "--format is for a model from standard input"},
        {"test test", "\"test.png\" would be the picture of two"},
        {"test other -o x.png", "\"x.png\" is no directory"},
        {"test -o - --json", "standard output is for the picture, without --json"},
        {"test -o - --orbit 3", "one picture alone goes to standard output"},
        {"test -o x.mp4", "a film needs --orbit"},
        {"test -o x.tif", "there are .png"},
        {"test -o x", "there are .png"},
        {"test -o folder", "\"folder\" is a directory"},
        {"test --orbit 3 -o film/", "there is no directory \"film/\""},
        {"test --fov x", "--fov: \"x\" is not a number from 0.1 to 170"},
        {"test --fov 0", "--fov: \"0\" is not a number from 0.1 to 170"},
        {"test --from 1 2", "--from: X Y Z expected"},
        {"test --from nan 1 1", "--from: \"nan\" is not a number ("},
        {"test --resolution 0 4", "--resolution: \"0\" is not a whole number from 1 to 2147483647"},
        {"test --resolution 4x 4", "--resolution: \"4x\" is not"},
        {"test --resolution 4x0", "--resolution: \"0\" is not"},
        {"test --samples 0", "--samples: \"0\" is not a whole number from 1 to 64"},
        {"test --samples 99999999999", "--samples: \"99999999999\" is not a whole number from 1 to 64"},
        {"test --jobs 0", "from 1 to 1024"},
        {"test --packsize 0", "from 1 to 4096"},
        {"test --orbit 10000", "from 1 to 9999"},
        {"test --texattr -1", "--texattr: \"-1\""},
        {"test --views front,up", "\"front,up\" is no list of front, "},
        {"test --views front --orbit 3", "--views excludes --orbit"},
        {"test --sheet", "--sheet is for --views"},
        {"test --hemisphere 3 --at 1 2 3", "--hemisphere excludes --at"},
        {"test --layers depth,part", "\"depth,part\" is no list of depth, normal, "},
        {"test --intrinsics 9 0 1 1", "focal lengths are larger than 0"},
        {"test --camera 1 2 3 4 5 6 --at 1 2 3", "excludes"},
        {"test --camera 1 2 3 0 0 0", "--camera: the direction has no length"},
        {"test -o '\033[31m\n'", "\"\\x1B[31m\\x0A\""},
#ifdef RT_IMPORT
        {"x.obj --material gold", "unknown material \"gold\", there are matte, mirror, glass ("},
        {"x.obj --light lamps --background white", "--background is for --light studio"},
        {"test --sky x.hdr", "--sky is for --light studio, test has lamps"},
        {"x.obj --background sky", "--background sky is for --sky FILE"},
        {"x.obj --light studio --texattr 0", "--texattr is for --light lamps"},
        {"x.obj --background white,pink", "\"white,pink\" is neither"},
        {"x.obj --background transparent -o x.jpg", "needs a PNG file: \"x.jpg\""},
        {"x.obj --up w", "unknown axis \"w\", there are x, y, z ("},
        {"test --turn 30", "--turn is for model files"},
#endif
    };
    for (const auto& [szArguments, szSaid] : cases) {
        EXPECT_EQ(render(szArguments), 2) << szArguments;
        EXPECT_TRUE(contains(sOutput, szSaid)) << sOutput;
        EXPECT_EQ(std::count(sOutput.begin(), sOutput.end(), '\n'), 1) << sOutput;
    }
    for (const char* sz : {"--help", "-h", "--samples 0 -h"}) {
        EXPECT_EQ(render(sz), 0) << sz;
        EXPECT_TRUE(contains(sOutput, "--samples N")) << sOutput;
    }
    EXPECT_EQ(render("--version"), 0);
    EXPECT_EQ(list(), (std::vector<std::string>{"Scenes", "folder"})) << "nothing was rendered";
    EXPECT_EQ(render("test --resolution 8 9 -o a.bmp") + render("test --resolution 8x9 -o b.bmp") +
                  render("test --resolution=8x9 -o c.bmp"),
              0);
    EXPECT_EQ(readFile("b.bmp") + readFile("c.bmp"), readFile("a.bmp") + readFile("a.bmp"));
}

TEST_F(RenderTest, FailuresAreOneLineAndLeaveNothing) {
    writeFile("broken.txt", "Scenes/broken.brs\nScenes/test/test.cam\nScenes/test/test.atr\nScenes/test/test.lgt\n");
    writeFile("Scenes/broken.brs", "vertices 3\n0 0 0\n1 0 0\nx 1 0\n\ntriangles 1\n0 1 2\n\n0\n");
    writeFile("one.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    fs::create_directory("folder.png");
    for (const char* sz : {"pipe.png", "x.part.png.resume"}) ASSERT_EQ(mkfifo(sz, 0600), 0);
    const std::vector<std::string> vBefore = list();
    const struct {
        const char *szArguments, *szSaid, *szBefore;
    } cases[] = {
        {"tset", "tset: no such scene, there are test", ""},
        {"Scenes/", "Scenes/: a directory without model files", ""},
        {"pipe.png", "pipe.png: a pipe or a device, not", ""},
        {"nowhere/x.obj", "nowhere/x.obj: no such file\n", ""},
        {"test -o pipe.png", "pipe.png: cannot be written: it is a pipe\n", "timeout -s KILL 60"},
        {"test --resume -o x.png", "x.part.png.resume: cannot be gone on with: it is not a reg", "timeout -s KILL 60"},
        {"test --resolution 1 1073741824 -o x.bmp", "too many for a .bmp file", "timeout -s KILL 60"},
        {"test --resolution 1073741824 1 -o x.bmp --samples 2", "too many for --samples 2\n", ""},
        {"test -o 'nowhere/\033]0;x\007.png'", "nowhere/\\x1B]0;x\\x07.png: cannot be written: ", ""},
#ifdef RT_IMPORT
        {"one.obj --from 1 2 3 --at 1 2 3", "one point", ""},
#endif
        {"broken.txt", "Scenes/broken.brs:4: ", ""},
        {"test --orbit 2 -o x.gif", "films need the program ffmpeg", "PATH=/nowhere"},
        {"test -o nowhere/x.png", "nowhere/x.png: cannot be written: No such file or directory\n", ""},
        {"test -o folder.png", "folder.png: cannot be written: ", ""},
        {"test -o /proc/x.png", "/proc/x.png: cannot be written: ", ""},
        {"test --fov 50 --resolution 2000000 2000000", "MB of memory", ""},
        {"test --resolution 300 200 --fov 50 -o x.bmp", "x.bmp: cannot be written: File too large\n", "ulimit -f 20;"},
        {"test --from 1e30 2 3", "there is no such view", ""},
        {"test --from 1 2 3 --at 1 2 3", "one point", ""}};
    for (const auto& c : cases) {
        EXPECT_EQ(render(c.szArguments, c.szBefore), 1) << c.szArguments;
        EXPECT_TRUE(contains(sOutput, c.szSaid)) << sOutput;
        EXPECT_EQ(std::count(sOutput.begin(), sOutput.end(), '\n'), 1) << sOutput;
        fs::remove_all("cache");
        EXPECT_EQ(list(), vBefore) << c.szArguments;
    }
}

#ifdef RT_IMPORT
TEST_F(RenderTest, SeveralModelsAndPipesAreServed) {
    const std::string sModel = "v 0 0 0\nv 1 0 0\nv 0 1 0.5\nf 1 2 3\n", sSmall = " --resolution 40 30 ";
    for (const char* sz : {"m/a.obj", "m/b.obj", "m/b.off", "m/c.txt"}) writeFile(sz, sModel);
    fs::create_directory("out");
    EXPECT_EQ(runCommand(RT_RENDER " m test -o out --json" + sSmall + "2>said", sOutput), 1) << "b.off is none";
    EXPECT_TRUE(contains(readFile("said"), "cannot read m/b.off: ")) << readFile("said");
    for (const char* sz : {"out/a.png", "out/b.obj.png", "out/test.png"}) EXPECT_TRUE(fs::exists(sz)) << sz;
    EXPECT_FALSE(fs::exists("out/c.png"));
    const std::vector<std::string> vWanted = {
        R"({"scene":"m/a.obj","picture":"out/a.png","width":40,"height":30,"faces":1,"box":[[)",
        R"({"scene":"m/b.obj","picture":"out/b.obj.png",)", R"({"scene":"m/b.off","error":"cannot read m/b.off: )",
        R"({"scene":"test","picture":"out/test.png",)"};
    size_t uAt = 0;
    for (const std::string& s : vWanted) {
        EXPECT_EQ(sOutput.compare(uAt, s.size(), s), 0) << sOutput;
        uAt = sOutput.find('\n', uAt) + 1;
    }
    EXPECT_EQ(uAt, sOutput.size());
    EXPECT_TRUE(contains(sOutput, R"("blank":false,"warnings":["the camera's screen)")) << sOutput;
    EXPECT_EQ(render("m/a.obj m/b.obj" + sSmall), 0) << sOutput;
    EXPECT_EQ(readFile("m/a.png"), readFile("out/a.png")) << "beside the model";

    EXPECT_EQ(render("- --format obj -o -" + sSmall + "<m/a.obj >piped.png", "mkdir tmp; TMPDIR=tmp"), 0) << sOutput;
    EXPECT_EQ(firstDifference(readFile("piped.png"), readFile("m/a.png")), "");
    EXPECT_TRUE(fs::is_empty("tmp"));
    EXPECT_EQ(render("m/a.obj -o - >/dev/full" + sSmall), 1);
    EXPECT_EQ(render("- --format stl <m/c.txt"), 1);
    EXPECT_EQ(sOutput.rfind("cannot read standard input: ", 0), 0u) << sOutput;

    // What ffmpeg gets and how it ends, without one.
    fs::create_directory("bin");
    writeFile("bin/ffmpeg", "#!/bin/sh\nfor s; do :; done\n/bin/cat >\"${s#file:}\"\nexit $ENDS\n");
    fs::permissions("bin/ffmpeg", fs::perms::owner_all);
    EXPECT_EQ(render("m/a.obj --orbit 3 --json -o film.mp4" + sSmall, "ENDS=0 PATH=bin"), 0) << sOutput;
    EXPECT_TRUE(contains(sOutput, R"("picture":"film.mp4")")) << sOutput;
    EXPECT_EQ(readFile("film.mp4").size(), 3u * 40 * 30 * 3);
    EXPECT_EQ(render("m/a.obj --orbit 3 -o film.gif" + sSmall, "ENDS=3 PATH=bin"), 1);
    EXPECT_EQ(sOutput, "film.gif: ffmpeg did not make it (status 3)\n");
    EXPECT_FALSE(fs::exists("film.gif") || fs::exists("film.part.gif"));
}
#endif

TEST_F(RenderTest, PicturesThatNobodyWantsAreWarnedOf) {
    const SceneText scene = makeScene(makeShowcase(), 56, 48);
    const auto with = [&](const char* szLights) {
        SceneText other = scene;
        other.sLights = szLights;
        other.write("other");
        return "other -o x.bmp ";
    };
    EXPECT_EQ(render("test -o x.bmp"), 0);
    EXPECT_EQ(sOutput, "");
    Mesh wall;
    wall.addQuad({-90, -90, 5}, {180, 0, 0}, {0, 180, 0});
    SceneText dark = makeScene(wall, 56, 48);
    dark.sAttributes = "Attr coal\nkd 1\ncolor 0 0 0\nenddef\n";
    dark.write("black");
    dark.sAttributes = "Attr coal\ncolor 200 0 0\nenddef\n";
    dark.write("dull");
    dark.sAttributes = "Attr chalk\nkd 1\ncolor 255 255 255\nenddef\n";
    dark.sLights = "1\n0 0 90 900 0 -1 0\n";
    dark.write("behind");
    const std::pair<std::string, const char*> cases[] = {
        {with("0\n"), "no lights"},
        {"other -o x.bmp", "x.bmp: all black: there is no light"},
        {"black -o x.bmp", "x.bmp: all black: the material \"coal\", all that the camera sees, is black (color)"},
        {"dull -o x.bmp",
         "x.bmp: all black: the material \"coal\", all that the camera sees, is black (kd and ks are 0)"},
        {"behind -o x.bmp", "x.bmp: all black: no light reaches what the camera sees"},
        {"test --texattr 4 -o x.bmp", "the scene has 4 materials"},
        {"test --resolution 48 48 -o x.bmp", "all will look tall"},
        {"test --from 0 0 -90 --at 0 0 -99 -o x.bmp", "the camera sees nothing of the scene"},
        {"test --from 0 0 -90 --at 0 0 -99 -o x.bmp", "x.bmp: nothing but background"}};
    for (const auto& [sArguments, szSaid] : cases) {
        EXPECT_EQ(render(sArguments), 0) << sArguments;
        EXPECT_TRUE(contains(sOutput, szSaid)) << sArguments << ": " << sOutput;
        EXPECT_EQ(render(sArguments + " --quiet"), 0);
        EXPECT_EQ(sOutput, "");
    }
    EXPECT_EQ(render(with("2\n-8 14 -15 900 0 -1 0\n12 6 -9 0 0 -1 0\n")), 0);
    EXPECT_EQ(sOutput, "warning: Scenes/other/other.lgt: light 2 has no flux\n");
}

#ifdef RT_IMPORT
TEST_F(RenderTest, WhatNobodyMadeIsNotWarnedOf) {
    writeFile("far.obj", "v 900 0 0\nv 901 0 0\nv 900 1 0\nf 1 2 3\n");
    EXPECT_EQ(render("far.obj --resolution 40 30 --turn 90 --elevation 0 -o x.png"), 0);
    EXPECT_FALSE(contains(sOutput, "light ") || contains(sOutput, "moved")) << sOutput;
    EXPECT_EQ(render("far.obj --resolution 40 30 --turn 90 --elevation 0 -o x.png --verbose"), 0);
    EXPECT_TRUE(contains(sOutput, "far.obj: light ") && contains(sOutput, "far.obj: moved ")) << sOutput;
    EXPECT_EQ(render("far.obj --resolution 40 30 --texattr 9 -o x.png"), 0);
    EXPECT_EQ(sOutput, "warning: --texattr 9: the scene has 1 material, counted from 0; nothing becomes bricks\n");
}
#endif

TEST_F(RenderTest, ClosedStreamsAndFullOnesChangeNothing) {
    EXPECT_EQ(render("test -o x.bmp"), 0);
    const std::string sPicture = readFile("x.bmp");
    writeFile("one.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    for (const char* sz : {">&- 2>&- <&-", ">/dev/full 2>/dev/full"}) {
        EXPECT_EQ(render("test -o x.bmp --verbose --texattr 9 "s + sz + " #"), 0) << sz;
        EXPECT_EQ(firstDifference(readFile("x.bmp"), sPicture), "") << sz;
#ifdef RT_IMPORT
        EXPECT_EQ(render("one.obj -o y.bmp --resolution 30 20 --verbose "s + sz + " #"), 0) << sz;
#endif
        EXPECT_EQ(render("nowhere "s + sz + " #"), 1) << sz;
        EXPECT_EQ(render("--bogus "s + sz + " #"), 2) << sz;
    }
}

#ifndef RT_SANITIZED
TEST_F(RenderTest, TooLittleMemoryIsSaid) {
    unsigned uRefused = 0;
    int iStatus = 1;
    for (unsigned u = 14000; iStatus && u < 200000; u += 50) {
        iStatus = render("test -o x.bmp --jobs 1", "ulimit -v " + std::to_string(u) + ";");
        if (iStatus == 127 || (!uRefused && iStatus == 139)) continue;  // the system's loader says it, or crashes
        ASSERT_TRUE(iStatus == 0 || (iStatus == 1 && contains(sOutput, "ot enough memory"))) << u << ": " << sOutput;
        ++uRefused;
    }
    EXPECT_EQ(iStatus, 0);
    EXPECT_GT(uRefused, 3u);
}
#endif

TEST_F(RenderTest, ViewsAndOrbitsLookWhereTheyShould) {
    const auto picture = [&](const std::string& sArguments) {
        EXPECT_EQ(render("test -o x.bmp " + sArguments), 0) << sOutput;
        return readFile("x.bmp");
    };
    const auto difference = [](const std::string& a, const std::string& b) {
        size_t uSum = 0;
        for (size_t u = 54; u < a.size(); ++u)
            uSum += static_cast<size_t>(abs(int{uint8_t(a[u])} - int{uint8_t(b[u])}));
        return static_cast<double>(uSum) / static_cast<double>(a.size());
    };
    const std::string sPlain = picture("");
    EXPECT_LT(difference(sPlain, picture("--from 1 3 -22 --at 0 2 -10")), 1.0) << "the camera file's own view";
    EXPECT_LT(difference(sPlain, picture("--fov 60.13")), 1.0);
    EXPECT_GT(difference(sPlain, picture("--fov 90")), 3.0);
    EXPECT_GT(difference(sPlain, picture("--from 1 30 -22")), 3.0);
    picture("--from 0 50 0 --at 0 0 0");  // straight down
    EXPECT_FALSE(contains(sOutput, "nothing")) << sOutput;

    EXPECT_EQ(render("test --orbit 4 -o film.bmp"), 0) << sOutput;
    EXPECT_EQ(firstDifference(readFile("film-0001.bmp"), sPlain), "");
    fs::create_directory("frames");
    EXPECT_EQ(render("test --orbit 8 -o frames"), 0) << sOutput;
    EXPECT_TRUE(fs::exists("frames/frame-0008.png"));
    EXPECT_FALSE(fs::exists("frames/frame-0009.png"));
    EXPECT_EQ(render("test --orbit 8 -o film.bmp --resolution 56 48"), 0);
    EXPECT_GT(difference(sPlain, readFile("film-0005.bmp")), 3.0) << "from behind";
}

TEST_F(RenderTest, PicturesAreComparedWithAReference) {
    EXPECT_EQ(render("test -o good.png") + render("test -o good.bmp") + render("test -o small.png --resolution 9 9"),
              0);
    std::string sBad = readFile("good.bmp");
    sBad[54 + 3 * (56 * 3 + 5) + 1] = static_cast<char>(sBad[54 + 3 * (56 * 3 + 5) + 1] ^ 4);  // one green by 4
    writeFile("bad.bmp", sBad);
    writeFile("broken.png", readFile("good.png").substr(0, 99));
    const std::string sOne =
        "new.png: 1 of 2688 pixels differ from bad.bmp, the largest difference is 4; see new.diff.png";
    const struct {
        const char* szOptions;
        int iStatus;
        std::string sLine;
        bool bDrawn;
    } cases[] = {{"good.png --verbose", 0, "new.png: as good.png, the largest difference is 0", false},
                 {"bad.bmp", 3, sOne, true},
                 {"bad.bmp --tolerance 3 --quiet", 3, sOne, true},
                 {"bad.bmp --tolerance 4 --verbose", 0, "the largest difference is 4", false},
                 {"small.png", 3, "new.png: 56 x 48 pixels, but the reference small.png has 9 x 9", false},
                 {"broken.png", 1, "broken.png: the reference is no PNG, JPEG or BMP file", false},
                 {"nowhere.png", 1, "nowhere.png: the reference cannot be opened", false}};
    for (const auto& c : cases) {
        EXPECT_EQ(render("test -o new.png --reference "s + c.szOptions), c.iStatus) << c.szOptions;
        EXPECT_TRUE(contains(sOutput, c.sLine)) << sOutput;
        EXPECT_EQ(fs::exists("new.diff.png"), c.bDrawn) << c.szOptions;
    }
    EXPECT_EQ(firstDifference(readFile("new.png"), readFile("good.png")), "");
}

TEST_F(RenderTest, TheCacheIsUsedAndNeverStale) {
    EXPECT_EQ(render("test -o a.bmp --verbose"), 0);
    ASSERT_EQ(cached().size(), 1u);
    EXPECT_TRUE(contains(sOutput, "tree kept"));
    const std::string sPicture = readFile("a.bmp"), sTree = cached()[0];
    fs::rename("Scenes/test/test.brs", "Scenes/test/elsewhere.brs");  // the same content under another path
    writeFile("Scenes/scene_descs/test.txt",
              "Scenes/test/elsewhere.brs\nScenes/test/test.cam\nScenes/test/test.atr\nScenes/test/test.lgt\n");
    EXPECT_EQ(render("test -o b.bmp --verbose"), 0);
    EXPECT_TRUE(contains(sOutput, "tree read")) << sOutput;
    EXPECT_EQ(firstDifference(readFile("b.bmp"), sPicture), "");

    std::string sDamaged = readFile(sTree);
    sDamaged[sDamaged.find(' ', 60) + 1] ^= 1;
    writeFile(sTree, sDamaged);
    EXPECT_EQ(render("test -o c.bmp --verbose"), 0);
    for (const char* sz : {"damaged", "tree kept"}) EXPECT_TRUE(contains(sOutput, sz)) << sz << sOutput;
    EXPECT_EQ(firstDifference(readFile("c.bmp"), sPicture), "");

    makeScene(makeShowcase(), 56, 48).write("test");
    Mesh mesh = makeShowcase();
    mesh.addSphere({0, 5, -2}, 1.0f, 2, 1);
    makeScene(mesh, 56, 48).write("test");
    EXPECT_EQ(render("test -o d.bmp"), 0);
    EXPECT_EQ(firstDifference(readFile("d.bmp"), required("test")), "") << "the file has changed";
    EXPECT_EQ(cached().size(), 2u);

    writeFile("cache/raytracer/old.tree", std::string(1 << 20, 'x'));
    fs::last_write_time("cache/raytracer/old.tree", fs::file_time_type::clock::now() - std::chrono::hours(1));
    EXPECT_EQ(render("test -o d.bmp --cache-limit 1 --resetcache"), 0);
    EXPECT_FALSE(fs::exists("cache/raytracer/old.tree")) << "what was not used for the longest time goes first";
    EXPECT_EQ(cached().size(), 2u);
    fs::remove_all("cache");
    EXPECT_EQ(render("test -o d.bmp --cache-limit 0"), 0);
    EXPECT_TRUE(cached().empty());
    for (const char* szNowhere : {"XDG_CACHE_HOME=/dev/null/x", "XDG_CACHE_HOME= HOME=", "XDG_CACHE_HOME=/proc/x"}) {
        EXPECT_EQ(render("test -o d.bmp", szNowhere), 0);
        EXPECT_EQ(sOutput, "");
    }
}

}  // namespace
#endif
