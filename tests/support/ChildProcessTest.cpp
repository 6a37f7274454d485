// The tests' process runner: how a program ended, its two streams apart, its input, its
// environment, a time limit that kills, and nothing of the run left behind (no process of its
// group, no descriptor in either process).
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "EventWait.h"

namespace {
std::vector<std::string> OpenDescriptors()
{
    std::vector<std::string> vecFds;
    DIR* pDir = opendir("/proc/self/fd");
    if (pDir == nullptr) return vecFds;
    const std::string sOwn = std::to_string(dirfd(pDir));
    while (dirent* pEntry = readdir(pDir)) {
        const std::string sName = pEntry->d_name;
        if (sName != "." && sName != ".." && sName != sOwn) vecFds.push_back(sName);
    }
    closedir(pDir);
    return vecFds;
}

PT_CHILD_OPTIONS Limited(int iTimeoutMs)
{
    PT_CHILD_OPTIONS options;
    options.iTimeoutMs = iTimeoutMs;
    return options;
}
}  // namespace

TEST(ChildProcess, ExitStatusAndBothStreamsComeBackApart)
{
    const PT_CHILD_RESULT result = RunChild({"/bin/sh", "-c", "printf 'one\\ntwo'; printf 'bad\\n' >&2; exit 3"});
    EXPECT_TRUE(result.bStarted);
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ(result.iExit, 3);
    EXPECT_EQ(result.sOut, "one\ntwo");
    EXPECT_EQ(result.sErr, "bad\n");
}

TEST(ChildProcess, EndBySignalIsReportedAs128PlusTheSignal)
{
    const PT_CHILD_RESULT result = RunChild({"/bin/sh", "-c", "kill -TERM $$"});
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ(result.iExit, 128 + SIGTERM);
}

TEST(ChildProcess, LargeInputReachesTheProgramWhileItsOutputIsRead)
{
    // More than a pipe holds in both directions: feeding and reading must go on together.
    std::string sInput;
    for (int i = 0; sInput.size() < 1024 * 1024; ++i) sInput += "line " + std::to_string(i) + "\n";
    PT_CHILD_OPTIONS options;
    options.sInput = sInput;
    const PT_CHILD_RESULT result = RunChild({"/bin/cat"}, options);
    EXPECT_EQ(result.iExit, 0);
    EXPECT_EQ(result.sOut.size(), sInput.size());
    EXPECT_TRUE(result.sOut == sInput);
}

TEST(ChildProcess, InputIsClosedAfterTheText)
{
    PT_CHILD_OPTIONS options;
    options.sInput = "a\nb\n";
    const PT_CHILD_RESULT result = RunChild({"/usr/bin/wc", "-l"}, options);
    EXPECT_EQ(result.iExit, 0);
    EXPECT_EQ(result.sOut, "2\n");
}

TEST(ChildProcess, EnvironmentEntriesAreSetAndRemoved)
{
    ASSERT_EQ(setenv("PELMO_RUNNER_GONE", "here", 1), 0);
    PT_CHILD_OPTIONS options;
    options.vecEnv = {"PELMO_RUNNER_GONE", "PELMO_RUNNER_SET=a=b"};
    const PT_CHILD_RESULT result = RunChild({"/usr/bin/env"}, options);
    unsetenv("PELMO_RUNNER_GONE");
    EXPECT_EQ(result.iExit, 0);
    const std::vector<std::string> vecLines = SplitLines(result.sOut);
    EXPECT_NE(std::find(vecLines.begin(), vecLines.end(), "PELMO_RUNNER_SET=a=b"), vecLines.end()) << result.sOut;
    EXPECT_EQ(result.sOut.find("PELMO_RUNNER_GONE"), std::string::npos) << result.sOut;
}

TEST(ChildProcess, ProgramIsFoundInPathOnlyWhenAsked)
{
    EXPECT_EQ(RunChild({"true"}).iExit, 127);
    PT_CHILD_OPTIONS options;
    options.bSearchPath = true;
    EXPECT_EQ(RunChild({"true"}, options).iExit, 0);
}

TEST(ChildProcess, MissingProgramExitsWith127AndSaysWhy)
{
    const PT_CHILD_RESULT result = RunChild({"/no/such/program"});
    EXPECT_TRUE(result.bStarted);
    EXPECT_EQ(result.iExit, 127);
    EXPECT_EQ(result.sErr.rfind("cannot start /no/such/program: ", 0), 0u) << result.sErr;
}

TEST(ChildProcess, TimeLimitKillsTheWholeGroupAndSaysSo)
{
    PT_CHILD_OPTIONS options = Limited(500);
    options.bOwnGroup = true;
    // The shell prints its helper's pid and waits for it forever.
    const PT_CHILD_RESULT result = RunChild({"/bin/sh", "-c", "sleep 1000 & echo $!; wait"}, options);
    EXPECT_TRUE(result.bTimedOut);
    EXPECT_EQ(result.iExit, -1);
    const pid_t helper = static_cast<pid_t>(std::atoi(result.sOut.c_str()));
    ASSERT_GT(helper, 0) << result.sOut;
    EXPECT_TRUE(WaitForProcessEnd(helper, 10000)) << "the helper outlived the time limit";
}

TEST(ChildProcess, HelpersLeftInTheGroupEndWithTheProgram)
{
    PT_CHILD_OPTIONS options;
    options.bOwnGroup = true;
    // The helper keeps the output pipes open; the run still ends with the program.
    const PT_CHILD_RESULT result = RunChild({"/bin/sh", "-c", "sleep 1000 & echo $!"}, options);
    EXPECT_FALSE(result.bTimedOut);
    EXPECT_EQ(result.iExit, 0);
    const pid_t helper = static_cast<pid_t>(std::atoi(result.sOut.c_str()));
    ASSERT_GT(helper, 0) << result.sOut;
    EXPECT_TRUE(WaitForProcessEnd(helper, 10000)) << "the helper outlived the program";
}

TEST(ChildProcess, ProgramStillRunningIsReportedAndKilledWhenDropped)
{
    pid_t pid = -1;
    {
        CChildProcess process;
        ASSERT_TRUE(process.Start({"/bin/cat"}));
        pid = process.Pid();
        process.Input("x");
        // cat waits for the end of its input, which stays open.
        EXPECT_FALSE(process.WaitWithInputOpen(200));
    }
    // Reaped by the runner: no such process any more, not even a zombie.
    EXPECT_EQ(kill(pid, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST(ChildProcess, NoDescriptorReachesTheProgramOrStaysBehind)
{
    const int iFd = open("/dev/null", O_RDONLY);  // without close-on-exec on purpose
    ASSERT_GE(iFd, 0);
    ASSERT_EQ(dup2(iFd, 57), 57);
    close(iFd);
    const std::vector<std::string> vecBefore = OpenDescriptors();
    const PT_CHILD_RESULT result = RunChild({"/bin/ls", "/proc/self/fd"});
    EXPECT_EQ(result.iExit, 0) << result.sErr;
    const std::vector<std::string> vecChild = SplitLines(result.sOut);
    EXPECT_EQ(std::find(vecChild.begin(), vecChild.end(), "57"), vecChild.end()) << result.sOut;
    EXPECT_EQ(OpenDescriptors(), vecBefore);
    close(57);
}

TEST(ChildProcess, SplitLinesCountsALastLineWithoutLineFeed)
{
    EXPECT_EQ(SplitLines(""), std::vector<std::string>());
    EXPECT_EQ(SplitLines("a\n\nb"), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(SplitLines("a\n"), std::vector<std::string>{"a"});
}
