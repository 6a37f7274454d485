// The reader treats the bytes as hostile: every corrupted field and every truncation must be
// refused with a reason, never read out of bounds.
#include <gtest/gtest.h>

#include <vector>

#include "SharedResultTestData.h"
#include "pelmo/SharedResult.h"

using namespace shm_test;

namespace {

class SharedResultReader : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_sValid = CSharedResultWriter::Serialize(EveryKindTable());
        ASSERT_FALSE(m_sValid.empty());
        m_iNames = GetU64(m_sValid, kOffNamesOffset);
        m_iCells = GetU64(m_sValid, kOffCellsOffset);
        m_iText = GetU64(m_sValid, kOffTextOffset);
        m_iTextSize = GetU64(m_sValid, kOffTextSize);
    }

    // Offset of the cell of a row and column of the valid result.
    size_t CellAt(size_t iRow, size_t iColumn) const { return m_iCells + (iRow * 10 + iColumn) * kCellSize; }

    // Expects a refusal whose reason mentions sWord.
    static void ExpectRefused(const std::string& sBytes, const std::string& sWord)
    {
        std::string sError;
        EXPECT_EQ(CSharedResultReader::FromBytes(sBytes.data(), sBytes.size(), sError), nullptr);
        EXPECT_NE(sError.find(sWord), std::string::npos) << "reason: " << sError;
        EXPECT_EQ(sError.find('\n'), std::string::npos);
    }

    // Expects the valid result with one field set to uValue refused, the reason mentioning sWord.
    void ExpectRefusedWithU32(size_t uOffset, uint32_t uValue, const std::string& sWord) const
    {
        std::string sBytes = m_sValid;
        PutU32(sBytes, uOffset, uValue);
        ExpectRefused(sBytes, sWord);
    }
    void ExpectRefusedWithU64(size_t uOffset, uint64_t uValue, const std::string& sWord) const
    {
        std::string sBytes = m_sValid;
        PutU64(sBytes, uOffset, uValue);
        ExpectRefused(sBytes, sWord);
    }

    std::string m_sValid;
    size_t m_iNames = 0;
    size_t m_iCells = 0;
    size_t m_iText = 0;
    size_t m_iTextSize = 0;
};

}  // namespace

TEST_F(SharedResultReader, AcceptsTheWritersOutput)
{
    std::string sError;
    EXPECT_NE(CSharedResultReader::FromBytes(m_sValid.data(), m_sValid.size(), sError), nullptr) << sError;
}

TEST_F(SharedResultReader, RefusesAWrongMagicNumber)
{
    std::string sBytes = m_sValid;
    sBytes[0] = 'X';
    ExpectRefused(sBytes, "magic");
}

TEST_F(SharedResultReader, RefusesAnUnknownVersion)
{
    for (uint32_t uVersion : {0u, 2u, 0xFFFFFFFFu}) {
        ExpectRefusedWithU32(kOffVersion, uVersion, "version");
    }
}

TEST_F(SharedResultReader, RefusesATotalSizeThatDiffersFromTheBuffer)
{
    for (uint64_t uTotal : {uint64_t{0}, uint64_t{m_sValid.size() - 8}, uint64_t{m_sValid.size() + 8}, ~uint64_t{0}}) {
        ExpectRefusedWithU64(kOffTotalSize, uTotal, "announces");
    }
    // Trailing bytes the header does not account for.
    ExpectRefused(m_sValid + std::string(8, '\0'), "announces");
}

TEST_F(SharedResultReader, RefusesATotalSizeThatIsNotAMultipleOfEight)
{
    std::string sBytes = m_sValid + std::string(3, '\0');
    PutU64(sBytes, kOffTotalSize, sBytes.size());
    ExpectRefused(sBytes, "multiple of 8");
}

TEST_F(SharedResultReader, RefusesANonZeroReservedField)
{
    std::string sBytes = m_sValid;
    sBytes[kOffReserved + 7] = 1;
    ExpectRefused(sBytes, "reserved");
}

TEST_F(SharedResultReader, RefusesHugeCounts)
{
    const uint32_t aHuge[] = {0x80000000u, 0xFFFFFFFFu};
    for (uint32_t uHuge : aHuge) {
        ExpectRefusedWithU32(kOffColumnCount, uHuge, "too large");
        ExpectRefusedWithU32(kOffRowCount, uHuge, "too large");
    }
}

