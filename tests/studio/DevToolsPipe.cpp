#include "DevToolsPipe.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>

#include "EventWait.h"
#include "HeadlessChromium.h"

namespace {
std::string Compact(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

long long NowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
}  // namespace

CDevToolsPipe::~CDevToolsPipe()
{
    Stop();
}

bool CDevToolsPipe::Start(const std::string& sChromium, const std::string& sProfileDir, std::string& sError)
{
    int aToBrowser[2], aFromBrowser[2];
    if (pipe2(aToBrowser, O_CLOEXEC) != 0 || pipe2(aFromBrowser, O_CLOEXEC) != 0) {
        sError = std::string("pipe: ") + std::strerror(errno);
        return false;
    }
    std::vector<std::string> vecArgv = HeadlessChromiumArgs(sChromium, sProfileDir);
    for (const char* sArg : {"--disable-background-timer-throttling", "--disable-renderer-backgrounding",
                             "--host-resolver-rules=MAP * ~NOTFOUND , EXCLUDE 127.0.0.1", "--window-size=1280,900",
                             "--remote-debugging-pipe", "about:blank"}) {
        vecArgv.push_back(sArg);
    }
    const std::string sLog = sProfileDir + ".log";
    m_pid = fork();
    if (m_pid < 0) {
        sError = std::string("fork: ") + std::strerror(errno);
        return false;
    }
    if (m_pid == 0) {
        setpgid(0, 0);
        // The protocol's pipe is fds 3 (commands in) and 4 (answers out).
        dup2(aToBrowser[0], 3);
        dup2(aFromBrowser[1], 4);
        const int iLog = open(sLog.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (iLog >= 0) {
            dup2(iLog, STDOUT_FILENO);
            dup2(iLog, STDERR_FILENO);
        }
        setenv("HOME", sProfileDir.c_str(), 1);
        setenv("XDG_CONFIG_HOME", (sProfileDir + "/config").c_str(), 1);
        setenv("XDG_CACHE_HOME", (sProfileDir + "/cache").c_str(), 1);
        std::vector<char*> argv;
        for (const std::string& sArg : vecArgv) argv.push_back(const_cast<char*>(sArg.c_str()));
        argv.push_back(nullptr);
        execv(sChromium.c_str(), argv.data());
        _exit(127);
    }
    setpgid(m_pid, m_pid);
    close(aToBrowser[0]);
    close(aFromBrowser[1]);
    m_iToBrowser = aToBrowser[1];
    m_iFromBrowser = aFromBrowser[0];
    // The browser answers once it is up.
    Json::Value version;
    return Call("Browser.getVersion", Json::Value(Json::objectValue), version, sError, std::string(), 60000);
}

bool CDevToolsPipe::ReadMessage(Json::Value& message, int iTimeoutMs, std::string& sError)
{
    const long long llDeadline = NowMs() + iTimeoutMs;
    for (;;) {
        const size_t uEnd = m_sBuffer.find('\0');
        if (uEnd != std::string::npos) {
            const std::string sText = m_sBuffer.substr(0, uEnd);
            m_sBuffer.erase(0, uEnd + 1);
            Json::CharReaderBuilder builder;
            std::unique_ptr<Json::CharReader> pReader(builder.newCharReader());
            std::string sErrors;
            if (!pReader->parse(sText.data(), sText.data() + sText.size(), &message, &sErrors)) {
                sError = "the browser sent something that is not JSON: " + sText.substr(0, 200);
                return false;
            }
            return true;
        }
        const long long llLeft = llDeadline - NowMs();
        if (llLeft <= 0) {
            sError = "the browser did not answer in time";
            return false;
        }
        pollfd fd = {m_iFromBrowser, POLLIN, 0};
        const int iReady = poll(&fd, 1, static_cast<int>(llLeft));
        if (iReady < 0 && errno == EINTR) continue;
        if (iReady <= 0) continue;
        char aBuffer[65536];
        const ssize_t iRead = read(m_iFromBrowser, aBuffer, sizeof aBuffer);
        if (iRead <= 0) {
            sError = "the browser closed its end of the pipe";
            return false;
        }
        m_sBuffer.append(aBuffer, static_cast<size_t>(iRead));
    }
}

bool CDevToolsPipe::Call(const std::string& sMethod, const Json::Value& params, Json::Value& result,
                         std::string& sError, const std::string& sSession, int iTimeoutMs)
{
    if (m_iToBrowser < 0) {
        sError = "the browser is not running";
        return false;
    }
    const int iId = m_iNextId++;
    Json::Value command;
    command["id"] = iId;
    command["method"] = sMethod;
    command["params"] = params;
    if (!sSession.empty()) command["sessionId"] = sSession;
    const std::string sText = Compact(command) + std::string(1, '\0');
    size_t uDone = 0;
    while (uDone < sText.size()) {
        const ssize_t iWritten = write(m_iToBrowser, sText.data() + uDone, sText.size() - uDone);
        if (iWritten < 0 && errno == EINTR) continue;
        if (iWritten <= 0) {
            sError = "cannot write to the browser";
            return false;
        }
        uDone += static_cast<size_t>(iWritten);
    }
    const long long llDeadline = NowMs() + iTimeoutMs;
    for (;;) {
        Json::Value message;
        const long long llLeft = llDeadline - NowMs();
        if (!ReadMessage(message, static_cast<int>(llLeft > 0 ? llLeft : 0), sError)) return false;
        if (!message.isMember("id") || message["id"].asInt() != iId) continue;
        if (message.isMember("error")) {
            sError = sMethod + ": " + message["error"]["message"].asString();
            return false;
        }
        result = message["result"];
        return true;
    }
}

bool CDevToolsPipe::OpenPage(const std::string& sUrl, std::string& sSession, std::string& sError)
{
    Json::Value params, result;
    params["url"] = "about:blank";
    if (!Call("Target.createTarget", params, result, sError)) return false;
    Json::Value attach;
    attach["targetId"] = result["targetId"];
    attach["flatten"] = true;
    if (!Call("Target.attachToTarget", attach, result, sError)) return false;
    sSession = result["sessionId"].asString();
    Json::Value metrics;
    metrics["width"] = 1280;
    metrics["height"] = 900;
    metrics["deviceScaleFactor"] = 1;
    metrics["mobile"] = false;
    if (!Call("Emulation.setDeviceMetricsOverride", metrics, result, sError, sSession)) return false;
    if (!Call("Page.enable", Json::Value(Json::objectValue), result, sError, sSession)) return false;
    Json::Value navigate;
    navigate["url"] = sUrl;
    if (!Call("Page.navigate", navigate, result, sError, sSession)) return false;
    if (result.isMember("errorText")) {
        sError = "cannot open " + sUrl + ": " + result["errorText"].asString();
        return false;
    }
    return Call("Page.bringToFront", Json::Value(Json::objectValue), result, sError, sSession);
}

bool CDevToolsPipe::Evaluate(const std::string& sSession, const std::string& sExpression, Json::Value& value,
                             std::string& sError, int iTimeoutMs)
{
    Json::Value params, result;
    params["expression"] = sExpression;
    params["returnByValue"] = true;
    params["awaitPromise"] = true;
    if (!Call("Runtime.evaluate", params, result, sError, sSession, iTimeoutMs)) return false;
    if (result.isMember("exceptionDetails")) {
        sError = "the script failed: " + result["exceptionDetails"]["exception"]["description"].asString() +
                 result["exceptionDetails"]["text"].asString();
        return false;
    }
    value = result["result"]["value"];
    return true;
}

bool CDevToolsPipe::PressKey(const std::string& sSession, const std::string& sKey, int iKeyCode, std::string& sError)
{
    Json::Value result;
    for (const char* sType : {"rawKeyDown", "keyUp"}) {
        Json::Value params;
        params["type"] = sType;
        params["key"] = sKey;
        params["code"] = sKey;
        params["windowsVirtualKeyCode"] = iKeyCode;
        params["nativeVirtualKeyCode"] = iKeyCode;
        if (!Call("Input.dispatchKeyEvent", params, result, sError, sSession)) return false;
    }
    return true;
}

void CDevToolsPipe::Stop()
{
    if (m_pid <= 0) return;
    Json::Value result;
    std::string sError;
    Call("Browser.close", Json::Value(Json::objectValue), result, sError, std::string(), 10000);
    if (m_iToBrowser >= 0) close(m_iToBrowser);
    if (m_iFromBrowser >= 0) close(m_iFromBrowser);
    m_iToBrowser = m_iFromBrowser = -1;
    // The browser's helpers live in its process group; whatever outlived it goes with it.
    int iStatus = 0;
    if (!WaitForChildExit(m_pid, 10000, &iStatus)) {
        kill(-m_pid, SIGKILL);
        waitpid(m_pid, &iStatus, 0);
    }
    kill(-m_pid, SIGKILL);
    m_pid = -1;
}
