// The read-back's integer conversion against std::stoi, the conversion it stands in for: the
// same value, or the same error, for short and long digit runs, signs, spaces and odd bytes.
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>

#include "StoredInteger.h"

namespace {
// The value, or the name of the error, that a conversion gives.
template <typename Convert>
std::string Outcome(Convert convert, const std::string& sText)
{
    try {
        return std::to_string(convert(sText));
    } catch (const std::out_of_range&) {
        return "out_of_range";
    } catch (const std::invalid_argument&) {
        return "invalid_argument";
    }
}

std::string ByStoi(const std::string& sText)
{
    return Outcome([](const std::string& s) { return std::stoi(s); }, sText);
}

std::string ByReadBack(const std::string& sText)
{
    return Outcome([](const std::string& s) { return StoredInteger::ValueOf(s); }, sText);
}
}  // namespace

TEST(StoredInteger, GivesWhatStoiGivesForRandomTexts)
{
    std::mt19937 random(20261124);
    const char* const aPiece[] = {"0", "1", "7", "9", "-", "+", " ", "\t", "a", ".", "/", ":", "\xc3\xa9", "00"};
    std::uniform_int_distribution<size_t> pick(0, sizeof aPiece / sizeof aPiece[0] - 1);
    std::uniform_int_distribution<int> length(0, 14), digit(0, 9), odd(0, 5);
    int iValues = 0;
    for (int i = 0; i < 200000; ++i) {
        std::string sText;
        for (int n = length(random); n > 0; --n) {
            // Mostly digits, so that values of every length come up, and now and then a piece.
            sText += odd(random) == 0 ? std::string(aPiece[pick(random)]) : std::string(1, char('0' + digit(random)));
        }
        const std::string sExpected = ByStoi(sText);
        ASSERT_EQ(ByReadBack(sText), sExpected) << "[" << sText << "]";
        if (sExpected != "out_of_range" && sExpected != "invalid_argument") ++iValues;
    }
    EXPECT_GT(iValues, 20000);
}

TEST(StoredInteger, GivesWhatStoiGivesAtTheLimits)
{
    for (const std::string sText :
         {"", "-", "--1", "-0", "0", "000000000", "999999999", "-999999999", "1000000000", "2147483647", "2147483648",
          "-2147483648", "-2147483649", "0000000001", "4294967297", "12abc", " 12", "+12", "1 ", "١٢"}) {
        EXPECT_EQ(ByReadBack(sText), ByStoi(sText)) << "[" << sText << "]";
    }
}
