// The shared library exports exactly its documented interface.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

#ifndef PELMO_API_LIBRARY
#error "PELMO_API_LIBRARY must name the built shared library"
#endif

namespace {
std::set<std::string> ExportedSymbols()
{
    std::set<std::string> setNames;
    const std::string sCommand = std::string("nm -D --defined-only --format=posix ") + PELMO_API_LIBRARY;
    FILE* pPipe = popen(sCommand.c_str(), "r");
    if (pPipe == nullptr) return setNames;
    char buf[4096];
    while (fgets(buf, sizeof buf, pPipe) != nullptr) {
        std::string sLine = buf;
        const size_t iSpace = sLine.find(' ');
        if (iSpace != std::string::npos) setNames.insert(sLine.substr(0, iSpace));
    }
    pclose(pPipe);
    return setNames;
}

bool Allowed(const std::string& s)
{
    static const std::set<std::string> setCNames = {
        "insert_request",          "insert_request_for_bulk_data",  "update_request_for_bulk_data",
        "delete_request",          "finalize_json_bytes",           "select_request",
        "start_preview_scheduler", "stop_preview_scheduler",        "terminate_service_app",
        "set_preview_metadata",    "update_json_str_to_preview_db", "get_preview_metadata"};
    if (setCNames.count(s) != 0) return true;
    if (s.rfind("org_orvik_pelmo_service_", 0) == 0) return true;
    // C++ names of the exported classes (constructors, members, vtable, typeinfo) and helpers.
    for (const char* sClass : {"15CPelmoGDBusUtil", "16CPelmoScopedLock", "16CPreviewDataUtil"}) {
        if (s.find(sClass) != std::string::npos) return true;
    }
    // Members of the preview model, which the exported preview operations take and fill.
    for (const char* sMember : {"_ZN12CPreviewTile", "_ZN15CPreviewSection", "_ZN19CPreviewAccelerator"}) {
        if (s.rfind(sMember, 0) == 0) return true;
    }
    if (s.rfind("_Z8GetAppID", 0) == 0) return true;
    if (s.rfind("_Z18CreateInputJsonStr", 0) == 0) return true;
    return false;
}
}  // namespace

TEST(Symbols, OnlyTheDocumentedInterfaceIsExported)
{
    const std::set<std::string> setNames = ExportedSymbols();
    ASSERT_FALSE(setNames.empty()) << "nm gave nothing for " << PELMO_API_LIBRARY;
    std::string sUnexpected;
    for (const std::string& s : setNames) {
        if (!Allowed(s)) sUnexpected += s + "\n";
    }
    EXPECT_EQ(sUnexpected, "") << "exported but not part of the interface";
    for (const char* sRequired :
         {"insert_request", "insert_request_for_bulk_data", "update_request_for_bulk_data", "delete_request",
          "finalize_json_bytes", "start_preview_scheduler", "stop_preview_scheduler", "terminate_service_app",
          "org_orvik_pelmo_service_call_call_sync", "org_orvik_pelmo_service_skeleton_new",
          "_ZN15CPelmoGDBusUtil11GetInstanceEv", "_ZN15CPelmoGDBusUtil15ReleaseInstanceEv",
          "_ZN16CPelmoScopedLockC1EP15pthread_mutex_t", "_ZN12CPreviewTileC1Ev", "_ZN12CPreviewTileD1Ev",
          "_ZN15CPreviewSectionC1Ev", "_ZN15CPreviewSectionD1Ev", "_ZN19CPreviewAcceleratorC1Ev",
          "_ZN19CPreviewAcceleratorD1Ev"}) {
        EXPECT_EQ(setNames.count(sRequired), 1u) << sRequired;
    }
    // AddProperty's mangled name spells out the standard string type; its prefix is enough.
    const auto itAddProperty = setNames.lower_bound("_ZN19CPreviewAccelerator11AddProperty");
    ASSERT_NE(itAddProperty, setNames.end());
    EXPECT_EQ(itAddProperty->rfind("_ZN19CPreviewAccelerator11AddProperty", 0), 0u) << "AddProperty is not exported";
}

TEST(Symbols, DeclarationsKeptInsideTheLibraryAreNotExported)
{
    // The internal completion event, the transport's mutex and the call timeout that only test
    // programs set: declared in headers that are not installed, and hidden.
    const std::set<std::string> setNames = ExportedSymbols();
    ASSERT_FALSE(setNames.empty());
    for (const std::string& s : setNames) {
        EXPECT_EQ(s.find("sendCompleteEvent"), std::string::npos) << s;
        EXPECT_NE(s, "gMutex");
        EXPECT_EQ(s.find("CallTimeout"), std::string::npos) << s;
    }
}

TEST(Symbols, NothingOfTheHostPlatformOrDependenciesLeaks)
{
    for (const std::string& s : ExportedSymbols()) {
        EXPECT_EQ(s.find("dlog"), std::string::npos) << s;
        EXPECT_NE(s, "app_get_id");
        EXPECT_EQ(s.rfind("_ZN4Json", 0), std::string::npos) << s;
        EXPECT_EQ(s.rfind("g_", 0), std::string::npos) << s;
        EXPECT_EQ(s.rfind("_ZNSt", 0), std::string::npos) << s;
        EXPECT_EQ(s.rfind("_ZNKSt", 0), std::string::npos) << s;
    }
}
