// A worker reads every request with the same strict reader: what it accepts or refuses, and
// the reason it gives, must not depend on what it read before, nor on other workers reading at
// the same time.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "RequestEnvelope.h"
#include "StoreRequestHandler.h"

namespace {
struct PT_PARSE_RESULT {
    bool bParsed = false;
    std::string sError;
    std::string sValue;  // the object, written compactly, when parsed
};

bool operator==(const PT_PARSE_RESULT& a, const PT_PARSE_RESULT& b)
{
    return a.bParsed == b.bParsed && a.sError == b.sError && a.sValue == b.sValue;
}

std::ostream& operator<<(std::ostream& stream, const PT_PARSE_RESULT& result)
{
    return stream << (result.bParsed ? "parsed " + result.sValue : "refused: " + result.sError);
}

PT_PARSE_RESULT Parse(const std::string& sInput)
{
    PT_PARSE_RESULT result;
    Json::Value root;
    result.bParsed = RequestEnvelope::ParseObject(sInput, root, result.sError);
    if (result.bParsed) result.sValue = StoreReplies::Compact(root);
    return result;
}

// The result of a reader that has read nothing before: the first parse of a new thread.
PT_PARSE_RESULT ParseInFreshThread(const std::string& sInput)
{
    PT_PARSE_RESULT result;
    std::thread thread([&] { result = Parse(sInput); });
    thread.join();
    return result;
}

std::string Nested(int iDepth)
{
    return std::string(static_cast<std::size_t>(iDepth), '[') + std::string(static_cast<std::size_t>(iDepth), ']');
}

// Inputs of every outcome: accepted, syntax errors at several places, duplicate members,
// trailing text, nesting over the limit (the reader throws), comments, NUL escapes.
const std::vector<std::string>& Inputs()
{
    static const std::vector<std::string> s_vecInputs = {
        "{\"table_name\": \"content://org.orvik.pelmo/tiles\", \"where\": \"tile_title = ?\", \"where_args\": [\"a\"]}",
        "{\"a\": [1, 2, 3], \"b\": {\"c\": null}}",
        "{\"a\": ",
        "{\"a\": 1} trailing",
        "{\"a\": 1, \"a\": 2}",
        "{\"a\": " + Nested(40) + "}",
        "{\"a\": " + Nested(14) + "}",
        "// a comment\n{\"a\": 1}",
        "[1, 2]",
        "{\"a\": \"x\\u0000y\"}",
        "{\"a\": tru}",
        "{\"a\": \"é€😀\", \"b\": -12.5e3}",
        "",
        "{\"row\": [{\"tile_title\": \"t\\\"q\\\\\"}]}",
    };
    return s_vecInputs;
}
}  // namespace

TEST(RequestEnvelopeReader, EveryInputGetsTheSameAnswerWhateverWasReadBefore)
{
    std::vector<PT_PARSE_RESULT> vecFresh;
    for (const std::string& sInput : Inputs()) vecFresh.push_back(ParseInFreshThread(sInput));
    // The outcomes are of every kind, so that a reader left in a bad state would show.
    EXPECT_TRUE(vecFresh[0].bParsed);
    EXPECT_FALSE(vecFresh[2].bParsed);
    EXPECT_FALSE(vecFresh[5].bParsed);
    EXPECT_TRUE(vecFresh[6].bParsed) << vecFresh[6];
    // In this thread, each input after every other one, the deep input (which throws) included.
    for (std::size_t iBefore = 0; iBefore < Inputs().size(); ++iBefore) {
        for (std::size_t i = 0; i < Inputs().size(); ++i) {
            Parse(Inputs()[iBefore]);
            EXPECT_EQ(Parse(Inputs()[i]), vecFresh[i]) << "input " << i << " after input " << iBefore;
        }
    }
}

TEST(RequestEnvelopeReader, WorkersReadingAtOnceEachGetTheirOwnAnswers)
{
    std::vector<PT_PARSE_RESULT> vecFresh;
    for (const std::string& sInput : Inputs()) vecFresh.push_back(ParseInFreshThread(sInput));
    constexpr int kWorkers = 4;
    constexpr int kRounds = 200;
    std::atomic<int> iWrong{0};
    std::vector<std::thread> vecThreads;
    for (int w = 0; w < kWorkers; ++w) {
        vecThreads.emplace_back([&, w] {
            for (int r = 0; r < kRounds; ++r) {
                const std::size_t i = static_cast<std::size_t>(w + r * 7) % Inputs().size();
                if (!(Parse(Inputs()[i]) == vecFresh[i])) ++iWrong;
            }
        });
    }
    for (std::thread& thread : vecThreads) thread.join();
    EXPECT_EQ(iWrong.load(), 0);
}
