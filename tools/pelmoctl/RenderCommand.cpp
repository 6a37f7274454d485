// `pelmoctl render`: arguments, the store read, and writing the page.
#include "RenderCommand.h"

#include <dlog_host.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "PelmoGDBusUtil.h"
#include "RenderStoredPreview.h"

namespace {

const char kUsage[] =
    "usage: pelmoctl render MODULE -o FILE.html\n"
    "\n"
    "Draws the preview that the store holds for MODULE as a home-screen row would, in one\n"
    "self-contained HTML page: the sections in their stored order, each tile a card with its\n"
    "image (a placeholder of the tile's image ratio when the image cannot be loaded), title,\n"
    "subtitle, a playable mark and its display window. The page loads nothing but the tiles'\n"
    "own http, https and file images. Reading the store changes nothing in it.\n"
    "\n"
    "  -o, --output FILE   write the page to FILE ('-': standard output)\n"
    "  -h, --help          show this help\n"
    "\n"
    "Says on standard output which file it wrote, unless the page itself goes there.\n"
    "\n"
    "Exit status: 0 page written; 1 failure (an empty or unregistered module, nothing stored,\n"
    "the store unreachable, the file not writable), said in one line on standard error;\n"
    "2 bad usage. The library's own log lines are shown when PELMO_LOG_LEVEL asks for them.\n";

int UsageError(const std::string& sWhat)
{
    std::fprintf(stderr, "pelmoctl render: %s (see 'pelmoctl render --help')\n", sWhat.c_str());
    return 2;
}

int Failure(const std::string& sWhat)
{
    std::fprintf(stderr, "pelmoctl render: %s\n", sWhat.c_str());
    return 1;
}

// A name as it appears inside an error line: quoted, and unable to break the line.
std::string Quoted(const std::string& sText)
{
    std::string sOut = "'";
    for (const char c : sText) {
        const unsigned char uc = static_cast<unsigned char>(c);
        sOut += (uc < 0x20 || uc == 0x7f) ? '?' : c;
    }
    return sOut + "'";
}

// Writes the page next to its final name and renames it into place, so that a failed write
// never leaves a half page where an older one was.
bool WritePage(const std::string& sPath, const std::string& sHtml, std::string& sError)
{
    if (sPath == "-") {
        if (std::fwrite(sHtml.data(), 1, sHtml.size(), stdout) != sHtml.size() || std::fflush(stdout) != 0) {
            sError = "cannot write the page to standard output";
            return false;
        }
        return true;
    }
    std::string sTemp = sPath + ".XXXXXX";
    const int fd = mkstemp(&sTemp[0]);
    if (fd < 0) {
        sError = "cannot write " + Quoted(sPath) + ": " + std::strerror(errno);
        return false;
    }
    size_t uDone = 0;
    while (uDone < sHtml.size()) {
        const ssize_t iWritten = write(fd, sHtml.data() + uDone, sHtml.size() - uDone);
        if (iWritten < 0 && errno == EINTR) continue;
        if (iWritten <= 0) break;
        uDone += static_cast<size_t>(iWritten);
    }
    const int iWriteErrno = errno;
    // mkstemp makes the file private; a page is for anyone who may read the folder.
    const mode_t uMask = umask(0);
    umask(uMask);
    const bool bOk = uDone == sHtml.size() && fchmod(fd, 0666 & ~uMask) == 0 && close(fd) == 0;
    if (!bOk || std::rename(sTemp.c_str(), sPath.c_str()) != 0) {
        sError = "cannot write " + Quoted(sPath) + ": " + std::strerror(uDone == sHtml.size() ? errno : iWriteErrno);
        unlink(sTemp.c_str());
        return false;
    }
    return true;
}

}  // namespace

int RunRenderCommand(int argc, char** argv)
{
    std::string sModule;
    std::string sOutput;
    bool bHaveModule = false;
    bool bHaveOutput = false;
    bool bOptionsDone = false;
    for (int i = 1; i < argc; ++i) {
        const std::string sArg = argv[i];
        if (!bOptionsDone && (sArg == "-h" || sArg == "--help")) {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (!bOptionsDone && sArg == "--") {
            bOptionsDone = true;
        } else if (!bOptionsDone && (sArg == "-o" || sArg == "--output")) {
            if (i + 1 >= argc) return UsageError(sArg + " needs a file name");
            if (bHaveOutput) return UsageError("the output file is given twice");
            sOutput = argv[++i];
            bHaveOutput = true;
        } else if (!bOptionsDone && sArg.rfind("--output=", 0) == 0) {
            if (bHaveOutput) return UsageError("the output file is given twice");
            sOutput = sArg.substr(9);
            bHaveOutput = true;
        } else if (!bOptionsDone && sArg.size() > 1 && sArg[0] == '-') {
            return UsageError("unknown option " + Quoted(sArg));
        } else if (!bHaveModule) {
            sModule = sArg;
            bHaveModule = true;
        } else {
            return UsageError("one module at a time; unexpected " + Quoted(sArg));
        }
    }
    if (!bHaveModule) return UsageError("missing MODULE");
    if (!bHaveOutput) return UsageError("missing -o FILE.html");
    if (sOutput.empty()) return UsageError("the output file name is empty");
    if (sModule.empty()) return Failure("the module name is empty");

    // The command's own line is the error a user reads; the library speaks up when asked to.
    if (std::getenv("PELMO_LOG_LEVEL") == nullptr) {
        setenv("PELMO_LOG_LEVEL", "none", 1);
        dlog_host_reload_level();
    }

    Json::Value preview;
    const EStoredPreview eRead = ReadStoredPreview(sModule, preview);
    // The bus is not needed any more; the page is written without it.
    CPelmoGDBusUtil::ReleaseInstance();
    switch (eRead) {
        case EStoredPreview::kFound:
            break;
        case EStoredPreview::kStoreUnreachable:
            return Failure(
                "cannot reach the store on the system bus (is DBUS_SYSTEM_BUS_ADDRESS set and the store running?)");
        case EStoredPreview::kNotRegistered:
            return Failure("module " + Quoted(sModule) + " is not registered in the store");
        case EStoredPreview::kNothingStored:
            return Failure("module " + Quoted(sModule) + " has no preview stored");
        case EStoredPreview::kUnreadable:
            return Failure("the stored preview of module " + Quoted(sModule) + " could not be read back");
    }

    std::string sError;
    if (!WritePage(sOutput, RenderPreviewHtml(preview, sModule), sError)) return Failure(sError);
    if (sOutput != "-") {
        size_t uTiles = 0;
        for (const Json::Value& section : preview["sections"]) uTiles += section["tiles"].size();
        const size_t uSections = preview["sections"].size();
        std::printf("wrote %s: %zu section%s, %zu tile%s of %s\n", sOutput.c_str(), uSections,
                    uSections == 1 ? "" : "s", uTiles, uTiles == 1 ? "" : "s", sModule.c_str());
    }
    return 0;
}
