// The bytes a module holds, as its quota counts them: the store's own function must give, for
// every kind of value, what SQLite's cast of the value to a blob gives, summed per row.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include "ModuleUsage.h"
#include "StoreDatabase.h"
#include "StoreSchema.h"
#include "StoreTestSupport.h"

namespace {
const std::string kModule = "org.example.bytes";

// The byte count of every value of the module's rows in sTable, with a cast per value.
long long CastBytes(sqlite3* pDb, const CStoreTable& table, const std::string& sModule)
{
    std::string sSum;
    for (const CStoreColumn& column : table.vecColumns) {
        sSum += (sSum.empty() ? "" : " + ") + std::string("ifnull(length(CAST(\"") + column.sName + "\" AS BLOB)), 0)";
    }
    const std::string sSql = "SELECT total(" + sSum + ") FROM \"" + table.sName + "\" WHERE \"module_name\" = ?1";
    sqlite3_stmt* pStatement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(pDb, sSql.c_str(), -1, &pStatement, nullptr), SQLITE_OK) << sqlite3_errmsg(pDb);
    sqlite3_bind_text(pStatement, 1, sModule.c_str(), -1, SQLITE_TRANSIENT);
    long long llBytes = -1;
    if (sqlite3_step(pStatement) == SQLITE_ROW) llBytes = static_cast<long long>(sqlite3_column_double(pStatement, 0));
    sqlite3_finalize(pStatement);
    return llBytes;
}

long long CastBytesAllTables(sqlite3* pDb, const std::string& sModule)
{
    return CastBytes(pDb, StoreSchema::Accelerators(), sModule) + CastBytes(pDb, StoreSchema::Sections(), sModule) +
           CastBytes(pDb, StoreSchema::Tiles(), sModule);
}

// Random texts: ASCII, quotes and backslashes, control characters, non-ASCII UTF-8, invalid
// UTF-8, NUL, empty.
std::string RandomText(std::mt19937& random)
{
    static const char* const kPieces[] = {
        "a", "Z",    "7",    " ",        "\"", "\\", "\n", "\t", "\x01", "é",    "€",
        "😀", "\xff", "\xc3", "\xe2\x82", "%",  "_",  "'",  "ß",  "Ω",    "\x7f", "long text of a tile title ",
        "0", "-",    "."};
    std::string sText;
    const int iPieces = static_cast<int>(random() % 12);
    for (int i = 0; i < iPieces; ++i) sText += kPieces[random() % (sizeof kPieces / sizeof kPieces[0])];
    if (random() % 10 == 0) sText += std::string(1, '\0') + "after a NUL";
    return sText;
}

// One value of any kind, bound to parameter iIndex.
void BindRandom(sqlite3_stmt* pStatement, int iIndex, std::mt19937_64& random64, std::mt19937& random)
{
    static const long long kIntegers[] = {0,
                                          -1,
                                          9,
                                          10,
                                          -10,
                                          99,
                                          100,
                                          std::numeric_limits<long long>::max(),
                                          std::numeric_limits<long long>::min(),
                                          std::numeric_limits<long long>::min() + 1,
                                          1000000000000000000LL,
                                          999999999999999999LL,
                                          -999999999999999999LL};
    static const double kReals[] = {0.0,
                                    -0.0,
                                    0.1,
                                    1.0 / 3.0,
                                    1e300,
                                    -1e-300,
                                    123456789012345678.0,
                                    1.5e15,
                                    1e16,
                                    2.5,
                                    -7.25,
                                    1e-7,
                                    4.9e-324,
                                    std::numeric_limits<double>::max(),
                                    100.0,
                                    1e100,
                                    0.30000000000000004};
    switch (random() % 7) {
        case 0:
            sqlite3_bind_null(pStatement, iIndex);
            break;
        case 1:
            sqlite3_bind_int64(pStatement, iIndex, kIntegers[random() % (sizeof kIntegers / sizeof kIntegers[0])]);
            break;
        case 2: {
            // Any 64-bit integer, and small ones of every length.
            const long long llValue = static_cast<long long>(random64());
            sqlite3_bind_int64(pStatement, iIndex, random() % 2 ? llValue : llValue % 100000);
            break;
        }
        case 3:
            sqlite3_bind_double(pStatement, iIndex, kReals[random() % (sizeof kReals / sizeof kReals[0])]);
            break;
        case 4: {
            std::uniform_real_distribution<double> distribution(-1e6, 1e6);
            sqlite3_bind_double(pStatement, iIndex, distribution(random64));
            break;
        }
        case 5: {
            const std::string sBlob = RandomText(random);
            sqlite3_bind_blob(pStatement, iIndex, sBlob.data(), static_cast<int>(sBlob.size()), SQLITE_TRANSIENT);
            break;
        }
        default: {
            const std::string sText = RandomText(random);
            sqlite3_bind_text(pStatement, iIndex, sText.data(), static_cast<int>(sText.size()), SQLITE_TRANSIENT);
        }
    }
}

