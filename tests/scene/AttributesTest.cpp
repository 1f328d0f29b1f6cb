// The materials' file.
#include "scene/Attributes.h"

#include <sys/resource.h>

#include <cstring>

#include "support/FileTest.h"
#include "support/Process.h"

using namespace rt;

namespace {

using AttributesTest = FileTest;

bool load(Attributes& attributes, const std::string& sText) {
    writeFile("a.atr", sText);
    return attributes.loadAttributes("a.atr");
}

using Read = AttributeInstance;

// One line for every keyword, and what it sets.
const std::pair<const char*, void (*)(Read&)> KEYWORDS[] = {
    // clang-format off
    {"kd 0.5", [](Read& a) { a.fKd = 0.5f; }}, {"ks .25", [](Read& a) { a.fKs = 0.25f; }},
    {"kts 1e-1", [](Read& a) { a.fKts = 0.1f; }}, {"ktd 2", [](Read& a) { a.fKtd = 2.0f; }},
    {"ka -1", [](Read& a) { a.fKa = -1.0f; }}, {"kf 0.25", [](Read& a) { a.fKf = 0.75f; }},
    {"Ft 3", [](Read& a) { a.fFt = 3.0f; }}, {"eta 1.5", [](Read& a) { a.fEta = 1.5f; }},
    {"SelfLuminance 7", [](Read& a) { a.fSelfLuminance = 7.0f; }},
    {"my_ks 2 on reflection", [](Read& a) { a.fKs = 2.0f; }},
    {"highlight x y\nmirror off\nshading on\non mirror\nnothing known 5\nKd 5", [](Read&) {}},
    {"gs 20.9", [](Read& a) { a.iGs = 20; }}, {"gm -3", [](Read& a) { a.iGm = -3; }},
    {"gs 99999999999", [](Read& a) { a.iGs = INT32_MAX; }},
    {"SelfLumDirection Pos", [](Read& a) { a.uFlags = 0x01; }}, {"OneSheet on", [](Read& a) { a.uFlags = 0x02; }},
    {"reflection on", [](Read& a) { a.uFlags = 0x04; }}, {"indirect on", [](Read& a) { a.uFlags = 0x08; }},
    {"mirror on", [](Read& a) { a.uFlags = 0x10; }}, {"shadowcast on", [](Read& a) { a.uFlags = 0x20; }},
    {"shadowfall on", [](Read& a) { a.uFlags = 0x40; }}, {"shading smooth", [](Read& a) { a.uFlags = 0x80; }},
    {"color 255 128 0", [](Read& a) { a.v3Color = {1.0f, 128.0f / 255.0f, 0.0f}; }},
    {"color -1 0 510", [](Read& a) { a.v3Color = {4294967295.0f / 255.0f, 0.0f, 2.0f}; }},
    // clang-format on
};

TEST_F(AttributesTest, EveryKeywordSetsItsFieldAndNothingElse) {
    for (const auto& [szLine, pfnSet] : KEYWORDS) {
        Read expected{};
        strcpy(expected.szName, "brick");
        pfnSet(expected);
        for (const char* szIndent : {"", " \t"}) {
            Attributes attributes;
            ASSERT_FALSE(load(attributes, std::string("Attr brick\n") + szIndent + szLine + "\nenddef\n"));
            ASSERT_EQ(attributes.vAttributes.uSize, 1u);
            EXPECT_EQ(memcmp(&attributes.vAttributes[0], &expected, sizeof(expected)), 0) << szLine;
        }
    }
}

TEST_F(AttributesTest, BlocksBecomeRecordsInTheirOrder) {
    std::string sText;
    for (char c = '0'; c <= '9'; ++c) {
        sText += std::string("// block\n\n  Attr n") + c + " x\nkd 9\nkd " + c +
                 "\nmirror on\nreflection on\nmirror off\n\nenddef\r\n";
    }
    Attributes attributes;
    ASSERT_FALSE(load(attributes, sText + "New_Attr " + std::string(60, 'n') + "\nenddef\nAttr open\nkd 1\n"));
    ASSERT_EQ(attributes.vAttributes.uSize, 11u) << "the open block is dropped";
    for (uint32_t u = 0; u < 10; ++u) {
        EXPECT_EQ(attributes.vAttributes[u].szName, "n" + std::to_string(u));
        EXPECT_EQ(attributes.vAttributes[u].fKd, static_cast<float>(u)) << "the last line counts";
        EXPECT_EQ(attributes.vAttributes[u].uFlags, AF_MIRROR | AF_REFLECTION) << "a switch once set stays set";
    }
    EXPECT_EQ(attributes.vAttributes[10].szName, std::string(39, 'n')) << "cut to its field";
    Attributes refused;
    EXPECT_TRUE(load(refused, "Attr a\nenddef\nAttr b\nkd\n"));
    EXPECT_EQ(refused.vAttributes.uSize, 1u) << "records before the error stay";
}

TEST_F(AttributesTest, MaterialsWithoutMemoryAreDroppedSilently) {
#ifdef RT_SANITIZED
    GTEST_SKIP() << "no limit of memory under a sanitizer";
#endif
    std::string sText;
    for (unsigned u = 0; u < 20'000; ++u) sText += "Attr a\nenddef\n";
    writeFile("many.atr", sText);
    Process process([] {
        Attributes few, all;
        if (load(few, "Attr a\nenddef\n")) return 1;  // takes the stack that loading needs
        const rlimit none{0, 0};
        if (setrlimit(RLIMIT_DATA, &none)) return 2;
        if (all.loadAttributes("many.atr") || !all.bLoaded) return 3;
        return all.vAttributes.uSize == 20'000 ? 77 : 0;
    });
    const int iResult = process.wait();
    if (iResult == 77) GTEST_SKIP() << "the limit has no effect here";
    EXPECT_EQ(iResult, 0);
    EXPECT_FALSE(contains(takeLog(), "emory"));
}

}  // namespace
