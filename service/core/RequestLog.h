// The one log line of a request, so that a person can follow which requests a publish sent:
//   <method> module=<module> <ok|refused: reason> rows=<n> <t.tt>ms
#pragma once

#include <string>

#include "StoreReply.h"

std::string FormatRequestLog(const std::string& sMethod, const std::string& sModule, const CStoreReply& reply);
