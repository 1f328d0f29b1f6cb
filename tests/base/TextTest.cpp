// The line reader and the text writer.
#include <cmath>
#include <cstring>

#include "base/LineReader.h"
#include "base/NRaiiFile.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using TextTest = FileTest;
using Velk::LineReader;

TEST_F(TextTest, LinesAreThoseOfFgetsWithoutComments) {
    const char* const szEnds[] = {"\n", "\r\n", "\n\n", "\n \n", ""};
    const char* const szStarts[] = {"", "//", ";;", "/", " //", "\t"};
    for (uint32_t uSeed = 0; uSeed < 40; ++uSeed) {
        SCOPED_TRACE(uSeed);
        Random random(uSeed);
        std::string sText;
        for (uint32_t u = random.below(200); u > 0; --u) {
            sText += szStarts[random.below(6)];
            sText.append(random.below(4) ? random.below(30) : 2030 + random.below(random.below(2) ? 40 : 9000), 'x');
            sText.append(random.below(20) ? 0 : 1, '\0');
            sText += szEnds[random.below(5)];
        }
        writeFile("text", sText);
        LineReader reader("text");
        const Velk::NRaiiFile judge(Velk::openInput("text"));
        char szLine[2048];
        for (unsigned uLine = 1; fgets(szLine, sizeof(szLine), judge.get()); ++uLine) {
            if (LineReader::isComment(szLine)) continue;
            ASSERT_STREQ(reader.next(), szLine) << uLine;
            ASSERT_EQ(reader.lineNumber(), uLine);
        }
        for (int i = 0; i < 2; ++i) EXPECT_EQ(reader.next(), nullptr);
    }
    EXPECT_FALSE(LineReader("missing").isOpen());
    EXPECT_FALSE(LineReader(".").isOpen()) << "a directory is no file without lines";
}

TEST_F(TextTest, NumbersAreThoseOfSscanf) {
    const char* const szPieces[] = {"1",        "25",    "007",      "0x",    ".",    "-",     "+",     "e",
                                    "E-",       "e+3",   "1p3",      "nan",   "inf",  " ",     " ",     "\t",
                                    "\n",       ",",     "x",        "1e9",   "1e39", "1e-44", "1e-60", " -2.5 ",
                                    "16777217", "99999", "infinity", " 0.1 ", "(1)",  ""};
    for (uint32_t uSeed = 0; uSeed < 20000; ++uSeed) {
        Random random(uSeed);
        std::string s;
        for (uint32_t u = 1 + random.below(12); u > 0; --u) s += szPieces[random.below(30)];
        SCOPED_TRACE(std::to_string(uSeed) + ": " + s);
        float f[7] = {}, g[7] = {};
        const unsigned uMax = 1 + random.below(7);
        int iJudge = sscanf(s.c_str(), "%f %f %f %f %f %f %f", g, g + 1, g + 2, g + 3, g + 4, g + 5, g + 6);
        const unsigned uExpected = std::min(uMax, static_cast<unsigned>(std::max(iJudge, 0)));
        ASSERT_EQ(Velk::readFloats(s.c_str(), f, uMax), uExpected);
        std::fill(g + uExpected, g + 7, 0.0f);
        ASSERT_EQ(memcmp(f, g, sizeof(f)), 0);
        int64_t i[3] = {};
        long long j[3] = {};
        iJudge = sscanf(s.c_str(), "%lld %lld %lld", j, j + 1, j + 2);
        ASSERT_EQ(Velk::readIntegers(s.c_str(), i, 3), static_cast<unsigned>(std::max(iJudge, 0)));
        for (int k = 0; k < iJudge; ++k) ASSERT_EQ(i[k], std::max<int64_t>(j[k], -INT64_MAX));
    }
}

// Some numbers lie next to the middle between two floats, where rounding twice would show.
std::string decimal(Random& random) {
    char sz[64];
    const int iPlaces = static_cast<int>(random.below(9));
    const double dMiddle =
        (16777217.0 + 2 * random.below(8000000)) * std::ldexp(1.0, static_cast<int>(random.below(30)) - 27);
    const double dNear = dMiddle + (static_cast<double>(random.below(5)) - 2) * std::pow(10.0, -iPlaces);
    const double dAny = random.below(100000000) / std::pow(10.0, random.below(9));
    snprintf(sz, sizeof(sz), "%s%.*f", random.below(2) ? "-" : "", iPlaces, random.below(2) ? dNear : dAny);
    return sz;
}

TEST_F(TextTest, PlainLinesAreThoseOfSscanf) {
    const char* const szFaults[] = {"", " ", "\t", "\r", "-", "+", ".", "e1", "1", "0000000000", ":", "/", "\n"};
    unsigned uPlain = 0, uLines = 0;
    for (uint32_t uSeed = 0; uSeed < 60; ++uSeed) {
        Random random(uSeed);
        const unsigned uNumbers = random.below(4), uFloats = uNumbers ? random.below(4) : 3, uAll = uNumbers + uFloats;
        std::string sText;
        for (unsigned uLine = 0; uLine < 600; ++uLine) {
            for (unsigned u = 0; u < uAll; ++u) {
                if (!random.below(60)) sText += szFaults[random.below(13)];
                const uint32_t uNumber = random.below(UINT32_MAX) >> random.below(32);
                sText += u < uNumbers       ? std::to_string(uNumber)
                         : random.below(50) ? decimal(random)
                                            : "90072004.00000001";
                sText += u + 1 < uAll ? " " : "\n";
            }
        }
        writeFile("text", sText);
        LineReader reader("text"), judge("text");
        const uint64_t uLimit = random.below(2) ? UINT64_C(1) << 32 : 1000000;
        for (const char* szLine = judge.next(); szLine; szLine = judge.next(), ++uLines) {
            SCOPED_TRACE(std::to_string(uSeed) + ": " + szLine);
            uint32_t uRead[3];
            float fRead[3];
            if (!reader.nextPlain(uRead, uNumbers, uLimit, fRead, uFloats)) {
                ASSERT_STREQ(reader.next(), szLine);
                continue;
            }
            ++uPlain;
            ASSERT_EQ(reader.lineNumber(), judge.lineNumber());
            char* szEnd = const_cast<char*>(szLine);
            for (unsigned u = 0; u < uAll; ++u) {
                if (u < uNumbers) {
                    ASSERT_EQ(uRead[u], strtoull(szEnd, &szEnd, 10));
                    ASSERT_LT(uRead[u], uLimit);
                } else {
                    const float f = strtof(szEnd, &szEnd);
                    ASSERT_EQ(memcmp(&fRead[u - uNumbers], &f, sizeof(f)), 0);
                }
            }
            ASSERT_STREQ(szEnd, "\n");
        }
        ASSERT_EQ(reader.next(), nullptr);
    }
    EXPECT_GT(uPlain, uLines / 2);
}

}  // namespace
