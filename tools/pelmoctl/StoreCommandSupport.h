// What the store subcommands of pelmoctl share: argument checks, the one-line error, reading
// a document, the library's own log lines, and the service's tooling methods ("stats",
// "journal"), which the library itself never sends.
#pragma once

#include <json/json.h>

#include <functional>
#include <string>
#include <vector>

namespace StoreCommand {

// Exit statuses that scripts can rely on.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// "pelmoctl: COMMAND: MESSAGE" on standard error, always one line. Returns kExitFailure.
int Fail(const std::string& sCommand, const std::string& sMessage);
// The same for bad usage, followed by the command's usage line. Returns kExitUsage.
int UsageError(const std::string& sCommand, const std::string& sMessage, const char* sUsage);

// True when the arguments ask for the command's help ("--help" or "-h").
bool WantsHelp(int argc, char** argv);

// Splits the command's arguments (argv[0] is its name) into positional ones and options that
// take a value (named in vecValueOptions, e.g. "--title"); flags named in vecFlags are set in
// vecFlagsSeen. "-" alone is positional. False with a reason on anything else.
struct CParsedArgs {
    std::vector<std::string> vecPositional;
    std::vector<std::pair<std::string, std::string>> vecOptions;
    std::vector<std::string> vecFlagsSeen;
    bool Has(const std::string& sFlag) const;
    const std::string* Option(const std::string& sName) const;
};
bool ParseArgs(int argc, char** argv, const std::vector<std::string>& vecValueOptions,
               const std::vector<std::string>& vecFlags, CParsedArgs& args, std::string& sError);

// What every command on a module does first: its help, its arguments (`uPositional` of them,
// the module first, `sExpected` naming them) and a module name that is not empty. Returns -1
// when the command goes on with `args`, otherwise the exit status to end with.
struct CCommandShape {
    const char* sHelp;
    const char* sUsage;
    std::vector<std::string> vecValueOptions;
    std::vector<std::string> vecFlags;
    size_t uPositional;
    const char* sExpected;
};
int StartModuleCommand(const std::string& sCommand, int argc, char** argv, const CCommandShape& shape,
                       CParsedArgs& args);

// Keeps the library's error lines of the process while alive, so that a failure can be told in
// one line instead of the library's own. The library's lines stay off standard error unless
// PELMO_LOG_LEVEL asks for them.
class CLibraryLog {
public:
    CLibraryLog();
    ~CLibraryLog();
    CLibraryLog(const CLibraryLog&) = delete;
    CLibraryLog& operator=(const CLibraryLog&) = delete;

    // The message of the first error line logged since construction or the last Clear, without
    // the source-position prefix; empty when there was none.
    std::string FirstError() const;
    void Clear();

private:
    static void OnLine(int iPriority, const char* sTag, const char* sMessage, void* pUser);
    std::vector<std::string> m_vecErrors;
};

// One "Call" at the store manager name; false with a one-line reason when the store refused
// or could not be reached.
bool CallStore(const std::string& sMethod, const std::string& sModule, const std::string& sInput, std::string& sOutput,
               std::string& sError, const CLibraryLog& log);

// The store's statistics of a module (see service/README.md, "stats").
bool FetchStats(const std::string& sModule, Json::Value& stats, std::string& sError, const CLibraryLog& log);
// The module's journal entries after llSince, with its totals (see service/README.md, "journal").
bool FetchJournal(const std::string& sModule, long long llSince, Json::Value& journal, std::string& sError,
                  const CLibraryLog& log);

// Rows changed in one table between two journal answers' totals.
struct CTableDelta {
    long long llInserted = 0;
    long long llUpdated = 0;
    long long llDeleted = 0;
};
CTableDelta TotalsDelta(const Json::Value& before, const Json::Value& after, const std::string& sTable);
// "sections: 2 inserted, 0 updated, 1 deleted" and the same for tiles, each with a newline.
std::string FormatCounts(const CTableDelta& sections, const CTableDelta& tiles);

// Drops the library's bus connection when it goes out of scope, on every way out of a command,
// so that nothing is left half closed. Dropping it again is harmless, so Now() may drop it early,
// for a command that has more to do without the bus.
struct CTransportRelease {
    ~CTransportRelease();
    void Now();
};

// What a command on a registered module works with once the store has answered for it.
struct CRegisteredModule {
    const CParsedArgs& args;
    const std::string& sModule;
    const Json::Value& stats;  // the module's statistics, fetched before the command's own step
    CLibraryLog& log;
    CTransportRelease& release;
};

// The course of every command that needs a registered module (get, publish, withdraw, status):
// its start (StartModuleCommand); then `checkOffline`, when given, on its arguments before the
// store is asked anything (it returns -1 to go on, otherwise the exit status); then the module's
// statistics, a failure in one line when the store cannot be reached or the module is not
// registered; then `step`, whose result is the exit status. The bus is released on every way out.
int RunOnRegisteredModule(const std::string& sCommand, int argc, char** argv, const CCommandShape& shape,
                          const std::function<int(const CParsedArgs&)>& checkOffline,
                          const std::function<int(CRegisteredModule&)>& step);

}  // namespace StoreCommand
