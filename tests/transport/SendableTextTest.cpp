// The request texts' check against GLib's validator over the whole text, as the independent
// oracle: the same verdict and the same offending byte, wherever the odd bytes fall relative to
// the eight-byte words that the check reads first.
#include <gtest/gtest.h>
#include <glib.h>

#include <random>
#include <string>

#include "RandomTexts.h"
#include "SendableText.h"

namespace {
struct PT_VERDICT {
    bool bValid;
    size_t uOffset;
};

PT_VERDICT ByGLib(const std::string& sText)
{
    const gchar* pEnd = nullptr;
    if (g_utf8_validate_len(sText.data(), sText.size(), &pEnd)) return {true, 0};
    return {false, static_cast<size_t>(pEnd - sText.data())};
}

PT_VERDICT ByCheck(const std::string& sText)
{
    size_t uOffset = 0;
    if (IsSendableText(sText, uOffset)) return {true, 0};
    return {false, uOffset};
}
}  // namespace

TEST(SendableText, AgreesWithGLibOnRandomTextsOfEveryAlignment)
{
    std::mt19937 random(20261124);
    std::uniform_int_distribution<int> prefix(0, 23);
    int iInvalid = 0;
    for (int i = 0; i < 40000; ++i) {
        // A plain prefix of any length moves the odd pieces across the word boundaries.
        std::string sText(static_cast<size_t>(prefix(random)), 'x');
        sText += RandomTexts::Make(random, 12, 6);
        const PT_VERDICT expected = ByGLib(sText);
        const PT_VERDICT got = ByCheck(sText);
        ASSERT_EQ(got.bValid, expected.bValid) << i;
        if (!expected.bValid) {
            ++iInvalid;
            ASSERT_EQ(got.uOffset, expected.uOffset) << i;
        }
    }
    // Both verdicts were met often enough to mean something.
    EXPECT_GT(iInvalid, 4000);
    EXPECT_LT(iInvalid, 36000);
}

TEST(SendableText, FindsANulOrAHighByteInEveryPositionOfALongText)
{
    const std::string sPlain(70, 'a');
    EXPECT_TRUE(ByCheck(sPlain).bValid);
    EXPECT_TRUE(ByCheck("").bValid);
    for (size_t uAt = 0; uAt < sPlain.size(); ++uAt) {
        for (const char cOdd : {'\0', '\xff', '\x80'}) {
            std::string sText = sPlain;
            sText[uAt] = cOdd;
            const PT_VERDICT got = ByCheck(sText);
            EXPECT_FALSE(got.bValid) << uAt;
            EXPECT_EQ(got.uOffset, uAt) << uAt;
        }
        // A valid two-byte character anywhere keeps the text sendable.
        std::string sAccented = sPlain;
        sAccented.replace(uAt, 1, "\xc3\xa9");
        EXPECT_TRUE(ByCheck(sAccented).bValid) << uAt;
    }
}
