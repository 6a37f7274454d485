// The prefix of a library log line, "<file>: <function>(<line>) > [<base>][<function>:<line>] ",
// taken apart, and a check that it names the expected unit and function and a line that holds
// the log call in the source file where the function is.
#pragma once

#include <string>
#include <vector>

#include "DlogSourcePrefix.h"
#include "LogCapture.h"

using CLogPrefix = CDlogSourcePrefix;

// False when the message does not start with a prefix of that form.
bool ParseLogPrefix(const std::string& sMessage, CLogPrefix& prefix);

// The first captured line of the function whose body starts with sBodyStart; empty when none.
std::string FindLogLine(const std::vector<CLogLine>& vecLines, const std::string& sFunction,
                        const std::string& sBodyStart);

// Empty when the line's prefix names the unit (its path from the source tree and its base name),
// the function twice and the same line twice, and that line of sSourceFile (a path from the
// source tree) lies within a log call whose text starts with sFormatStart; else what is wrong.
std::string CheckLogPrefix(const std::string& sMessage, const std::string& sUnitPath, const std::string& sFunction,
                           const std::string& sSourceFile, const std::string& sFormatStart);

// CheckLogPrefix on the first captured line of the function whose body starts with sBodyStart;
// says so when there is no such line.
std::string CheckFunctionLine(const CLogCapture& log, const std::string& sUnitPath, const std::string& sFunction,
                              const std::string& sBodyStart, const std::string& sSourceFile,
                              const std::string& sFormatStart);
