// The tile key against its definition, with the standard library's string hash as the oracle:
// the hash of title and action joined, xor the hash of subtitle and image address joined,
// shifted by one bit. Joined texts of every length, short ones and ones past any stack buffer.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <random>
#include <string>

#include "PreviewDataUtil.h"
#include "PreviewHash.h"
#include "RandomTexts.h"

TEST(TileKey, IsTheStandardHashOfTheJoinedTexts)
{
    if (sizeof(size_t) < sizeof(uint64_t)) {
        GTEST_SKIP() << "the standard library's string hash has 32 bits here; the key keeps the 64-bit one";
    }
    std::mt19937 random(20261124);
    std::uniform_int_distribution<int> longText(0, 19), repeat(1, 300);
    CPreviewDataUtil util;
    for (int i = 0; i < 20000; ++i) {
        std::string aText[4];
        for (std::string& sText : aText) {
            sText = RandomTexts::Make(random, 6, 3);
            // Now and then a text that no short buffer holds.
            if (longText(random) == 0) sText = std::string(static_cast<size_t>(repeat(random)), 'w') + sText;
        }
        const std::hash<std::string> hash;
        const uint64_t uExpected =
            static_cast<uint64_t>(hash(aText[0] + aText[3])) ^ (static_cast<uint64_t>(hash(aText[1] + aText[2])) << 1);
        ASSERT_EQ(PreviewHash::TileKey(aText[0], aText[1], aText[2], aText[3]), uExpected) << i;
        ASSERT_EQ(util.CalcTileHash(aText[0], aText[1], aText[2], aText[3]), uExpected) << i;
    }
}