TEST_F(SharedResultReader, RefusesCountsWhoseCellTableWouldOverflow)
{
    std::string sBytes = m_sValid;
    PutU32(sBytes, kOffColumnCount, 0x7FFFFFFFu);
    PutU32(sBytes, kOffRowCount, 0x7FFFFFFFu);
    ExpectRefused(sBytes, "do not fit");
    // Large but not overflowing: still far more than the buffer holds.
    ExpectRefusedWithU32(kOffRowCount, 100000, "do not fit");
}

TEST_F(SharedResultReader, RefusesMoreRowsThanTheCellSectionHolds)
{
    ExpectRefusedWithU32(kOffRowCount, 3, "section");
}

TEST_F(SharedResultReader, RefusesRowsWithoutColumns)
{
    ExpectRefusedWithU32(kOffColumnCount, 0, "without columns");
}

TEST_F(SharedResultReader, RefusesSectionOffsetsPastTheEnd)
{
    for (size_t iField : {kOffNamesOffset, kOffCellsOffset, kOffTextOffset}) {
        SCOPED_TRACE(iField);
        for (uint64_t uOffset : {uint64_t{m_sValid.size()}, uint64_t{m_sValid.size() + 8}, ~uint64_t{7}}) {
            ExpectRefusedWithU64(iField, uOffset, "past the end");
        }
    }
}

TEST_F(SharedResultReader, RefusesATextSizePastTheEnd)
{
    for (uint64_t uSize : {uint64_t{m_sValid.size()}, ~uint64_t{0}}) {
        ExpectRefusedWithU64(kOffTextSize, uSize, "past the end");
    }
}

TEST_F(SharedResultReader, RefusesMisalignedSections)
{
    ExpectRefusedWithU64(kOffTextOffset, m_iText + 4, "aligned");
}

TEST_F(SharedResultReader, RefusesASectionInsideTheHeader)
{
    ExpectRefusedWithU64(kOffNamesOffset, 0, "header");
}

TEST_F(SharedResultReader, RefusesOverlappingSections)
{
    ExpectRefusedWithU64(kOffCellsOffset, m_iNames, "overlap");
    ExpectRefusedWithU64(kOffTextOffset, m_iCells + 8 * kCellSize, "overlap");
    ExpectRefusedWithU64(kOffNamesOffset, m_iText, "overlap");
}

TEST_F(SharedResultReader, AcceptsSectionsInAnotherOrder)
{
    // Text first, then names, then cells: the layout only asks for aligned, disjoint sections.
    const std::string sNames = m_sValid.substr(m_iNames, m_iCells - m_iNames);
    const std::string sCells = m_sValid.substr(m_iCells, m_iText - m_iCells);
    std::string sText = m_sValid.substr(m_iText, m_iTextSize);
    sText.resize((sText.size() + 7) / 8 * 8, '\0');
    std::string sBytes = m_sValid.substr(0, kHeaderSize) + sText + sNames + sCells;
    PutU64(sBytes, kOffTextOffset, kHeaderSize);
    PutU64(sBytes, kOffNamesOffset, kHeaderSize + sText.size());
    PutU64(sBytes, kOffCellsOffset, kHeaderSize + sText.size() + sNames.size());
    PutU64(sBytes, kOffTotalSize, sBytes.size());
    std::string sError;
    auto pCursor = CSharedResultReader::FromBytes(sBytes.data(), sBytes.size(), sError);
    ASSERT_NE(pCursor, nullptr) << sError;
    ASSERT_EQ(pCursor->MoveNext(), 0);
    std::string sValue;
    EXPECT_EQ(pCursor->GetString(8, sValue), 0);
    EXPECT_EQ(sValue, kUtf8Text);
    EXPECT_EQ(pCursor->GetColumnName(9), "nothing");
}

TEST_F(SharedResultReader, RefusesTextWhoseOffsetPlusLengthOverflows)
{
    std::string sBytes = m_sValid;
    const size_t iCell = CellAt(0, 8);  // the UTF-8 text
    PutU64(sBytes, iCell + 8, ~uint64_t{0});
    PutU32(sBytes, iCell + 4, 2);
    ExpectRefused(sBytes, "outside the text area");
}

