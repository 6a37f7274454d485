#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "EventWait.h"
#include "HostBus.h"

TEST(HostBus, StartsAPrivateSystemBusAndPointsTheEnvironmentAtIt)
{
    CHostBus bus;
    std::string sError;
    ASSERT_TRUE(bus.Start(sError)) << sError;
    ASSERT_GT(bus.GetDaemonPid(), 0);
    EXPECT_NE(bus.GetAddress().find(bus.GetDirectory()), std::string::npos) << bus.GetAddress();
    const char* sEnv = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    ASSERT_NE(sEnv, nullptr);
    EXPECT_EQ(bus.GetAddress(), sEnv);
    EXPECT_TRUE(bus.WaitForName("org.freedesktop.DBus", 2000));
    EXPECT_FALSE(bus.WaitForName("org.orvik.nobody", 100));
}

TEST(HostBus, StopKillsTheDaemonAndRemovesItsDirectory)
{
    CHostBus bus;
    std::string sError;
    ASSERT_TRUE(bus.Start(sError)) << sError;
    const pid_t daemon = bus.GetDaemonPid();
    const std::string sDir = bus.GetDirectory();
    bus.Stop();
    EXPECT_FALSE(bus.IsRunning());
    EXPECT_NE(kill(daemon, 0), 0);  // reaped and gone
    struct stat st {};
    EXPECT_NE(stat(sDir.c_str(), &st), 0);
}

TEST(HostBus, DaemonDiesWithAProcessThatCrashes)
{
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(fds[0]);
        CHostBus bus;
        std::string sError;
        if (!bus.Start(sError)) _exit(2);
        const pid_t daemon = bus.GetDaemonPid();
        char sDir[256] = {};
        bus.GetDirectory().copy(sDir, sizeof sDir - 1);
        (void)!write(fds[1], &daemon, sizeof daemon);
        (void)!write(fds[1], sDir, sizeof sDir);
        raise(SIGKILL);  // no destructor runs
    }
    close(fds[1]);
    pid_t daemon = -1;
    ASSERT_EQ(read(fds[0], &daemon, sizeof daemon), static_cast<ssize_t>(sizeof daemon));
    char sDir[256] = {};
    ASSERT_EQ(read(fds[0], sDir, sizeof sDir), static_cast<ssize_t>(sizeof sDir));
    close(fds[0]);
    // The crashed starter could not remove its bus's folder: the test does.
    const std::string sFolder(sDir);
    ASSERT_NE(sFolder.find("/pelmo-bus."), std::string::npos) << sFolder;
    int iStatus = 0;
    waitpid(child, &iStatus, 0);
    // The daemon was the crashed process's child: it is told of its parent's death and ends.
    const bool bGone = WaitForProcessEnd(daemon, 10000);
    EXPECT_TRUE(bGone) << "dbus-daemon " << daemon << " outlived its starter";
    if (!bGone) kill(daemon, SIGKILL);
    unlink((sFolder + "/system_bus_socket").c_str());
    unlink((sFolder + "/system.conf").c_str());
    EXPECT_EQ(rmdir(sFolder.c_str()), 0) << sFolder;
}

TEST(HostBus, SpawnedProcessesSeeTheBusAndAreStoppedWithIt)
{
    CHostBus bus;
    std::string sError;
    ASSERT_TRUE(bus.Start(sError)) << sError;
    const std::string sOut = bus.GetDirectory() + "/env.txt";
    const pid_t pid = bus.Spawn({"/bin/sh", "-c", "echo \"$DBUS_SYSTEM_BUS_ADDRESS\" > " + sOut + "; exec sleep 60"});
    ASSERT_GT(pid, 0);
    ASSERT_TRUE(WaitForFolderCondition(
        bus.GetDirectory(),
        [&] {
            struct stat st {};
            return stat(sOut.c_str(), &st) == 0 && st.st_size > 0;
        },
        10000))
        << "the spawned shell wrote nothing";
    FILE* pFile = fopen(sOut.c_str(), "r");
    ASSERT_NE(pFile, nullptr);
    char buf[512] = {};
    ASSERT_NE(fgets(buf, sizeof buf, pFile), nullptr);
    fclose(pFile);
    EXPECT_EQ(std::string(buf), bus.GetAddress() + "\n");
    unlink(sOut.c_str());  // the bus removes only what it put in its folder
    bus.Stop();
    EXPECT_NE(kill(pid, 0), 0);
}

