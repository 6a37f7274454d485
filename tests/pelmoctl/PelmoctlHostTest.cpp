// pelmoctl with --host (a private store around one command), without it (the bus of the
// environment, nothing started), and --help everywhere.
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include "EventWait.h"
#include "HostStore.h"
#include "PelmoctlStoreFixture.h"

using PelmoctlHelp = PelmoctlTest;
using PelmoctlHost = PelmoctlTest;
using PelmoctlWithoutHost = PelmoctlTest;

namespace {
const char* const kStoreCommands[] = {"register", "publish", "get", "withdraw", "status"};

size_t CountInFile(const std::string& sPath, const std::string& sText)
{
    std::ifstream in(sPath);
    const std::string sAll((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    size_t iCount = 0;
    for (size_t i = sAll.find(sText); i != std::string::npos; i = sAll.find(sText, i + 1)) ++iCount;
    return iCount;
}

bool FileContains(const std::string& sPath, const std::string& sText)
{
    return CountInFile(sPath, sText) > 0;
}
}  // namespace

TEST_F(PelmoctlHelp, EveryStoreCommandExplainsItselfOnStandardOutput)
{
    for (const char* sCommand : kStoreCommands) {
        for (const char* sFlag : {"--help", "-h"}) {
            const PT_CHILD_RESULT result = Run({sCommand, sFlag});
            EXPECT_EQ(result.iExit, 0) << sCommand << " " << sFlag << ": " << result.sErr;
            EXPECT_EQ(result.sOut.rfind(std::string("usage: pelmoctl ") + sCommand + " MODULE", 0), 0u) << result.sOut;
            EXPECT_NE(result.sOut.find("Exit status"), std::string::npos) << result.sOut;
            EXPECT_EQ(result.sErr, "");
        }
    }
}

TEST_F(PelmoctlHelp, HelpWithHostStartsNoStore)
{
    for (const char* sCommand : kStoreCommands) {
        const PT_CHILD_RESULT result = Host({sCommand, "--help"});
        EXPECT_EQ(result.iExit, 0) << result.sErr;
        EXPECT_EQ(result.sOut.rfind(std::string("usage: pelmoctl ") + sCommand, 0), 0u) << result.sOut;
    }
    struct stat info;
    EXPECT_NE(stat(m_sStoreDir.c_str(), &info), 0) << "the host directory was created";
}

TEST_F(PelmoctlHelp, ToolHelpNamesEveryCommandAndHost)
{
    const PT_CHILD_RESULT result = Run({"--help"});
    EXPECT_EQ(result.iExit, 0);
    for (const char* sCommand : kStoreCommands) {
        EXPECT_NE(result.sOut.find(std::string("  ") + sCommand + " MODULE"), std::string::npos) << sCommand;
    }
    EXPECT_NE(result.sOut.find("--host DIR"), std::string::npos);
    const PT_CHILD_RESULT bare = Run({});
    EXPECT_EQ(bare.iExit, 2);
    EXPECT_NE(bare.sErr.find("usage: pelmoctl [--host DIR] COMMAND"), std::string::npos);
}

TEST_F(PelmoctlHost, CreatesTheDirectoryAndKeepsTheStoreAndItsLogThere)
{
    m_sStoreDir = m_sDir + "/deep/er/store";
    ASSERT_EQ(Host({"register", "org.example.player"}).iExit, 0);
    EXPECT_EQ(CountRows("accelerators"), 1);
    EXPECT_TRUE(FileContains(m_sStoreDir + "/service.log", "insert module=org.example.player ok rows=1"));
    // The bus daemon's and the service's own messages went to the log, not to the output.
    const PT_CHILD_RESULT result = Host({"status", "org.example.player"});
    EXPECT_EQ(result.sErr, "");
    EXPECT_TRUE(FileContains(m_sStoreDir + "/service.log", "serving " + m_sStoreDir + "/store.db"));
}

TEST_F(PelmoctlHost, LeavesNoProcessAndNoBusDirectoryBehind)
{
    RegisterAndPublish("org.example.player", Example("small.json"));
    ExpectOneLineFailure(Host({"get", "org.example.unknown"}), "get", "not registered");
    EXPECT_TRUE(StoreProcesses().empty());
    EXPECT_TRUE(LeftoverBusDirectories().empty());
}

TEST_F(PelmoctlHost, DirectoryThatIsAFileFailsInOneLine)
{
    m_sStoreDir = WriteFile("plain-file", "x");
    const PT_CHILD_RESULT result = Host({"status", "org.example.player"});
    EXPECT_EQ(result.iExit, 1);
    EXPECT_EQ(result.sErr, "pelmoctl: --host: " + m_sStoreDir + " is not a directory\n");
    m_sStoreDir = "";
    const PT_CHILD_RESULT empty = Host({"status", "org.example.player"});
    EXPECT_EQ(empty.iExit, 1);
    EXPECT_EQ(empty.sErr, "pelmoctl: --host: the directory name is empty\n");
}

namespace {
// Starts `pelmoctl --host DIR publish MODULE -` and leaves its input open, so that it waits;
// returns once its store serves (the store's log has one more "serving" line).
bool StartWaitingPublish(CChildProcess& process, const std::string& sStoreDir, const std::vector<std::string>& vecEnv)
{
    const size_t iServedBefore = CountInFile(sStoreDir + "/service.log", "serving ");
    PT_CHILD_OPTIONS options;
    options.vecEnv = vecEnv;
    if (!process.Start({PELMOCTL_PATH, "--host", sStoreDir, "publish", "org.example.player", "-"}, options)) {
        return false;
    }
    return WaitForFolderCondition(
        sStoreDir, [&] { return CountInFile(sStoreDir + "/service.log", "serving ") > iServedBefore; }, 20000);
}
}  // namespace

TEST_F(PelmoctlHost, InterruptTerminateOrHangupStopsTheCommandAndTheStore)
{
    for (int iSignal : {SIGTERM, SIGINT, SIGHUP}) {
        CChildProcess process;
        ASSERT_TRUE(StartWaitingPublish(process, m_sStoreDir, ToolEnvironment()));
        EXPECT_FALSE(StoreProcesses().empty()) << "the store should serve while the command waits";
        EXPECT_FALSE(process.WaitWithInputOpen(200)) << "the command should wait for its document";
        kill(process.Pid(), iSignal);
        ASSERT_TRUE(process.WaitWithInputOpen(20000)) << "pelmoctl did not stop on signal " << iSignal;
        const PT_CHILD_RESULT result = process.Finish();
        EXPECT_EQ(result.iExit, 128 + iSignal);
        EXPECT_TRUE(StoreProcesses().empty());
        EXPECT_TRUE(LeftoverBusDirectories().empty());
        EXPECT_EQ(CountInFile(m_sStoreDir + "/service.log", "stopping"),
                  CountInFile(m_sStoreDir + "/service.log", "serving "));
    }
}

TEST_F(PelmoctlWithoutHost, UsesTheBusOfTheEnvironmentAndStartsNothing)
{
    // The test's own store; pelmoctl inherits DBUS_SYSTEM_BUS_ADDRESS from this process.
    ASSERT_EQ(mkdir(m_sStoreDir.c_str(), 0700), 0);
    CHostStoreOptions options;
    options.sServicePath = PELMO_SERVICE_PATH;
    options.sDatabase = m_sStoreDir + "/store.db";
    options.sLogFile = m_sStoreDir + "/service.log";
    CHostStore store;
    std::string sError;
    ASSERT_TRUE(store.Start(options, sError)) << sError;
    const pid_t servicePid = store.GetServicePid();

    ASSERT_EQ(Run({"register", "org.example.player", "--title", "Player"}).iExit, 0);
    ASSERT_EQ(Run({"publish", "org.example.player", Example("small.json")}).iExit, 0);
    ASSERT_EQ(Run({"get", "org.example.player"}).iExit, 0);
    const PT_CHILD_RESULT result = Run({"status", "org.example.player"});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    // One service saw all four runs: the completion event of the publish and the scheduler
    // start of the read are remembered.
    EXPECT_NE(result.sOut.find("(1 since the store started)\n"), std::string::npos) << result.sOut;
    EXPECT_NE(result.sOut.find("scheduler: running (by org.example.launcher)\n"), std::string::npos) << result.sOut;
    EXPECT_NE(result.sOut.find("tiles: 1 (0 past their display window, 0 before it)\n"), std::string::npos)
        << result.sOut;
    EXPECT_EQ(store.GetServicePid(), servicePid);
    EXPECT_EQ(StoreProcesses().size(), 1u) << "pelmoctl started a store of its own";
    EXPECT_TRUE(LeftoverBusDirectories().empty()) << "pelmoctl started a bus of its own";
    store.Stop();
}

TEST_F(PelmoctlWithoutHost, UnreachableStoreFailsInOneLineForEveryCommand)
{
    const std::string sNoBus = "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + m_sDir + "/no-bus-here";
    std::vector<std::string> vecEnv = ToolEnvironment();
    vecEnv.push_back(sNoBus);
    const std::string sDocument = Example("small.json");
    const std::vector<std::vector<std::string>> vecRuns = {{"register", "org.example.player"},
                                                           {"publish", "org.example.player", sDocument},
                                                           {"get", "org.example.player"},
                                                           {"withdraw", "org.example.player"},
                                                           {"status", "org.example.player"}};
    for (const std::vector<std::string>& vecArgs : vecRuns) {
        std::vector<std::string> vecArgv = {PELMOCTL_PATH};
        vecArgv.insert(vecArgv.end(), vecArgs.begin(), vecArgs.end());
        PT_CHILD_OPTIONS options;
        options.vecEnv = vecEnv;
        ExpectOneLineFailure(RunChild(vecArgv, options), vecArgs[0], "cannot reach the store on the system bus");
    }
}