TEST_F(SharedResultReader, RefusesTextRunningPastTheTextArea)
{
    std::string sBytes = m_sValid;
    const size_t iCell = CellAt(0, 8);
    PutU32(sBytes, iCell + 4, static_cast<uint32_t>(m_iTextSize + 1 - GetU64(sBytes, iCell + 8)));
    ExpectRefused(sBytes, "outside the text area");
    ExpectRefusedWithU32(iCell + 4, 0xFFFFFFFFu, "outside the text area");
}

TEST_F(SharedResultReader, RefusesAColumnNameOutsideTheTextArea)
{
    ExpectRefusedWithU32(m_iNames + 3 * kNameEntrySize, static_cast<uint32_t>(m_iTextSize), "name of column 3");
    std::string sBytes = m_sValid;
    PutU32(sBytes, m_iNames + 3 * kNameEntrySize, 0xFFFFFFFFu);
    PutU32(sBytes, m_iNames + 3 * kNameEntrySize + 4, 0xFFFFFFFFu);
    ExpectRefused(sBytes, "name of column 3");
}

TEST_F(SharedResultReader, RefusesAnEmptyColumnName)
{
    ExpectRefusedWithU32(m_iNames + 2 * kNameEntrySize + 4, 0, "empty name");
}

TEST_F(SharedResultReader, RefusesAnUnknownStorageKind)
{
    for (unsigned char uKind : {4, 0x80, 0xFF}) {
        std::string sBytes = m_sValid;
        sBytes[CellAt(1, 5)] = static_cast<char>(uKind);
        ExpectRefused(sBytes, "unknown storage kind");
    }
}

TEST_F(SharedResultReader, RefusesNonZeroCellPadding)
{
    std::string sBytes = m_sValid;
    sBytes[CellAt(0, 0) + 2] = 1;
    ExpectRefused(sBytes, "padding");
}

TEST_F(SharedResultReader, RefusesANullOrNumberCarryingExtraFields)
{
    std::string sBytes = m_sValid;
    PutU64(sBytes, CellAt(0, 9) + 8, 5);  // NULL with a value
    ExpectRefused(sBytes, "NULL");
    sBytes = m_sValid;
    PutU32(sBytes, CellAt(0, 4) + 4, 3);  // integer with a text length
    ExpectRefused(sBytes, "number");
}

TEST_F(SharedResultReader, RefusesEveryTruncatedPrefix)
{
    for (size_t iLength = 0; iLength < m_sValid.size(); ++iLength) {
        // A buffer of exactly iLength bytes, so that AddressSanitizer sees any read past it.
        std::vector<char> vecPrefix(m_sValid.begin(), m_sValid.begin() + static_cast<std::ptrdiff_t>(iLength));
        std::string sError;
        EXPECT_EQ(CSharedResultReader::FromBytes(vecPrefix.data(), vecPrefix.size(), sError), nullptr) << iLength;
        EXPECT_FALSE(sError.empty()) << iLength;
    }
}

TEST_F(SharedResultReader, RefusesANullPointer)
{
    std::string sError;
    EXPECT_EQ(CSharedResultReader::FromBytes(nullptr, 64, sError), nullptr);
    EXPECT_NE(sError.find("null"), std::string::npos) << sError;
    EXPECT_EQ(CSharedResultReader::FromBytes(nullptr, 0, sError), nullptr);
    EXPECT_NE(sError.find("shorter"), std::string::npos) << sError;
}

TEST_F(SharedResultReader, RefusesAnInputOverTheLimit)
{
    std::string sBytes = m_sValid;
    sBytes.resize(kMaxSharedResultSize + 8, '\0');
    PutU64(sBytes, kOffTotalSize, sBytes.size());
    ExpectRefused(sBytes, "exceeds the limit");
}

TEST_F(SharedResultReader, CursorKeepsItsOwnCopyOfTheBytes)
{
    std::string sBytes = m_sValid;
    std::string sError;
    auto pCursor = CSharedResultReader::FromBytes(sBytes.data(), sBytes.size(), sError);
    ASSERT_NE(pCursor, nullptr) << sError;
    // The writing process scribbles over the shared bytes after the check.
    std::fill(sBytes.begin(), sBytes.end(), '\xFF');
    ASSERT_EQ(pCursor->MoveNext(), 0);
    std::string sValue;
    EXPECT_EQ(pCursor->GetString(8, sValue), 0);
    EXPECT_EQ(sValue, kUtf8Text);
    EXPECT_EQ(pCursor->GetColumnName(0), "zero");
}
