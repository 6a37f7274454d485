// Texts that are not valid UTF-8: found in the document's own bytes at their paths, with what
// the store makes of them, and the UTF-8 rule itself against GLib's on random bytes.
#include <glib.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "DocumentPositions.h"
#include "JsonTextFlaws.h"
#include "TextCheck.h"
#include "ValidateDocument.h"
#include "ValidateInProcess.h"

namespace {

std::vector<PT_VALIDATE_FINDING> NotUtf8Findings(const PT_VALIDATE_RESULT& result)
{
    return FindingsOfKind(result, ValidateKind::NOT_UTF8);
}

// The one not-utf8 finding of a document; fails the test when there is not exactly one.
PT_VALIDATE_FINDING OnlyNotUtf8Finding(const std::string& sText, const std::string& sModule = std::string())
{
    const PT_VALIDATE_RESULT result = Validate(sText, sModule);
    EXPECT_TRUE(result.bUsable) << result.sUnusable;
    const std::vector<PT_VALIDATE_FINDING> vecFinding = NotUtf8Findings(result);
    EXPECT_EQ(vecFinding.size(), 1u) << sText;
    if (vecFinding.empty()) return PT_VALIDATE_FINDING();
    EXPECT_FALSE(vecFinding[0].bError);
    return vecFinding[0];
}

bool Contains(const std::string& sText, const std::string& sPart)
{
    return sText.find(sPart) != std::string::npos;
}

const char* const kRecreated = "every publish deletes it and inserts it again";
const char* const kOtherText = "the store holds other text than the document";
const char* const kNotStored = "these bytes never reach the store";

}  // namespace

TEST(TextEncoding, InvalidByteInATileTitleRecreatesTheTileOnEveryPublish)
{
    const std::string sText =
        "{\"sections\": [{\"section_id\": 1, \"section_title\": \"S\",\n"
        "  \"tiles\": [{\"tile_title\": \"Caf\xe9\", \"action_data\": \"a\"}]}]}";
    const PT_VALIDATE_FINDING finding = OnlyNotUtf8Finding(sText);
    EXPECT_EQ(finding.sPath, "sections[0].tiles[0].tile_title");
    EXPECT_EQ(finding.iLine, 2);
    // The byte E9 is where the finding points.
    EXPECT_EQ(finding.iColumn, static_cast<int>(std::string("  \"tiles\": [{\"tile_title\": \"Caf").size()) + 1);
    EXPECT_TRUE(Contains(finding.sMessage, "byte E9")) << finding.sMessage;
    EXPECT_TRUE(Contains(finding.sMessage, "U+FFFD")) << finding.sMessage;
    EXPECT_TRUE(Contains(finding.sMessage, "this tile")) << finding.sMessage;
    EXPECT_TRUE(Contains(finding.sMessage, kRecreated)) << finding.sMessage;
}

// One document per place: the finding's path, and what the message says the store makes of it.
TEST(TextEncoding, EachPlaceSaysWhatTheStoreMakesOfTheText)
{
    struct PT_CASE {
        const char* sDocument;
        const char* sPath;
        std::vector<const char*> vecSaid;
        const char* sNotSaid;
    };
    const PT_CASE aCase[] = {
        // A section's title is part of its content key.
        {"{\"sections\": [{\"section_id\": 1, \"section_title\": \"\xff News\"}]}",
         "sections[0].section_title",
         {"this section", kRecreated},
         kOtherText},
        // A tile member without a column goes to public_extra, name and all.
        {"{\"sections\": [{\"tiles\": [{\"tile_title\": \"T\", \"gr\xfc\xdf\": 1}]}]}",
         "sections[0].tiles[0][\"gr\\ufffd\\ufffd\"]",
         {"the member name", "and 1 more", kOtherText},
         kRecreated},
        // A section member without a column is dropped, name and all.
        {"{\"sections\": [{\"section_title\": \"S\", \"x\x80\": \"y\"}]}",
         "sections[0][\"x\\ufffd\"]",
         {"the member name", kNotStored},
         kRecreated},
        // A text deep inside a public_extra member.
        {"{\"sections\": [{\"tiles\": [{\"tile_title\": \"T\", \"resume\": [\"ok\", \"\xc3\"]}]}]}",
         "sections[0].tiles[0].resume[1]",
         {"continuation bytes are missing", kOtherText},
         kRecreated},
    };
    for (const PT_CASE& testCase : aCase) {
        const PT_VALIDATE_FINDING finding = OnlyNotUtf8Finding(testCase.sDocument);
        EXPECT_EQ(finding.sPath, testCase.sPath);
        for (const char* sSaid : testCase.vecSaid) EXPECT_TRUE(Contains(finding.sMessage, sSaid)) << finding.sMessage;
        EXPECT_FALSE(Contains(finding.sMessage, testCase.sNotSaid)) << finding.sMessage;
    }
}

