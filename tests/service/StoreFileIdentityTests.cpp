// Which files the store takes: a new or empty file becomes a store and is marked as one; a
// store of an earlier service is marked and upgraded; another program's database, a store of a
// newer service, a damaged store and a file that is no database are refused before anything in
// them changes, with one line that names the file and says what to do.
#include <fstream>

#include "StoreFileSupport.h"
#include "StoreIdentity.h"
#include "StoreMigration.h"
#include "StoreTestSupport.h"

namespace {
int PragmaOf(sqlite3* pDb, const std::string& sPragma)
{
    sqlite3_stmt* pStatement = nullptr;
    int iValue = -1;
    if (sqlite3_prepare_v2(pDb, ("PRAGMA " + sPragma).c_str(), -1, &pStatement, nullptr) == SQLITE_OK &&
        sqlite3_step(pStatement) == SQLITE_ROW) {
        iValue = sqlite3_column_int(pStatement, 0);
    }
    sqlite3_finalize(pStatement);
    return iValue;
}

// A media player's thumbnail cache: it happens to call its table "tiles" too.
constexpr const char* kPlayerCache =
    "CREATE TABLE tiles (id INTEGER PRIMARY KEY, url TEXT NOT NULL, fetched_at INTEGER);"
    "CREATE TABLE settings (key TEXT PRIMARY KEY, value TEXT);"
    "INSERT INTO tiles (url, fetched_at) VALUES ('https://images.example.org/201.jpg', 1767225600),"
    " ('https://images.example.org/202.jpg', 1767225601);"
    "INSERT INTO settings VALUES ('volume', '7');";
}  // namespace

class StoreFileIdentityTest : public CStoreFixture {
protected:
    void SetUp() override
    {
        CStoreFixture::SetUp();
        ASSERT_FALSE(m_dir.Path().empty());
        m_sPath = m_dir.Path() + "/store.db";
    }

    void Write(const std::string& sSql)
    {
        std::string sError;
        ASSERT_TRUE(ExecuteOnFile(m_sPath, sSql, sError)) << sError;
    }

    // A store of this service closed again, with its WAL moved into the file.
    void WriteStore(const std::string& sSqlAfter = "")
    {
        Open(m_sPath);
        const long long llSection = AddSection("org.example.player", AddAccelerator("org.example.player"));
        for (int i = 0; i < 20; ++i) AddTile("org.example.player", llSection, "Tile " + std::to_string(i));
        std::string sError;
        if (!sSqlAfter.empty()) {
            ASSERT_TRUE(m_pDatabase->Execute(sSqlAfter, sError)) << sError;
        }
        Close();
        ASSERT_FALSE(FileExists(m_sPath + "-wal"));
    }

    void Close()
    {
        m_pHandler.reset();
        m_pDatabase.reset();
    }

    // Opens the file as the service does and expects a refusal of one line that starts with
    // the file's path; the file stays byte for byte as it was, and nothing is left beside it.
    std::string ExpectRefusedUnchanged()
    {
        const std::string sBefore = FileBytes(m_sPath);
        EXPECT_FALSE(sBefore.empty());
        CStoreDatabase database;
        std::string sError;
        EXPECT_FALSE(database.Open(m_sPath, sError));
        EXPECT_FALSE(database.IsOpen());
        EXPECT_EQ(sError.rfind(m_sPath + ": ", 0), 0u) << sError;
        EXPECT_EQ(sError.find('\n'), std::string::npos) << sError;
        EXPECT_TRUE(FileBytes(m_sPath) == sBefore) << "the refused file changed";
        for (const char* sBeside : {"-wal", "-shm", "-journal"}) {
            EXPECT_FALSE(FileExists(m_sPath + sBeside)) << sBeside << " left beside the refused file";
        }
        return sError;
    }

    CTempDir m_dir;
    std::string m_sPath;
};

