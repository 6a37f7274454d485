// A tile's public extra against the JSON library's compact writer, the independent oracle: random
// members of every kind (null, booleans, integers at their limits, doubles, texts with every odd
// byte, arrays), random names (odd bytes and NUL included, names that sort before, between and
// after the two defaults, and the defaults' own names), written as that writer writes the object
// with the defaults set where a member gives no value.
#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "PreviewPublicExtra.h"
#include "RandomTexts.h"

namespace {
Json::Value RandomValue(std::mt19937& random, int iDepth)
{
    std::uniform_int_distribution<int> kind(0, iDepth > 0 ? 9 : 8);
    switch (kind(random)) {
        case 0:
            return Json::Value();
        case 1:
            return Json::Value(std::uniform_int_distribution<int>(0, 1)(random) == 1);
        case 2:
            return Json::Value(std::uniform_int_distribution<int>(-2147483647 - 1, 2147483647)(random));
        case 3:
            return Json::Value(static_cast<Json::Int64>(std::uniform_int_distribution<int64_t>(
                std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max())(random)));
        case 4:
            return Json::Value(static_cast<Json::UInt64>(std::uniform_int_distribution<uint64_t>(
                static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) + 1, std::numeric_limits<uint64_t>::max())(random)));
        case 5: {
            static const double kDoubles[] = {0.0, -0.0, 0.5, 1e300, -1e-300, 3.141592653589793, 1e21, 123456789012.0};
            return Json::Value(kDoubles[std::uniform_int_distribution<int>(0, 7)(random)]);
        }
        case 6:
            return Json::Value(std::uniform_real_distribution<double>(-1e9, 1e9)(random));
        case 7:
        case 8: {
            const std::string sText = RandomTexts::Make(random, 6, 2);
            return Json::Value(sText.data(), sText.data() + sText.size());
        }
        default: {
            Json::Value array(Json::arrayValue);
            for (int i = std::uniform_int_distribution<int>(0, 3)(random); i > 0; --i) {
                array.append(RandomValue(random, iDepth - 1));
            }
            return array;
        }
    }
}

std::string RandomName(std::mt19937& random)
{
    static const char* const kNames[] = {"is_resumable", "video_url", "a", "is", "is_resumablf", "resume_position",
                                         "video_urk", "video_url2", "zz", "Z", "_"};
    std::uniform_int_distribution<int> pick(0, 14);
    const int iPick = pick(random);
    if (iPick < 11) return kNames[iPick];
    return RandomTexts::Make(random, 3, 2);
}

// The object the compact writer is given: the members, then each default where the member is
// missing or null.
std::string ByLibrary(const std::vector<std::pair<std::string, Json::Value>>& vecMember)
{
    Json::Value object(Json::objectValue);
    for (const auto& member : vecMember) object[member.first] = member.second;
    if (object["is_resumable"].isNull()) object["is_resumable"] = false;
    if (object["video_url"].isNull()) object["video_url"] = "";
    return Json::FastWriter().write(object);
}
}  // namespace

TEST(PublicExtra, EveryRandomSetOfMembersIsWrittenAsTheCompactWriterWritesIt)
{
    std::mt19937 random(20261124);
    std::uniform_int_distribution<int> count(1, 6);
    int iDirect = 0;
    for (int i = 0; i < 20000; ++i) {
        // Members as the document's object gives them: unique names in ascending byte order.
        Json::Value tile(Json::objectValue);
        for (int n = count(random); n > 0; --n) {
            const std::string sName = RandomName(random);
            tile[sName] = RandomValue(random, 2);
        }
        std::vector<std::pair<std::string, Json::Value>> vecMember;
        PreviewPublicExtra::CExtraMembers extra;
        for (auto it = tile.begin(); it != tile.end(); ++it) {
            const char* pEnd = nullptr;
            const char* pBegin = it.memberName(&pEnd);
            extra.Add(std::string_view(pBegin, static_cast<size_t>(pEnd - pBegin)), *it);
            vecMember.emplace_back(std::string(pBegin, pEnd), *it);
        }
        const std::string sExpected = ByLibrary(vecMember);
        ASSERT_EQ(extra.Write(), sExpected) << i;
        bool bScalarsOnly = true;
        for (const auto& member : vecMember) bScalarsOnly = bScalarsOnly && !member.second.isArray();
        if (bScalarsOnly) ++iDirect;
    }
    // Most sets are scalars only, which this writer writes itself.
    EXPECT_GT(iDirect, 5000);
}

TEST(PublicExtra, ATileWithoutMembersOfItsOwnGetsTheDefaultsAsTheCompactWriterWritesThem)
{
    EXPECT_EQ(PreviewPublicExtra::CExtraMembers().Write(), ByLibrary({}));
}