TEST(TextEncoding, EveryInvalidTextOfADocumentIsOneWarning)
{
    const std::string sText =
        "{\"sections\": [\n"
        " {\"section_title\": \"\xff\", \"tiles\": [\n"
        "  {\"tile_title\": \"a\xfe\", \"n\xc0\": 1, \"extra\": \"\xed\xa0\x80\"}]}]}";
    const PT_VALIDATE_RESULT result = Validate(sText);
    const std::vector<PT_VALIDATE_FINDING> vecFinding = NotUtf8Findings(result);
    ASSERT_EQ(vecFinding.size(), 4u);
    EXPECT_EQ(vecFinding[0].sPath, "sections[0].section_title");
    EXPECT_EQ(vecFinding[1].sPath, "sections[0].tiles[0].tile_title");
    EXPECT_EQ(vecFinding[2].sPath, "sections[0].tiles[0][\"n\\ufffd\"]");
    EXPECT_EQ(vecFinding[3].sPath, "sections[0].tiles[0].extra");
    EXPECT_EQ(result.ErrorCount(), 0);
}

TEST(TextEncoding, ValidMultiByteTextIsClean)
{
    // Two-, three- and four-byte characters, raw and as an escaped surrogate pair.
    const std::string sText =
        "{\"sections\": [{\"section_id\": 1, \"section_title\": \"\xc3\x9cn\xc3\xaf"
        "c\xc3\xb6"
        "d\xc3\xa9\",\n"
        "  \"tiles\": [{\"tile_title\": \"\xe6\x9d\xb1\xe4\xba\xac \xf0\x9f\x93\xba\", "
        "\"tile_subtitle\": \"\\ud83d\\ude00 \\u00fc \\u20ac\", \"action_data\": \"\xf4\x8f\xbf\xbf\"}]}]}";
    const PT_VALIDATE_RESULT result = Validate(sText);
    EXPECT_TRUE(result.bUsable);
    EXPECT_TRUE(result.vecFinding.empty()) << result.vecFinding.front().sMessage;
}

TEST(TextEncoding, OverlongsSurrogatesAndCodePointsBeyondUnicodeAreFlagged)
{
    struct PT_CASE {
        const char* sBytes;
        const char* sWhat;
    };
    const PT_CASE aCase[] = {
        {"\xc0\xaf", "overlong"},           {"\xc1\xbf", "overlong"},
        {"\xe0\x80\xaf", "overlong"},       {"\xf0\x80\x80\xaf", "overlong"},
        {"\xed\xa0\x80", "surrogate"},      {"\xed\xbf\xbf", "surrogate"},
        {"\xf4\x90\x80\x80", "U+10FFFF"},   {"\xf8\x88\x80\x80", "never occurs"},
        {"\x80", "continues no character"}, {"x\xe2\x82", "remaining bytes are missing"},
    };
    for (const PT_CASE& testCase : aCase) {
        const PT_VALIDATE_FINDING finding = OnlyNotUtf8Finding(
            std::string("{\"sections\": [{\"tiles\": [{\"tile_title\": \"") + testCase.sBytes + "\"}]}]}");
        EXPECT_EQ(finding.sPath, "sections[0].tiles[0].tile_title");
        EXPECT_TRUE(Contains(finding.sMessage, testCase.sWhat)) << finding.sMessage;
    }
}

