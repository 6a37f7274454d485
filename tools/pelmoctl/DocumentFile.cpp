#include "DocumentFile.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <iterator>

bool ReadDocument(const std::string& sFile, std::string& sText, std::string& sError)
{
    if (sFile == "-") {
        sText.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
        if (std::cin.bad()) {
            sError = "cannot read standard input";
            return false;
        }
        return true;
    }
    struct stat info;
    if (stat(sFile.c_str(), &info) != 0) {
        sError = "cannot read " + sFile + ": " + std::strerror(errno);
        return false;
    }
    if (S_ISDIR(info.st_mode)) {
        sError = "cannot read " + sFile + ": it is a directory";
        return false;
    }
    FILE* pFile = std::fopen(sFile.c_str(), "rb");
    if (pFile == nullptr) {
        sError = "cannot read " + sFile + ": " + std::strerror(errno);
        return false;
    }
    char buffer[65536];
    size_t iRead;
    while ((iRead = std::fread(buffer, 1, sizeof buffer, pFile)) > 0) sText.append(buffer, iRead);
    const bool bFailed = std::ferror(pFile) != 0;
    const int iError = errno;
    std::fclose(pFile);
    if (bFailed) {
        sError = "cannot read " + sFile + ": " + std::strerror(iError);
        return false;
    }
    return true;
}
