// The real store on a private bus with a registered module, pelmoctl run as a user runs it
// (it finds the bus through DBUS_SYSTEM_BUS_ADDRESS, which the store set in this process and
// every child inherits), and a way to see that a run changed nothing in the store.
#pragma once

#include <sqlite3.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "StoreFixture.h"

class RenderTest : public StoreTest {
protected:
    static constexpr const char* kModule = "org.example.player";

    void Prepare() override
    {
        char sTemplate[] = "/tmp/pelmo-render-test.XXXXXX";
        ASSERT_NE(mkdtemp(sTemplate), nullptr);
        m_sWorkDir = sTemplate;
    }
    void TearDown() override
    {
        for (const std::string& sName : m_vecMadeFiles) unlink(sName.c_str());
        rmdir(m_sWorkDir.c_str());
        StoreTest::TearDown();
    }

    // A file in the test's own folder, removed when the test ends.
    std::string WorkFile(const std::string& sName)
    {
        const std::string sPath = m_sWorkDir + "/" + sName;
        m_vecMadeFiles.push_back(sPath);
        return sPath;
    }

    void Register(const std::string& sModule = kModule, const std::string& sTitle = "Player")
    {
        Json::Value row;
        row["table_name"] = "content://org.orvik.pelmo/accelerators";
        row["accelerator_title"] = sTitle;
        ASSERT_GT(Insert(Json::FastWriter().write(row), sModule), 0);
    }

    static std::string Example(const std::string& sName)
    {
        std::ifstream in(std::string(PELMO_EXAMPLES_DIR) + "/" + sName);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

    // The stored preview as the library hands it out, parsed.
    static Json::Value Stored(const std::string& sModule = kModule)
    {
        char* pText = get_preview_metadata(sModule.c_str());
        Json::Value root;
        if (pText != nullptr) {
            Json::Reader().parse(pText, root);
            finalize_json_bytes(pText);
        }
        return root;
    }

    // A program run as a user runs it from a shell: found in PATH, in a process group of its own
    // that goes with it, within the time limit.
    static PT_CHILD_OPTIONS ShellRun(int iTimeoutMs)
    {
        PT_CHILD_OPTIONS options;
        options.iTimeoutMs = iTimeoutMs;
        options.bOwnGroup = true;
        options.bSearchPath = true;
        return options;
    }

    PT_CHILD_RESULT Pelmoctl(const std::vector<std::string>& vecArgs, int iTimeoutMs = 30000)
    {
        std::vector<std::string> vecArgv = {PELMOCTL_PATH};
        vecArgv.insert(vecArgv.end(), vecArgs.begin(), vecArgs.end());
        return RunChild(vecArgv, ShellRun(iTimeoutMs));
    }

    // Every row of the three tables, all modules, as text: equal before and after a run means
    // the run changed nothing.
    std::string StoreContents() const
    {
        std::string sAll;
        sqlite3* pDb = nullptr;
        if (sqlite3_open_v2(m_options.sDatabase.c_str(), &pDb, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
            sqlite3_close(pDb);
            return "unreadable";
        }
        for (const char* sTable : {"accelerators", "sections", "tiles"}) {
            sqlite3_stmt* pStmt = nullptr;
            const std::string sSql = std::string("SELECT * FROM ") + sTable + " ORDER BY rowid";
            if (sqlite3_prepare_v2(pDb, sSql.c_str(), -1, &pStmt, nullptr) != SQLITE_OK) {
                sAll += "no table " + std::string(sTable);
                continue;
            }
            sAll += std::string("[") + sTable + "]\n";
            AppendRowsText(pStmt, sAll);
            sqlite3_finalize(pStmt);
        }
        sqlite3_close(pDb);
        return sAll;
    }

    static bool Exists(const std::string& sPath)
    {
        struct stat st;
        return stat(sPath.c_str(), &st) == 0;
    }

    static std::string ReadText(const std::string& sPath)
    {
        std::ifstream in(sPath, std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

    std::string m_sWorkDir;
    std::vector<std::string> m_vecMadeFiles;
};
