// Waits on the event a test depends on (a process ending, a folder's content changing), never
// on time: the deadline of each wait only guards against a hang, and a wait that reaches it
// returns false so that the test fails with its own message.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

// A descriptor (close-on-exec) that becomes readable when the process `pid` ends; -1 where the
// kernel (or an emulator running the tests) has none (errno ENOSYS), or the process is gone.
int OpenProcessFd(pid_t pid);

// Waits until the child `pid` ends and reaps it; its wait status goes to `pStatus`. False when
// the deadline passed first (the child is left running) or `pid` is not a child of this process.
bool WaitForChildExit(pid_t pid, int iTimeoutMs, int* pStatus = nullptr);

// Waits until the process `pid`, a child of this process or not, has ended.
bool WaitForProcessEnd(pid_t pid, int iTimeoutMs);

// Waits until `condition` holds, testing it at once and again whenever an entry of the folder
// `sDirectory` is created, written, closed after writing, moved or removed.
bool WaitForFolderCondition(const std::string& sDirectory, const std::function<bool()>& condition, int iTimeoutMs);

// Waits until `sPath` exists (`bPresent`) or no longer exists.
bool WaitForPath(const std::string& sPath, bool bPresent, int iTimeoutMs);
