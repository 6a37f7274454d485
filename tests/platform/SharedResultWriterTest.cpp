// The store service's side: what Serialize refuses and how Publish and Remove treat names.
#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "SharedResultTestData.h"
#include "pelmo/SharedResult.h"

using namespace shm_test;

namespace {

// Size of the object behind a name, or -1 when the name does not exist.
long long ObjectSize(const std::string& sKey)
{
    const int iFd = shm_open(sKey.c_str(), O_RDONLY, 0);
    if (iFd < 0) return -1;
    struct stat st {};
    const int iRc = fstat(iFd, &st);
    close(iFd);
    return iRc == 0 ? static_cast<long long>(st.st_size) : -1;
}

}  // namespace

TEST(SharedResultWriter, SerializeLaysOutTheDocumentedHeader)
{
    const CResultTable table = EveryKindTable();
    const std::string sBytes = CSharedResultWriter::Serialize(table);
    ASSERT_GE(sBytes.size(), kHeaderSize);
    EXPECT_EQ(sBytes.substr(kOffMagic, 4), "PLSR");
    EXPECT_EQ(GetU32(sBytes, kOffVersion), 1u);
    EXPECT_EQ(GetU64(sBytes, kOffTotalSize), sBytes.size());
    EXPECT_EQ(sBytes.size() % 8, 0u);
    EXPECT_EQ(GetU32(sBytes, kOffColumnCount), 10u);
    EXPECT_EQ(GetU32(sBytes, kOffRowCount), 2u);
    EXPECT_EQ(GetU64(sBytes, kOffNamesOffset), kHeaderSize);
    EXPECT_EQ(GetU64(sBytes, kOffCellsOffset), kHeaderSize + 10 * kNameEntrySize);
    EXPECT_EQ(GetU64(sBytes, kOffTextOffset), kHeaderSize + 10 * kNameEntrySize + 20 * kCellSize);
    EXPECT_EQ(GetU64(sBytes, kOffReserved), 0u);
    // Row 0, column 4 is the integer 4294967297: kind 1, no length, the value little-endian.
    const size_t iCell = kHeaderSize + 10 * kNameEntrySize + 4 * kCellSize;
    EXPECT_EQ(static_cast<unsigned char>(sBytes[iCell]), 1u);
    EXPECT_EQ(GetU32(sBytes, iCell + 4), 0u);
    EXPECT_EQ(GetU64(sBytes, iCell + 8), 4294967297ULL);
}

TEST(SharedResultWriter, SerializeRefusesARowWithTooFewOrTooManyCells)
{
    CResultTable table = EveryKindTable();
    table.vecRows[1].pop_back();
    EXPECT_EQ(CSharedResultWriter::Serialize(table), "");
    table = EveryKindTable();
    table.vecRows[0].push_back(Int(1));
    EXPECT_EQ(CSharedResultWriter::Serialize(table), "");
}

TEST(SharedResultWriter, SerializeRefusesAResultOverTheLimit)
{
    // Header, one name entry, one cell and the name "blob" leave this much for the text.
    const size_t iRoom = kMaxSharedResultSize - kHeaderSize - kNameEntrySize - kCellSize - 4;
    CResultTable table;
    table.vecColumns = {"blob"};
    table.vecRows.push_back({Text(std::string(iRoom + 1, 'x'))});
    EXPECT_TRUE(CSharedResultWriter::Serialize(table).empty());
    // One byte less fills the limit exactly and is accepted.
    table.vecRows[0][0].sText.resize(iRoom);
    EXPECT_EQ(CSharedResultWriter::Serialize(table).size(), kMaxSharedResultSize);
}

TEST(SharedResultWriter, SerializeRefusesAnEmptyColumnName)
{
    CResultTable table;
    table.vecColumns = {"a", ""};
    EXPECT_EQ(CSharedResultWriter::Serialize(table), "");
}

TEST(SharedResultWriter, SerializeRefusesRowsWithoutColumns)
{
    CResultTable table;
    table.vecRows.push_back({});
    EXPECT_EQ(CSharedResultWriter::Serialize(table), "");
}

TEST(SharedResultWriter, SerializeRefusesAnUnknownCellKind)
{
    CResultTable table;
    table.vecColumns = {"a"};
    CResultCell cell;
    cell.eKind = static_cast<CResultCell::Kind>(9);
    table.vecRows.push_back({cell});
    EXPECT_EQ(CSharedResultWriter::Serialize(table), "");
}

TEST(SharedResultWriter, PublishCreatesAnObjectOfTheResultsSize)
{
    const std::string sKey = UniqueKey("publish");
    const std::string sBytes = CSharedResultWriter::Serialize(EveryKindTable());
    std::string sError;
    ASSERT_TRUE(CSharedResultWriter::Publish(sKey, sBytes, sError)) << sError;
    EXPECT_EQ(ObjectSize(sKey), static_cast<long long>(sBytes.size()));
    EXPECT_TRUE(CSharedResultWriter::Remove(sKey));
    EXPECT_EQ(ObjectSize(sKey), -1);
}

TEST(SharedResultWriter, PublishRefusesAnExistingNameAndKeepsTheFirstObject)
{
    const std::string sKey = UniqueKey("exists");
    const std::string sBytes = CSharedResultWriter::Serialize(EveryKindTable());
    std::string sError;
    ASSERT_TRUE(CSharedResultWriter::Publish(sKey, sBytes, sError)) << sError;
    EXPECT_FALSE(CSharedResultWriter::Publish(sKey, "other bytes", sError));
    EXPECT_EQ(sError, "shm_open(" + sKey + "): File exists");
    EXPECT_EQ(ObjectSize(sKey), static_cast<long long>(sBytes.size()));
    EXPECT_TRUE(CSharedResultWriter::Remove(sKey));
}

TEST(SharedResultWriter, PublishRefusesAnInvalidNameWithAReason)
{
    std::string sError;
    EXPECT_FALSE(CSharedResultWriter::Publish("/pelmo/nested", "bytes", sError));
    EXPECT_EQ(sError, "shm_open(/pelmo/nested): Invalid argument");
}

TEST(SharedResultWriter, PublishRefusesEmptyBytesWithoutCreatingAnything)
{
    const std::string sKey = UniqueKey("empty");
    std::string sError;
    EXPECT_FALSE(CSharedResultWriter::Publish(sKey, "", sError));
    EXPECT_NE(sError.find("empty"), std::string::npos) << sError;
    EXPECT_EQ(ObjectSize(sKey), -1);
}

TEST(SharedResultWriter, RemoveReportsWhetherThereWasANameToRemove)
{
    const std::string sKey = UniqueKey("remove");
    EXPECT_FALSE(CSharedResultWriter::Remove(sKey));
    std::string sError;
    ASSERT_TRUE(CSharedResultWriter::Publish(sKey, "x", sError)) << sError;
    EXPECT_TRUE(CSharedResultWriter::Remove(sKey));
    EXPECT_FALSE(CSharedResultWriter::Remove(sKey));
}
