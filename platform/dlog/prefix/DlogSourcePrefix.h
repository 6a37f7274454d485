// Takes a log message apart into its source position and its text, the reverse of
// DLOG_PRINT_SOURCE (dlog_source_line.h). The tools show the text alone; the tests check both.
#pragma once

#include <cstddef>
#include <string>

struct CDlogSourcePrefix {
    std::string sFile;
    std::string sFunction;
    int iLine = 0;
    std::string sBase;
    std::string sBaseFunction;
    int iBaseLine = 0;
    // Where the text after the prefix starts in the message.
    std::size_t iBodyStart = 0;
};

// False when the message does not start with a source position of that form.
bool ParseDlogSourcePrefix(const std::string& sMessage, CDlogSourcePrefix& prefix);

// The text after the source position; the whole message when it has none.
std::string DlogMessageBody(const std::string& sMessage);
