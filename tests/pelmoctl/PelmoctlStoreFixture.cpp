#include "PelmoctlStoreFixture.h"

#include <dirent.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

void PelmoctlTest::SetUp()
{
    char sTemplate[] = "/tmp/pelmoctl-test.XXXXXX";
    ASSERT_NE(mkdtemp(sTemplate), nullptr);
    m_sDir = sTemplate;
    m_sStoreDir = m_sDir + "/store";
    m_sTmpDir = m_sDir + "/tmp";
    ASSERT_EQ(mkdir(m_sTmpDir.c_str(), 0700), 0);
}

void PelmoctlTest::TearDown()
{
    std::error_code error;
    std::filesystem::remove_all(m_sDir, error);
}

std::vector<std::string> PelmoctlTest::ToolEnvironment() const
{
    return {"PELMO_LOG_LEVEL", "TMPDIR=" + m_sTmpDir, "PELMO_APP_ID=org.example.launcher"};
}

PT_CHILD_RESULT PelmoctlTest::Run(const std::vector<std::string>& vecArgs, const std::string& sInput) const
{
    std::vector<std::string> vecArgv = {PELMOCTL_PATH};
    vecArgv.insert(vecArgv.end(), vecArgs.begin(), vecArgs.end());
    PT_CHILD_OPTIONS options;
    options.vecEnv = ToolEnvironment();
    options.sInput = sInput;
    return RunChild(vecArgv, options);
}

PT_CHILD_RESULT PelmoctlTest::Host(const std::vector<std::string>& vecArgs, const std::string& sInput) const
{
    std::vector<std::string> vecAll = {"--host", m_sStoreDir};
    vecAll.insert(vecAll.end(), vecArgs.begin(), vecArgs.end());
    return Run(vecAll, sInput);
}

namespace {
// Runs one query over the database file and gives each row's columns joined by '|'.
bool Query(const std::string& sPath, const std::string& sSql, std::vector<std::string>& vecRows)
{
    if (access(sPath.c_str(), F_OK) != 0) return false;
    sqlite3* pDb = nullptr;
    bool bOk = false;
    if (sqlite3_open_v2(sPath.c_str(), &pDb, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
        sqlite3_stmt* pStmt = nullptr;
        if (sqlite3_prepare_v2(pDb, sSql.c_str(), -1, &pStmt, nullptr) == SQLITE_OK) {
            int iRc;
            while ((iRc = sqlite3_step(pStmt)) == SQLITE_ROW) {
                std::string sRow;
                for (int i = 0; i < sqlite3_column_count(pStmt); ++i) {
                    const unsigned char* pText = sqlite3_column_text(pStmt, i);
                    sRow += (i ? "|" : "") + std::string(pText ? reinterpret_cast<const char*>(pText) : "NULL");
                }
                vecRows.push_back(sRow);
            }
            bOk = iRc == SQLITE_DONE;
        }
        sqlite3_finalize(pStmt);
    }
    sqlite3_close(pDb);
    return bOk;
}
}  // namespace

std::string PelmoctlTest::DumpStore() const
{
    std::string sDump;
    for (const char* sTable : {"accelerators", "sections", "tiles"}) {
        std::vector<std::string> vecRows;
        if (!Query(m_sStoreDir + "/store.db", std::string("SELECT * FROM ") + sTable + " ORDER BY _id", vecRows)) {
            return std::string();
        }
        sDump += std::string("[") + sTable + "]\n";
        for (const std::string& sRow : vecRows) sDump += sRow + "\n";
    }
    return sDump;
}

long long PelmoctlTest::CountRows(const std::string& sTable, const std::string& sModule) const
{
    std::vector<std::string> vecRows;
    const std::string sSql =
        "SELECT count(*) FROM " + sTable + (sModule.empty() ? "" : " WHERE module_name = '" + sModule + "'");
    if (!Query(m_sStoreDir + "/store.db", sSql, vecRows) || vecRows.size() != 1) return -1;
    return std::stoll(vecRows[0]);
}

std::string PelmoctlTest::FirstValue(const std::string& sTable, const std::string& sColumn,
                                     const std::string& sModule) const
{
    std::vector<std::string> vecRows;
    Query(m_sStoreDir + "/store.db",
          "SELECT " + sColumn + " FROM " + sTable + " WHERE module_name = '" + sModule + "' ORDER BY _id LIMIT 1",
          vecRows);
    return vecRows.empty() ? std::string() : vecRows[0];
}

void PelmoctlTest::RegisterAndPublish(const std::string& sModule, const std::string& sDocument)
{
    const PT_CHILD_RESULT registered = Host({"register", sModule});
    ASSERT_EQ(registered.iExit, 0) << registered.sErr;
    const PT_CHILD_RESULT published = Host({"publish", sModule, sDocument});
    ASSERT_EQ(published.iExit, 0) << published.sErr;
}

std::vector<int> PelmoctlTest::StoreProcesses() const
{
    std::vector<int> vecPids;
    const std::string sNeedle = m_sStoreDir + "/store.db";
    DIR* pProc = opendir("/proc");
    if (pProc == nullptr) return vecPids;
    while (dirent* pEntry = readdir(pProc)) {
        const int iPid = std::atoi(pEntry->d_name);
        if (iPid <= 0) continue;
        std::ifstream in(std::string("/proc/") + pEntry->d_name + "/cmdline");
        const std::string sCmdline((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (sCmdline.find(sNeedle) != std::string::npos) vecPids.push_back(iPid);
    }
    closedir(pProc);
    return vecPids;
}

std::vector<std::string> PelmoctlTest::LeftoverBusDirectories() const
{
    std::vector<std::string> vecNames;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(m_sTmpDir, error)) {
        vecNames.push_back(entry.path().filename().string());
    }
    return vecNames;
}

std::string PelmoctlTest::Example(const std::string& sName)
{
    return std::string(PELMO_EXAMPLE_PREVIEWS) + "/" + sName;
}

std::string PelmoctlTest::WriteFile(const std::string& sName, const std::string& sText) const
{
    const std::string sPath = m_sDir + "/" + sName;
    std::ofstream out(sPath, std::ios::binary);
    out << sText;
    return sPath;
}

Json::Value ParseJson(const std::string& sText)
{
    Json::Value value;
    Json::CharReaderBuilder builder;
    std::string sErrors;
    std::istringstream in(sText);
    EXPECT_TRUE(Json::parseFromStream(builder, in, &value, &sErrors)) << sErrors << sText;
    return value;
}

void ExpectOneLineFailure(const PT_CHILD_RESULT& result, const std::string& sCommand, const std::string& sPart)
{
    EXPECT_EQ(result.iExit, 1) << result.sErr;
    EXPECT_EQ(result.sOut, "");
    const std::string sHead = "pelmoctl: " + sCommand + ": ";
    EXPECT_EQ(result.sErr.compare(0, sHead.size(), sHead), 0) << result.sErr;
    ASSERT_FALSE(result.sErr.empty());
    EXPECT_EQ(result.sErr.find('\n'), result.sErr.size() - 1) << "not one line: " << result.sErr;
    EXPECT_NE(result.sErr.find(sPart), std::string::npos) << result.sErr;
}
