// How texts from outside are shown.
#include "base/Printable.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Velk::Printable;
using namespace std::string_literals;

TEST(PrintableTest, EscapesWhatControlsOrMisleadsAndKeepsTheRest) {
    const std::string kept[] = {"", "Scenes/a b/\\x1B.cam \"~", "ä ß € 模型 🙂", "\u00A0\u200D\uFEFF",
                                "\U0010FFFF"};
    for (const std::string& s : kept) EXPECT_EQ(Printable(s.c_str()).text(), s);
    const struct {
        std::string sText, sShown;
    } escaped[] = {{"\x1B[2J\x07", "\\x1B[2J\\x07"},
                   {"a\r\nb\tc\x7F", "a\\x0D\\x0Ab\\x09c\\x7F"},
                   {"a\0b"s, "a\\x00b"},
                   {"\x9B"
                    "2J",
                    "\\x9B2J"},
                   {"\u0080\u009B\u00A0", "\\xC2\\x80\\xC2\\x9B\u00A0"},
                   {"\u2027\u2028\u2029\u202F", "\u2027\\xE2\\x80\\xA8\\xE2\\x80\\xA9\u202F"},
                   {"\u202A\u202E", "\\xE2\\x80\\xAA\\xE2\\x80\\xAE"},
                   {"\u2065\u2066\u2069\u206A", "\u2065\\xE2\\x81\\xA6\\xE2\\x81\\xA9\u206A"},
                   {"\u200E\u200F\u061C", "\\xE2\\x80\\x8E\\xE2\\x80\\x8F\\xD8\\x9C"},
                   {"\xC0\x9B", "\\xC0\\x9B"},                             // overlong
                   {"\xE0\x80\x9B", "\\xE0\\x80\\x9B"},                    // overlong
                   {"\xF0\x8F\xBF\xBF", "\\xF0\\x8F\\xBF\\xBF"},           // overlong
                   {"\xED\xA0\x80", "\\xED\\xA0\\x80"},                    // half of a surrogate pair
                   {"\xF4\x90\x80\x80\xF5", "\\xF4\\x90\\x80\\x80\\xF5"},  // beyond the last character
                   {"\xE2\x82", "\\xE2\\x82"},                             // ends early
                   {"\xE2\x1B[", "\\xE2\\x1B["}};
    for (const auto& row : escaped) EXPECT_EQ(Printable(row.sText.data(), row.sText.size()).text(), row.sShown);
    EXPECT_STREQ(Printable("\t\x1B", 2, 9, Velk::KEEP_TABS).text(), "\t\\x1B");
}

TEST(PrintableTest, CutsLongTextsBetweenCharacters) {
    constexpr size_t LONGEST = Printable::LONGEST;
    const std::string sFits(LONGEST, 'x');
    EXPECT_EQ(Printable(sFits.c_str()).text(), sFits);
    EXPECT_EQ(Printable((sFits + "x").c_str()).text(), std::string(LONGEST - 3, 'x') + "...");
    const std::string sEuros = "€€€€€€", sStart(LONGEST - 4, 'x');
    EXPECT_EQ(Printable((sStart + sEuros).c_str()).text(), sStart + "...");
    EXPECT_EQ(Printable((sStart + "x\x1B\x1B").c_str()).text(), sStart + "x...");
    EXPECT_STREQ(Printable(sEuros.data(), 18, 18).text(), "€€€€€€");
    EXPECT_STREQ(Printable(sEuros.data(), 18, 17).text(), "€€€€€...");
}

}  // namespace
