// Collects the lines that this process logs through the platform log while it is alive.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

struct CLogLine {
    int iPriority;
    std::string sTag;
    std::string sMessage;
    std::chrono::steady_clock::time_point when;  // when it was logged
};

class CLogCapture {
public:
    CLogCapture();
    ~CLogCapture();
    CLogCapture(const CLogCapture&) = delete;
    CLogCapture& operator=(const CLogCapture&) = delete;

    std::vector<CLogLine> Lines() const;
    void Clear();

    // The message text after the common "file: func(line) > [base][func:line] " prefix.
    static std::string Body(const std::string& sMessage);
    // Bodies of all lines of a priority (any priority when iPriority < 0).
    std::vector<std::string> Bodies(int iPriority = -1) const;
    // True when some line has exactly this priority and body.
    bool Has(int iPriority, const std::string& sBody) const;
    // How many lines have exactly this priority and body.
    size_t Count(int iPriority, const std::string& sBody) const;
    // All lines, one per row, for failure messages.
    std::string Dump() const;

private:
    static void Sink(int prio, const char* tag, const char* message, void* user);
    mutable std::mutex m_mutex;
    std::vector<CLogLine> m_vecLines;
};
