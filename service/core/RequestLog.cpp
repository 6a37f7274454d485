#include "RequestLog.h"

#include <cstdio>

#include "QueryGrammar.h"

std::string FormatRequestLog(const std::string& sMethod, const std::string& sModule, const CStoreReply& reply)
{
    // Method and module come from the client: shortened and without line breaks, so that one
    // request stays one line.
    std::string sLine = CQueryGrammar::Excerpt(sMethod, 64) + " module=" + CQueryGrammar::Excerpt(sModule, 128) + " ";
    sLine += reply.bResult ? std::string("ok") : "refused: " + CQueryGrammar::Excerpt(reply.sOutput, 240);
    char sTail[64];
    std::snprintf(sTail, sizeof sTail, " rows=%lld %.2fms", reply.llRows, reply.dMillis);
    return sLine + sTail;
}