// Inserts iRows rows into table, every column given a random value of any kind (the store's
// checks are bypassed: this is about the count, whatever a row holds).
void InsertRandomRows(sqlite3* pDb, const CStoreTable& table, int iRows, std::mt19937_64& random64,
                      std::mt19937& random)
{
    std::string sColumns = "\"module_name\"";
    std::string sValues = "?1";
    int iIndex = 2;
    for (const CStoreColumn& column : table.vecColumns) {
        if (column.sName == StoreSchema::kIdColumn || column.sName == StoreSchema::kModuleColumn) continue;
        sColumns += ", \"" + column.sName + "\"";
        sValues += ", ?" + std::to_string(iIndex++);
    }
    const std::string sSql = "INSERT INTO \"" + table.sName + "\" (" + sColumns + ") VALUES (" + sValues + ")";
    sqlite3_stmt* pStatement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(pDb, sSql.c_str(), -1, &pStatement, nullptr), SQLITE_OK) << sqlite3_errmsg(pDb);
    for (int r = 0; r < iRows; ++r) {
        sqlite3_bind_text(pStatement, 1, kModule.c_str(), -1, SQLITE_TRANSIENT);
        for (int i = 2; i < iIndex; ++i) BindRandom(pStatement, i, random64, random);
        ASSERT_EQ(sqlite3_step(pStatement), SQLITE_DONE) << sqlite3_errmsg(pDb);
        sqlite3_reset(pStatement);
        sqlite3_clear_bindings(pStatement);
    }
    sqlite3_finalize(pStatement);
}

void ExpectSameCountAsTheCast(const std::string& sPath)
{
    CStoreDatabase database;
    std::string sError;
    ASSERT_TRUE(database.Open(sPath, sError)) << sError;
    sqlite3* pDb = database.Handle();
    std::mt19937_64 random64(20211);
    std::mt19937 random(4242);
    for (int iRound = 0; iRound < 20; ++iRound) {
        // One transaction per round: a commit per row would wait for the disk each time.
        ASSERT_TRUE(database.Execute("BEGIN", sError)) << sError;
        InsertRandomRows(pDb, StoreSchema::Accelerators(), 5, random64, random);
        InsertRandomRows(pDb, StoreSchema::Sections(), 40, random64, random);
        InsertRandomRows(pDb, StoreSchema::Tiles(), 150, random64, random);
        ASSERT_TRUE(database.Execute("COMMIT", sError)) << sError;
        PT_MODULE_USAGE usage;
        ASSERT_TRUE(ModuleUsage::Read(database, kModule, usage, sError)) << sError;
        ASSERT_EQ(usage.llBytes, CastBytesAllTables(pDb, kModule)) << "after round " << iRound;
        ASSERT_EQ(usage.llTiles, 150 * (iRound + 1));
        ASSERT_EQ(usage.llSections, 40 * (iRound + 1));
    }
    // Another module's rows are not counted; a module without rows holds nothing.
    PT_MODULE_USAGE none;
    ASSERT_TRUE(ModuleUsage::Read(database, "org.example.nothing", none, sError)) << sError;
    EXPECT_EQ(none.llBytes, 0);
    EXPECT_EQ(none.llTiles, 0);
}
}  // namespace

TEST(ModuleUsageBytes, EveryKindOfValueCountsAsItsCastToABlobInAUtf8Store)
{
    CTempDir dir;
    ExpectSameCountAsTheCast(dir.Path() + "/store.db");
}

TEST(ModuleUsageBytes, ValuesOfAUtf16StoreCountTheirUtf16Bytes)
{
    CTempDir dir;
    const std::string sPath = dir.Path() + "/store.db";
    {
        // An empty database whose texts are UTF-16: the encoding is fixed by the first table.
        sqlite3* pDb = nullptr;
        ASSERT_EQ(sqlite3_open(sPath.c_str(), &pDb), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(pDb, "PRAGMA encoding='UTF-16le'; CREATE TABLE t(x); DROP TABLE t;", nullptr, nullptr,
                               nullptr),
                  SQLITE_OK)
            << sqlite3_errmsg(pDb);
        sqlite3_close(pDb);
    }
    {
        CStoreDatabase database;
        std::string sError;
        ASSERT_TRUE(database.Open(sPath, sError)) << sError;
        sqlite3_stmt* pStatement = nullptr;
        ASSERT_EQ(sqlite3_prepare_v2(database.Handle(), "PRAGMA encoding", -1, &pStatement, nullptr), SQLITE_OK);
        ASSERT_EQ(sqlite3_step(pStatement), SQLITE_ROW);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(sqlite3_column_text(pStatement, 0))), "UTF-16le");
        sqlite3_finalize(pStatement);
    }
    ExpectSameCountAsTheCast(sPath);
}
