// What the request interface shares among its own files but does not export. Not installed:
// a program that declared these would fail to link against the shared library.
#pragma once

#include <string>

// Tells the store that a module's preview data was brought up to date (fire and forget).
void sendCompleteEvent(std::string sModuleName);