TEST_F(StoreFileIdentityTest, NewFileIsMarkedWithTheStoreApplicationIdAndSchemaVersion)
{
    Open(m_sPath);
    EXPECT_EQ(PragmaOf(m_pDatabase->Handle(), "application_id"), StoreIdentity::kApplicationId);
    EXPECT_EQ(PragmaOf(m_pDatabase->Handle(), "user_version"), StoreMigration::kCurrentVersion);
    EXPECT_EQ(StoreIdentity::kApplicationId, 0x504C4D4F);  // "PLMO"
}

TEST_F(StoreFileIdentityTest, EmptyFileBecomesAStore)
{
    {
        std::ofstream create(m_sPath);
    }
    ASSERT_TRUE(FileExists(m_sPath));
    ASSERT_TRUE(FileBytes(m_sPath).empty());
    Open(m_sPath);
    EXPECT_EQ(PragmaOf(m_pDatabase->Handle(), "application_id"), StoreIdentity::kApplicationId);
    EXPECT_GT(AddAccelerator("org.example.player"), 0);
}

TEST_F(StoreFileIdentityTest, AnotherProgramsDatabaseWithATableOfTheStoresNameIsRefusedUnchanged)
{
    ASSERT_NO_FATAL_FAILURE(
        Write("CREATE TABLE tiles (id INTEGER PRIMARY KEY, url TEXT NOT NULL, fetched_at INTEGER);"
              "INSERT INTO tiles (url) VALUES ('https://images.example.org/201.jpg');"));
    const std::string sError = ExpectRefusedUnchanged();
    EXPECT_NE(sError.find("not a pelmo store"), std::string::npos) << sError;
    EXPECT_NE(sError.find("give the service a file of its own"), std::string::npos) << sError;
    EXPECT_NE(sError.find("table \"tiles\" has other columns than the store's"), std::string::npos) << sError;
}

TEST_F(StoreFileIdentityTest, AnotherProgramsDatabaseWithOnlyItsOwnTablesIsRefusedUnchanged)
{
    ASSERT_NO_FATAL_FAILURE(Write(
        "CREATE TABLE settings (key TEXT PRIMARY KEY, value TEXT); INSERT INTO settings VALUES ('volume', '7');"));
    const std::string sError = ExpectRefusedUnchanged();
    EXPECT_NE(sError.find("table \"settings\", which the store has not"), std::string::npos) << sError;
}

