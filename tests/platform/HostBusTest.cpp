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
