// A headless Chromium driven through its DevTools protocol on a pipe (no network port): the
// test opens pages, reads their DOM, presses keys and takes screenshots as a user's browser
// would show them.
#pragma once

#include <json/json.h>
#include <sys/types.h>

#include <string>
#include <vector>

class CDevToolsPipe {
public:
    CDevToolsPipe() = default;
    ~CDevToolsPipe();
    CDevToolsPipe(const CDevToolsPipe&) = delete;
    CDevToolsPipe& operator=(const CDevToolsPipe&) = delete;

    // Starts the browser with its profile in sProfileDir; it may not resolve any host name.
    bool Start(const std::string& sChromium, const std::string& sProfileDir, std::string& sError);
    // Sends one command (to a page when sSession is set) and waits for its answer; events in
    // between are passed over. False with the browser's reason on an error or after iTimeoutMs.
    bool Call(const std::string& sMethod, const Json::Value& params, Json::Value& result, std::string& sError,
              const std::string& sSession = std::string(), int iTimeoutMs = 30000);
    // Opens sUrl in a new page and returns the session that talks to it.
    bool OpenPage(const std::string& sUrl, std::string& sSession, std::string& sError);
    // Runs a script in the page (awaiting a promise it returns) and hands back its value.
    bool Evaluate(const std::string& sSession, const std::string& sExpression, Json::Value& value, std::string& sError,
                  int iTimeoutMs = 30000);
    // One key pressed and released, as a remote control's key reaches the page.
    bool PressKey(const std::string& sSession, const std::string& sKey, int iKeyCode, std::string& sError);
    // Closes the browser and waits for all of its processes.
    void Stop();
    pid_t Pid() const { return m_pid; }

private:
    bool ReadMessage(Json::Value& message, int iTimeoutMs, std::string& sError);

    pid_t m_pid = -1;
    int m_iToBrowser = -1;
    int m_iFromBrowser = -1;
    std::string m_sBuffer;
    int m_iNextId = 1;
};