TEST_F(StoreFileIdentityTest, AnotherProgramsDatabaseInUseIsRefusedWithItsWalLeftAsItWas)
{
    // The program is running: its file is in WAL mode and its last rows are still in the WAL.
    sqlite3* pProgram = nullptr;
    ASSERT_EQ(sqlite3_open(m_sPath.c_str(), &pProgram), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(pProgram, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(pProgram, kPlayerCache, nullptr, nullptr, nullptr), SQLITE_OK);
    ASSERT_TRUE(FileExists(m_sPath + "-wal"));
    const std::string sFileBefore = FileBytes(m_sPath);
    const std::string sWalBefore = FileBytes(m_sPath + "-wal");
    ASSERT_FALSE(sWalBefore.empty());

    CStoreDatabase database;
    std::string sError;
    EXPECT_FALSE(database.Open(m_sPath, sError));
    EXPECT_EQ(sError.rfind(m_sPath + ": not a pelmo store (", 0), 0u) << sError;
    EXPECT_TRUE(FileBytes(m_sPath) == sFileBefore) << "the refused file changed";
    EXPECT_TRUE(FileBytes(m_sPath + "-wal") == sWalBefore) << "the refused file's WAL changed";
    // The program goes on with its file.
    EXPECT_EQ(sqlite3_exec(pProgram, "INSERT INTO settings VALUES ('brightness', '3')", nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_EQ(PragmaOf(pProgram, "application_id"), 0);
    sqlite3_close(pProgram);
}

TEST_F(StoreFileIdentityTest, DatabaseWithAnotherProgramsApplicationIdIsRefusedEvenWithTheStoresTables)
{
    ASSERT_NO_FATAL_FAILURE(WriteStore("PRAGMA application_id = 305419896"));  // 0x12345678
    const std::string sError = ExpectRefusedUnchanged();
    EXPECT_NE(sError.find("it belongs to another program: SQLite application id 0x12345678"), std::string::npos)
        << sError;
}

TEST_F(StoreFileIdentityTest, StoreOfANewerServiceIsRefusedUnchanged)
{
    ASSERT_NO_FATAL_FAILURE(WriteStore("PRAGMA user_version = 7"));
    const std::string sError = ExpectRefusedUnchanged();
    EXPECT_EQ(sError, m_sPath +
                          ": written by a newer pelmo-service (schema version 7, this one knows up to 1); left "
                          "as it is: serve it with that service, or give this one another file");
}

TEST_F(StoreFileIdentityTest, FileWithoutApplicationIdAndAnUnknownSchemaVersionIsRefused)
{
    ASSERT_NO_FATAL_FAILURE(Write("PRAGMA user_version = 9"));
    const std::string sError = ExpectRefusedUnchanged();
    EXPECT_NE(sError.find("schema version 9 without the store's application id"), std::string::npos) << sError;
}

TEST_F(StoreFileIdentityTest, StoreOfAnEarlierServiceIsTakenAndMarkedWithEveryRowKept)
{
    // As the service wrote its stores before it marked them: the same tables, no application id.
    ASSERT_NO_FATAL_FAILURE(WriteStore("PRAGMA application_id = 0"));
    Open(m_sPath);
    EXPECT_EQ(PragmaOf(m_pDatabase->Handle(), "application_id"), StoreIdentity::kApplicationId);
    EXPECT_EQ(PragmaOf(m_pDatabase->Handle(), "user_version"), StoreMigration::kCurrentVersion);
    EXPECT_EQ(Counts(), (CRowCounts{1, 1, 20}));
    // Its owner is still its owner.
    const CStoreReply other = m_pHandler->Handle("stats", "org.example.player", " ", OtherUserCaller());
    EXPECT_EQ(other.sOutput, "module org.example.player belongs to another user");
}

TEST_F(StoreFileIdentityTest, StoreOfAnEarlierServiceWithAnotherProgramsTableIsRefusedUnchanged)
{
    ASSERT_NO_FATAL_FAILURE(WriteStore("PRAGMA application_id = 0; CREATE TABLE notes (text TEXT)"));
    const std::string sError = ExpectRefusedUnchanged();
    EXPECT_NE(sError.find("table \"notes\", which the store has not"), std::string::npos) << sError;
}

TEST_F(StoreFileIdentityTest, StoreOfAnEarlierServiceWithAnotherProgramsIndexIsRefusedUnchanged)
{
    // A unique index the store does not know would make its inserts fail.
    ASSERT_NO_FATAL_FAILURE(
        WriteStore("PRAGMA application_id = 0; CREATE UNIQUE INDEX tiles_title ON tiles (tile_title)"));
    const std::string sError = ExpectRefusedUnchanged();
    EXPECT_NE(sError.find("index \"tiles_title\", which the store has not"), std::string::npos) << sError;
}

TEST_F(StoreFileIdentityTest, DamagedStoreIsRefusedNamingTheFileAndWhatToDo)
{
    ASSERT_NO_FATAL_FAILURE(WriteStore());
    std::string sError;
    ASSERT_TRUE(DamageTablePage(m_sPath, "tiles", sError)) << sError;
    ASSERT_NE(QuickCheckOf(m_sPath), "ok");

    sError = ExpectRefusedUnchanged();
    EXPECT_EQ(sError.rfind(m_sPath + ": the store is damaged (SQLite: ", 0), 0u) << sError;
    EXPECT_NE(sError.find("move it aside to start an empty store, or restore it from a backup"), std::string::npos)
        << sError;
}

TEST_F(StoreFileIdentityTest, FileThatIsNotADatabaseIsRefusedUnchanged)
{
    {
        std::ofstream text(m_sPath);
        for (int i = 0; i < 200; ++i) text << "volume=7\nbrightness=3\n";
    }
    const std::string sError = ExpectRefusedUnchanged();
    EXPECT_EQ(sError.rfind(m_sPath + ": not an SQLite database", 0), 0u) << sError;
    EXPECT_NE(sError.find("file is not a database"), std::string::npos) << sError;
}