// A wait for a name ends as soon as the process that was to take it ends: the generous time
// limit below is never reached (the test would hang for ten minutes if it were).
TEST(HostBus, WaitForNameEndsWhenTheWatchedProcessEnds)
{
    CHostBus bus;
    std::string sError;
    ASSERT_TRUE(bus.Start(sError)) << sError;
    const pid_t pid = bus.Spawn({"/bin/sh", "-c", "exit 3"});
    ASSERT_GT(pid, 0);
    EXPECT_FALSE(bus.WaitForName("org.orvik.nobody", 600000, pid));
    int iStatus = 0;
    ASSERT_EQ(waitpid(pid, &iStatus, WNOHANG), pid) << "the wait ended before the process did";
    ASSERT_TRUE(WIFEXITED(iStatus));
    EXPECT_EQ(WEXITSTATUS(iStatus), 3);
}

TEST(HostBus, TerminateReturnsTheStatusOfAProcessThatEndsOnTheSignal)
{
    CHostBus bus;
    std::string sError;
    ASSERT_TRUE(bus.Start(sError)) << sError;
    const pid_t pid = bus.Spawn({"sleep", "600"});
    ASSERT_GT(pid, 0);
    const int iStatus = CHostBus::Terminate(pid, 600000);
    ASSERT_TRUE(WIFSIGNALED(iStatus));
    EXPECT_EQ(WTERMSIG(iStatus), SIGTERM);
    EXPECT_NE(kill(pid, 0), 0);
}

// A process that ignores the polite signal is killed once the time is up.
TEST(HostBus, TerminateKillsAProcessThatIgnoresTheSignal)
{
    CHostBus bus;
    std::string sError;
    ASSERT_TRUE(bus.Start(sError)) << sError;
    const std::string sReady = bus.GetDirectory() + "/ready";
    ASSERT_EQ(mkfifo(sReady.c_str(), 0600), 0);
    const pid_t pid = bus.Spawn({"/bin/sh", "-c", "trap '' TERM; echo up > " + sReady + "; exec sleep 600"});
    ASSERT_GT(pid, 0);
    {
        // The signal is ignored once the shell has written to the pipe; sleep keeps ignoring it.
        FILE* pReady = fopen(sReady.c_str(), "r");
        ASSERT_NE(pReady, nullptr);
        char buf[8] = {};
        EXPECT_NE(fgets(buf, sizeof buf, pReady), nullptr);
        fclose(pReady);
    }
    const int iStatus = CHostBus::Terminate(pid, 200);
    ASSERT_TRUE(WIFSIGNALED(iStatus));
    EXPECT_EQ(WTERMSIG(iStatus), SIGKILL);
    unlink(sReady.c_str());
}

namespace {
// The process group a program started through the bus runs in, as the program itself reports it
// (its /proc stat line, fifth field) through a named pipe that the test reads.
pid_t GroupOfSpawned(CHostBus& bus, CHostBus::EGroup group)
{
    const std::string sPipe = bus.GetDirectory() + "/stat";
    if (mkfifo(sPipe.c_str(), 0600) != 0) return -1;
    const pid_t pid = bus.Spawn({"/bin/sh", "-c", "cat /proc/$$/stat > " + sPipe}, {}, group);
    pid_t pgid = -1;
    if (pid > 0) {
        FILE* pStat = fopen(sPipe.c_str(), "r");
        if (pStat != nullptr) {
            char sComm[256] = {};
            char cState = 0;
            int iPid = 0, iParent = 0, iGroup = -1;
            // The command name is in parentheses and is "sh" here, so a plain scan works.
            if (fscanf(pStat, "%d %255s %c %d %d", &iPid, sComm, &cState, &iParent, &iGroup) == 5) pgid = iGroup;
            fclose(pStat);
        }
        waitpid(pid, nullptr, 0);
    }
    unlink(sPipe.c_str());
    return pgid;
}
}  // namespace

// A daemon runs in a process group of its own; a command run for the starter stays in the
// starter's group, so that it can read the starter's terminal.
TEST(HostBus, SpawnPutsDaemonsInTheirOwnGroupAndCommandsInTheStarters)
{
    CHostBus bus;
    std::string sError;
    ASSERT_TRUE(bus.Start(sError)) << sError;
    const pid_t ownGroup = GroupOfSpawned(bus, CHostBus::EGroup::kOwn);
    ASSERT_GT(ownGroup, 0);
    EXPECT_NE(ownGroup, getpgrp());
    EXPECT_EQ(GroupOfSpawned(bus, CHostBus::EGroup::kStarter), getpgrp());
}
