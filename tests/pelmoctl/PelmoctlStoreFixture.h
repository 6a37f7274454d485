// Runs the built pelmoctl against a private host store of the test's own: `--host DIR` with
// DIR inside a fresh directory, and the bus's temporary directory there too, so that a test
// can see that nothing is left behind. Reads the store's database file directly.
#pragma once

#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "ChildProcess.h"

class PelmoctlTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // pelmoctl ARGS... (no --host).
    PT_CHILD_RESULT Run(const std::vector<std::string>& vecArgs, const std::string& sInput = "") const;
    // pelmoctl --host STORE_DIR ARGS...
    PT_CHILD_RESULT Host(const std::vector<std::string>& vecArgs, const std::string& sInput = "") const;
    // The environment every run gets: no log level of the caller's, the bus's temporary
    // directory inside the test's directory.
    std::vector<std::string> ToolEnvironment() const;

    // Every row of the three tables as text, in id order; empty when there is no database.
    std::string DumpStore() const;
    // Rows of a table (optionally of one module); -1 when there is no database.
    long long CountRows(const std::string& sTable, const std::string& sModule = "") const;
    // The text of one column of a module's first row in a table.
    std::string FirstValue(const std::string& sTable, const std::string& sColumn, const std::string& sModule) const;

    // Registers the module and publishes an example document, failing the test otherwise.
    void RegisterAndPublish(const std::string& sModule, const std::string& sDocument);

    // Processes whose command line names this test's database: a store left running.
    std::vector<int> StoreProcesses() const;
    // Entries of the bus's temporary directory: a bus directory left behind.
    std::vector<std::string> LeftoverBusDirectories() const;

    static std::string Example(const std::string& sName);
    // Writes a file in the test's directory and returns its path.
    std::string WriteFile(const std::string& sName, const std::string& sText) const;

    std::string m_sDir;       // the test's own directory
    std::string m_sStoreDir;  // the --host directory (not created beforehand)
    std::string m_sTmpDir;    // TMPDIR of the tool
};

// The failure contract: exit status 1, nothing on standard output, and exactly one line on
// standard error that starts with "pelmoctl: COMMAND: " and contains sPart.
void ExpectOneLineFailure(const PT_CHILD_RESULT& result, const std::string& sCommand, const std::string& sPart);

// What the tool printed as JSON, parsed; a text that is not JSON fails the test (and gives null).
Json::Value ParseJson(const std::string& sText);
