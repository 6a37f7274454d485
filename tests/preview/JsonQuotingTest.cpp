// The word test of the quoting against its per-byte table, the independent oracle: every byte
// value in every position of a word, and random words mixing plain and odd bytes; then the
// quoting itself against the JSON library's quoting, with the odd bytes on both sides of every
// word boundary.
#include <gtest/gtest.h>
#include <json/json.h>

#include <cstring>
#include <random>
#include <string>

#include "JsonQuoting.h"

namespace {
bool PlainByTable(uint64_t uWord)
{
    unsigned char aByte[8];
    std::memcpy(aByte, &uWord, sizeof aByte);
    for (unsigned char c : aByte) {
        if (JsonQuoting::kByteClasses.aClass[c] != 0) return false;
    }
    return true;
}

uint64_t WordOf(const unsigned char (&aByte)[8])
{
    uint64_t uWord;
    std::memcpy(&uWord, aByte, sizeof uWord);
    return uWord;
}
}  // namespace

TEST(JsonQuoting, WordTestAgreesWithTheTableForEveryByteInEveryPosition)
{
    int iOdd = 0;
    for (int iPosition = 0; iPosition < 8; ++iPosition) {
        for (int iByte = 0; iByte < 256; ++iByte) {
            unsigned char aByte[8];
            std::memset(aByte, 'a', sizeof aByte);
            aByte[iPosition] = static_cast<unsigned char>(iByte);
            const uint64_t uWord = WordOf(aByte);
            ASSERT_EQ(JsonQuoting::IsPlainWord(uWord), PlainByTable(uWord)) << iPosition << " " << iByte;
            if (!PlainByTable(uWord)) ++iOdd;
        }
    }
    // 32 control bytes, the quote, the backslash, DEL and 128 bytes past ASCII, per position.
    EXPECT_EQ(iOdd, 8 * (32 + 3 + 128));
}

TEST(JsonQuoting, WordTestAgreesWithTheTableOnRandomWords)
{
    std::mt19937_64 random(20261124);
    // Mostly plain bytes, with the borders of each odd range close by.
    const unsigned char aNear[] = {0x00, 0x01, 0x1f, 0x20, 0x21, 0x22, 0x23, 0x5b, 0x5c, 0x5d,
                                   0x7e, 0x7f, 0x80, 0x81, 0xfe, 0xff, 'a', 'z', '0', '/'};
    std::uniform_int_distribution<int> plain(0x20, 0x7e), near(0, sizeof aNear - 1), pick(0, 3);
    int iPlain = 0;
    for (int i = 0; i < 400000; ++i) {
        unsigned char aByte[8];
        for (unsigned char& c : aByte) c = pick(random) == 0 ? aNear[near(random)] : static_cast<unsigned char>(plain(random));
        const uint64_t uWord = WordOf(aByte);
        ASSERT_EQ(JsonQuoting::IsPlainWord(uWord), PlainByTable(uWord)) << std::hex << uWord;
        if (PlainByTable(uWord)) ++iPlain;
    }
    EXPECT_GT(iPlain, 10000);
    EXPECT_LT(iPlain, 390000);
}

TEST(JsonQuoting, QuotesAsTheLibraryDoesWithOddBytesAcrossWordBoundaries)
{
    const char* const aOdd[] = {"\"", "\\", "\n", "\t", "\x01", "\x7f", "\xc3\xa9", "\xff", "/"};
    for (size_t uLength = 0; uLength < 20; ++uLength) {
        for (size_t uAt = 0; uAt <= uLength; ++uAt) {
            for (const char* sOdd : aOdd) {
                std::string sText(uLength, 'x');
                sText.insert(uAt, sOdd);
                std::string sQuoted = "<";
                ASSERT_TRUE(JsonQuoting::AppendQuoted(sText.data(), sText.data() + sText.size(), sQuoted));
                EXPECT_EQ(sQuoted, "<" + Json::valueToQuotedString(sText.c_str())) << uLength << " " << uAt;
            }
        }
        // A NUL anywhere is refused, and nothing is appended.
        std::string sText(uLength, 'x');
        sText.insert(uLength / 2, 1, '\0');
        std::string sQuoted = "<";
        EXPECT_FALSE(JsonQuoting::AppendQuoted(sText.data(), sText.data() + sText.size(), sQuoted));
        EXPECT_EQ(sQuoted, "<");
    }
}
