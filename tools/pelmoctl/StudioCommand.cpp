#include "StudioCommand.h"

#include <glib-unix.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "StoreCommandSupport.h"
#include "StudioServer.h"
#include "StudioStoreWatch.h"

namespace {

const char kHelp[] =
    "usage: pelmoctl studio [--port N]\n"
    "\n"
    "Shows the store as a TV's home screen in a local web page: every registered module as a\n"
    "row in accelerator order, its sections and tiles drawn as 'pelmoctl render' draws them, tiles\n"
    "the service would not show now marked with the reason. The page follows every publish,\n"
    "withdrawal and registration within a second and highlights what the last change inserted,\n"
    "updated and deleted. Arrow keys move the focus, Enter shows the focused tile's stored\n"
    "columns, public extra data, display window and the request that last wrote it, Escape\n"
    "closes. The studio reads the store and changes nothing in it.\n"
    "\n"
    "  --port N     listen on 127.0.0.1:N (default 0: a free port); the address is printed\n"
    "  -h, --help   show this help\n"
    "\n"
    "It serves 127.0.0.1 only, answers GET on its own page and event stream, and refuses\n"
    "requests that name another host. Ctrl-C stops it.\n"
    "exit status: 0 stopped by Ctrl-C or a signal, 1 failure, 2 bad usage\n";

// How often the studio asks the store what changed: one small call, so that a change reaches
// the page well within a second.
constexpr guint kLookIntervalMs = 250;
constexpr guint kKeepAliveSeconds = 15;

struct PT_STUDIO {
    GMainLoop* pLoop = nullptr;
    CStudioStoreWatch* pWatch = nullptr;
    CStudioServer* pServer = nullptr;
};

gboolean OnLook(gpointer pUser)
{
    auto* pStudio = static_cast<PT_STUDIO*>(pUser);
    std::vector<PT_STUDIO_EVENT> vecEvents;
    pStudio->pWatch->Poll(vecEvents);
    pStudio->pServer->Broadcast(vecEvents);
    return G_SOURCE_CONTINUE;
}

gboolean OnKeepAlive(gpointer pUser)
{
    static_cast<PT_STUDIO*>(pUser)->pServer->KeepAlive();
    return G_SOURCE_CONTINUE;
}

gboolean OnStop(gpointer pUser)
{
    g_main_loop_quit(static_cast<PT_STUDIO*>(pUser)->pLoop);
    return G_SOURCE_REMOVE;
}

}  // namespace

int RunStudioCommand(int argc, char** argv)
{
    using namespace StoreCommand;
    if (WantsHelp(argc, argv)) {
        std::fputs(kHelp, stdout);
        return kExitOk;
    }
    static const char kUsage[] = "pelmoctl studio [--port N]";
    CParsedArgs args;
    std::string sError;
    if (!ParseArgs(argc, argv, {"--port"}, {}, args, sError)) return UsageError("studio", sError, kUsage);
    if (!args.vecPositional.empty()) return UsageError("studio", "unexpected " + args.vecPositional[0], kUsage);
    unsigned uPort = 0;
    if (const std::string* pPort = args.Option("--port")) {
        char* pEnd = nullptr;
        errno = 0;
        const unsigned long ulPort = std::strtoul(pPort->c_str(), &pEnd, 10);
        if (pPort->empty() || *pEnd != '\0' || errno != 0 || ulPort > 65535 || (*pPort)[0] == '-') {
            return UsageError("studio", "--port takes a number from 0 to 65535, not " + *pPort, kUsage);
        }
        uPort = static_cast<unsigned>(ulPort);
    }

    CLibraryLog log;
    CTransportRelease release;
    CStudioStoreWatch watch(log);
    CStudioServer server;
    server.SetSnapshot([&watch] { return watch.Snapshot(); });
    server.SetTileDetails(
        [&watch](const std::string& sModule, const std::string& sId) { return watch.TileDetails(sModule, sId); });
    std::string sAddress;
    if (!server.Listen(uPort, sAddress, sError)) return Fail("studio", sError);
    // The first look before the address is printed: a page opened at once shows the store.
    std::vector<PT_STUDIO_EVENT> vecFirst;
    watch.Poll(vecFirst);
    if (!watch.StoreState()["reachable"].asBool()) {
        std::fprintf(stderr, "pelmoctl: studio: %s (the page shows the store once it can be reached)\n",
                     watch.StoreState()["error"].asString().c_str());
    }
    std::printf("studio: %s  (Ctrl-C stops it)\n", sAddress.c_str());
    // With --host the store lives on a private bus: this is how other programs reach it.
    if (const char* sBus = std::getenv("DBUS_SYSTEM_BUS_ADDRESS")) {
        std::printf("store bus: DBUS_SYSTEM_BUS_ADDRESS=%s\n", sBus);
    }
    std::fflush(stdout);

    PT_STUDIO studio;
    studio.pLoop = g_main_loop_new(nullptr, FALSE);
    studio.pWatch = &watch;
    studio.pServer = &server;
    const guint uLook = g_timeout_add(kLookIntervalMs, &OnLook, &studio);
    const guint uKeepAlive = g_timeout_add_seconds(kKeepAliveSeconds, &OnKeepAlive, &studio);
    const guint uInt = g_unix_signal_add(SIGINT, &OnStop, &studio);
    const guint uTerm = g_unix_signal_add(SIGTERM, &OnStop, &studio);
    const guint uHup = g_unix_signal_add(SIGHUP, &OnStop, &studio);
    g_main_loop_run(studio.pLoop);
    for (const guint uSource : {uLook, uKeepAlive}) g_source_remove(uSource);
    // A signal source that fired is gone already; the others are removed here.
    for (const guint uSource : {uInt, uTerm, uHup}) {
        if (GSource* pSource = g_main_context_find_source_by_id(nullptr, uSource)) g_source_destroy(pSource);
    }
    g_main_loop_unref(studio.pLoop);
    return kExitOk;
}