TEST(TextEncoding, EscapedSurrogatesWithoutTheirPartnerAreFlagged)
{
    // The reader makes the bytes ED B0 80 of a lone low surrogate, which the writer replaces.
    const PT_VALIDATE_FINDING low =
        OnlyNotUtf8Finding("{\"sections\": [{\"tiles\": [{\"tile_title\": \"x\\udc00\"}]}]}");
    EXPECT_TRUE(Contains(low.sMessage, "\\udc00 is the second half")) << low.sMessage;
    EXPECT_TRUE(Contains(low.sMessage, kRecreated)) << low.sMessage;
    EXPECT_EQ(low.iColumn,
              static_cast<int>(std::string("{\"sections\": [{\"tiles\": [{\"tile_title\": \"x").size()) + 1);

    // A high surrogate and an escape that is no low one become one unrelated character, which
    // the store then holds as it is: not recreated, but not what the document wrote either.
    const PT_VALIDATE_FINDING joined =
        OnlyNotUtf8Finding("{\"sections\": [{\"tiles\": [{\"tile_title\": \"\\ud800\\u0041\"}]}]}");
    EXPECT_TRUE(Contains(joined.sMessage, "U+10041")) << joined.sMessage;
    EXPECT_TRUE(Contains(joined.sMessage, "the store holds what the reader makes of it")) << joined.sMessage;

    // A high surrogate followed by no escape is refused by the reader: the text is not JSON.
    const PT_VALIDATE_RESULT lone = Validate("{\"sections\": [{\"tiles\": [{\"tile_title\": \"\\ud800x\"}]}]}");
    EXPECT_FALSE(lone.bUsable);
    EXPECT_TRUE(Contains(lone.sUnusable, "not JSON")) << lone.sUnusable;
}

TEST(TextEncoding, WhatTheStoreMakesOfATextIsAskedOfTheReaderForTheModule)
{
    // tile_action_play is part of the tile's key only for the module keyed by it.
    const std::string sText =
        "{\"sections\": [{\"tiles\": [{\"tile_title\": \"T\", \"tile_action_play\": \"p\xff\"}]}]}";
    EXPECT_TRUE(Contains(OnlyNotUtf8Finding(sText).sMessage, kOtherText));
    EXPECT_TRUE(Contains(OnlyNotUtf8Finding(sText, "com.quenor.tv.Skyvane").sMessage, kRecreated));
    // A display time is stored as the integer its text starts with: the bad byte is lost.
    EXPECT_TRUE(Contains(
        OnlyNotUtf8Finding("{\"sections\": [{\"tiles\": [{\"tile_display_until\": \"1893456000\xff\"}]}]}").sMessage,
        kNotStored));
    // A member the document does not read, and one a later member of the same name replaces.
    EXPECT_TRUE(Contains(OnlyNotUtf8Finding("{\"note\": \"\xff\"}").sMessage, kNotStored));
    const PT_VALIDATE_FINDING replaced =
        OnlyNotUtf8Finding("{\"sections\": [{\"tiles\": [{\"tile_title\": \"\xff\", \"tile_title\": \"T\"}]}]}");
    EXPECT_TRUE(Contains(replaced.sMessage, "a later member of the same name replaces it")) << replaced.sMessage;
}

TEST(TextEncoding, TextOutsideStringsAndNotJsonAtAllAreNotTexts)
{
    // Bytes in a comment are no text of the document.
    EXPECT_TRUE(NotUtf8Findings(Validate("{\"sections\": [] /* \xff */}")).empty());
    // A document that is not JSON keeps its one error.
    const PT_VALIDATE_RESULT notJson = Validate("{\"sections\": [\"\xff\" \"\xfe\"]}");
    EXPECT_FALSE(notJson.bUsable);
    EXPECT_TRUE(notJson.vecFinding.empty());
}

TEST(TextEncoding, PathsAreWrittenAsForEveryOtherFinding)
{
    const std::string sDeep =
        "{\"sections\": [{\"tiles\": [{\"x\": [[{\"y z\": [\"\xff\"]}]], \"w\": {\"\": \"\xfe\"}}]}], \"$\": "
        "[\"\xfd\"]}";
    const std::vector<PT_VALIDATE_FINDING> vecFinding = NotUtf8Findings(Validate(sDeep));
    ASSERT_EQ(vecFinding.size(), 3u);
    const std::string sTile = JsonPathIndex(JsonPathMember(JsonPathIndex("sections", 0), "tiles"), 0);
    EXPECT_EQ(vecFinding[0].sPath,
              JsonPathIndex(JsonPathMember(JsonPathIndex(JsonPathIndex(JsonPathMember(sTile, "x"), 0), 0), "y z"), 0));
    EXPECT_EQ(vecFinding[1].sPath, JsonPathMember(JsonPathMember(sTile, "w"), ""));
    EXPECT_EQ(vecFinding[2].sPath, JsonPathIndex(JsonPathMember(JsonPathRoot(), "$"), 0));
    EXPECT_EQ(vecFinding[0].sPath, "sections[0].tiles[0].x[0][0][\"y z\"][0]");
}

TEST(TextEncoding, PathsShowBytesThatAreNotUtf8AsReplacementCharacters)
{
    EXPECT_EQ(JsonPathMember("x",
                             "a\xff"
                             "b"),
              "x[\"a\\ufffdb\"]");
    EXPECT_EQ(JsonPathMember("x", "\xe2\x82"), "x[\"\\ufffd\"]");
    EXPECT_EQ(JsonPathMember("x", "\xc3\xbc"), "x[\"\xc3\xbc\"]");
}

// The UTF-8 rule against GLib's: the same verdict and the same first bad byte on random byte
// strings, mostly made of characters of every length with some bytes broken.
TEST(TextEncoding, Utf8RuleAgreesWithGlibOnRandomBytes)
{
    std::mt19937 random(20260515);
    std::uniform_int_distribution<int> byteOf(1, 255);  // GLib refuses NUL; the rule allows it
    std::uniform_int_distribution<unsigned long> codeOf(1, 0x10ffff);
    std::uniform_int_distribution<int> choice(0, 9);
    int iValid = 0, iInvalid = 0;
    for (int iRound = 0; iRound < 20000; ++iRound) {
        std::string sText;
        const int iParts = choice(random) + 1;
        for (int i = 0; i < iParts; ++i) {
            if (choice(random) < 7) {
                gchar sChar[8];
                const gint iLength = g_unichar_to_utf8(static_cast<gunichar>(codeOf(random)), sChar);
                sText.append(sChar, static_cast<size_t>(iLength));
            } else {
                sText += static_cast<char>(byteOf(random));
            }
        }
        const gchar* pEnd = nullptr;
        const bool bGlib = g_utf8_validate_len(sText.data(), sText.size(), &pEnd);
        size_t uLength = 0;
        const size_t uAt = TextCheck::FindNotUtf8(sText.data(), sText.size(), uLength);
        ASSERT_EQ(bGlib, uAt == sText.size()) << JsonQuoted(sText);
        ASSERT_EQ(TextCheck::IsUtf8(sText), bGlib);
        if (!bGlib) {
            ASSERT_EQ(uAt, static_cast<size_t>(pEnd - sText.data())) << JsonQuoted(sText);
        }
        // As a JSON string without escapes, the text has flaws exactly when it is not UTF-8.
        std::string sToken = "\"";
        for (char c : sText) sToken += c == '"' || c == '\\' ? 'q' : c;
        sToken += '"';
        const gchar* pTokenEnd = nullptr;
        ASSERT_EQ(FindTextFlaws(sToken.data(), sToken.size()).empty(),
                  static_cast<bool>(g_utf8_validate_len(sToken.data(), sToken.size(), &pTokenEnd)));
        ++(bGlib ? iValid : iInvalid);
    }
    // Both verdicts were put to the test many times.
    EXPECT_GT(iValid, 2000);
    EXPECT_GT(iInvalid, 2000);
}
