// Feeds arbitrary requests to the store's request handler. The first byte picks the method
// (one of the store's methods or an unknown one), the second the calling module (its low two
// bits) and the calling user (the next two: the module's owner, root, a user owning nothing,
// the owner of another module), the rest is the input text. The database is one in-memory store, put back to the same
// seeded rows before every input so that a finding replays alone.
//
// Besides "never crash", every input checks the store's promises:
// - a refused request changes no row and answers a one-line reason;
// - no request changes another module's rows;
// - a user who neither owns the module nor is privileged is refused and changes nothing;
// - every registered module has an owner, and no owner outlives its module's accelerators;
// - every parent id names a row of the same module, and an accelerator's package is its module;
// - no write leaves a module over its quota (small here, so that inputs reach it), measured
//   apart from the store's own measure.
// The fifth bit of the second byte picks one of two connections, so that publishes of two
// writers overlap in the store's records.
#include <cstddef>
#include <cstdint>
#include <string>

#include "MemoryResultPublisher.h"
#include "StoreDatabase.h"
#include "StoreRequestHandler.h"

namespace {
const char* const kMethods[] = {"insert",
                                "insert_bulk",
                                "update",
                                "delete",
                                "select",
                                "send_sync",
                                "start_preview_scheduler",
                                "stop_preview_scheduler",
                                "terminate_service",
                                "drop_everything"};
const char* const kModules[] = {"org.example.app", "org.other.app", "", "org.example.app.extra"};
// Owners as seeded: org.example.app is uid 1000's, org.other.app uid 1001's.
constexpr uid_t kExampleOwner = 1000;
constexpr uid_t kOtherOwner = 1001;
constexpr uid_t kStranger = 1002;

PT_CALLER_IDENTITY PickCaller(uint8_t uByte, const std::string& sModule, bool& bMayAct)
{
    const uid_t uOwner = sModule == "org.other.app" ? kOtherOwner : kExampleOwner;
    PT_CALLER_IDENTITY caller;
    caller.iPid = 4242;
    switch ((uByte >> 2) & 3) {
        case 0:
            caller.uUid = uOwner;
            break;
        case 1:
            caller.uUid = 0;
            break;
        case 2:
            caller.uUid = kStranger;
            break;
        default:
            caller.uUid = uOwner == kExampleOwner ? kOtherOwner : kExampleOwner;
            break;
    }
    // Only the seeded modules have owners; the others are free for anyone to register.
    const bool bOwned = sModule == "org.example.app" || sModule == "org.other.app";
    bMayAct = !bOwned || caller.uUid == 0 || caller.uUid == uOwner;
    return caller;
}

void Check(bool bCondition)
{
    if (!bCondition) __builtin_trap();
}

void Exec(CStoreDatabase& database, const char* sSql)
{
    std::string sError;
    Check(database.Execute(sSql, sError));
}

// Every row of every table, as text; rows of sModule left out when it is not empty.
std::string Dump(CStoreDatabase& database, const std::string& sSkipModule)
{
    std::string sDump;
    for (const char* sTable : {"accelerators", "sections", "tiles"}) {
        std::string sError;
        CStatement statement =
            database.Prepare(std::string("SELECT * FROM ") + sTable + " WHERE module_name != ?1 ORDER BY _id", sError);
        Check(static_cast<bool>(statement));
        sqlite3_bind_text(statement.Get(), 1, sSkipModule.c_str(), static_cast<int>(sSkipModule.size()),
                          SQLITE_TRANSIENT);
        sDump += sTable;
        while (sqlite3_step(statement.Get()) == SQLITE_ROW) {
            const int iColumns = sqlite3_column_count(statement.Get());
            for (int i = 0; i < iColumns; ++i) {
                sDump += '|';
                sDump += std::to_string(sqlite3_column_type(statement.Get(), i));
                const unsigned char* pText = sqlite3_column_text(statement.Get(), i);
                if (pText != nullptr) {
                    sDump.append(reinterpret_cast<const char*>(pText),
                                 static_cast<std::size_t>(sqlite3_column_bytes(statement.Get(), i)));
                }
            }
            sDump += '\n';
        }
    }
    return sDump;
}

// Rows and bytes of every value of one module's rows of a table, the owning-module column aside.
void Usage(CStoreDatabase& database, const char* sTable, const std::string& sModule, long long& llRows,
           long long& llBytes)
{
    std::string sError;
    CStatement statement = database.Prepare(std::string("SELECT * FROM ") + sTable + " WHERE module_name = ?1", sError);
    Check(static_cast<bool>(statement));
    sqlite3_bind_text(statement.Get(), 1, sModule.c_str(), static_cast<int>(sModule.size()), SQLITE_TRANSIENT);
    llRows = 0;
    while (sqlite3_step(statement.Get()) == SQLITE_ROW) {
        ++llRows;
        for (int i = 0; i < sqlite3_column_count(statement.Get()); ++i) {
            if (std::string(sqlite3_column_name(statement.Get(), i)) == "module_name") continue;
            if (sqlite3_column_type(statement.Get(), i) == SQLITE_NULL) continue;
            sqlite3_column_text(statement.Get(), i);  // as text, as the quota counts it
            llBytes += sqlite3_column_bytes(statement.Get(), i);
        }
    }
}

long long Count(CStoreDatabase& database, const char* sSql)
{
    std::string sError;
    CStatement statement = database.Prepare(sSql, sError);
    Check(static_cast<bool>(statement));
    Check(sqlite3_step(statement.Get()) == SQLITE_ROW);
    return sqlite3_column_int64(statement.Get(), 0);
}

void Reseed(CStoreDatabase& database)
{
    Exec(database,
         "DELETE FROM tiles; DELETE FROM sections; DELETE FROM accelerators; DELETE FROM module_owners;"
         "INSERT INTO module_owners (module_name, owner_uid) VALUES ('org.example.app', 1000),"
         " ('org.other.app', 1001);"
         "INSERT INTO accelerators (_id, accelerator_title, accelerator_enabled, app_pkg_name, module_name) "
         "VALUES (1, 'Mine', 1, 'org.example.app', 'org.example.app'),"
         " (2, 'Theirs', 1, 'org.other.app', 'org.other.app');"
         "INSERT INTO sections (_id, section_title, section_accelerator_raw_id, module_name) "
         "VALUES (1, 'Top', 1, 'org.example.app'), (2, 'More', 1, 'org.example.app'),"
         " (3, 'Other', 2, 'org.other.app');"
         "INSERT INTO tiles (_id, tile_title, tile_section_raw_id, tile_position, tile_image_ratio, module_name) "
         "VALUES (1, 'a', 1, 1, 1.5, 'org.example.app'), (2, 'b', 1, 2, 0.5, 'org.example.app'),"
         " (3, 'c', 2, 4294967297, NULL, 'org.example.app'), (4, 'd', 3, 1, 1.0, 'org.other.app');");
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static CStoreDatabase* pDatabase = [] {
        auto* pNew = new CStoreDatabase();
        std::string sError;
        Check(pNew->Open(":memory:", sError));
        return pNew;
    }();
    static CMemoryResultPublisher publisher;
    static const PT_MODULE_QUOTA quota = [] {
        PT_MODULE_QUOTA small;
        small.llSections = 4;
        small.llTiles = 6;
        small.llBytes = 700;
        return small;
    }();
    static CStoreRequestHandler handler(*pDatabase, publisher);
    handler.SetModuleQuota(quota);
    if (size < 2) return 0;

    Reseed(*pDatabase);
    const std::string sMethod = kMethods[data[0] % (sizeof kMethods / sizeof kMethods[0])];
    const std::string sModule = kModules[data[1] % (sizeof kModules / sizeof kModules[0])];
    const std::string sInput(reinterpret_cast<const char*>(data + 2), size - 2);

    const std::string sAllBefore = Dump(*pDatabase, "");
    const std::string sOthersBefore = Dump(*pDatabase, sModule);
    bool bMayAct = false;
    PT_CALLER_IDENTITY caller = PickCaller(data[1], sModule, bMayAct);
    caller.sConnection = (data[1] & 16) != 0 ? ":1.2" : ":1.1";
    const CStoreReply reply = handler.Handle(sMethod, sModule, sInput, caller);
    if (!bMayAct) Check(!reply.bResult);
    if (!reply.bResult) {
        Check(reply.sOutput.find('\n') == std::string::npos);
        Check(!reply.sOutput.empty());
        Check(Dump(*pDatabase, "") == sAllBefore);
    }
    Check(Dump(*pDatabase, sModule) == sOthersBefore);
    if (reply.bResult && (sMethod == "insert" || sMethod == "insert_bulk" || sMethod == "update")) {
        long long llAccelerators = 0, llSections = 0, llTiles = 0, llBytes = 0;
        Usage(*pDatabase, "accelerators", sModule, llAccelerators, llBytes);
        Usage(*pDatabase, "sections", sModule, llSections, llBytes);
        Usage(*pDatabase, "tiles", sModule, llTiles, llBytes);
        Check(llSections <= quota.llSections && llTiles <= quota.llTiles && llBytes <= quota.llBytes);
    }
    Check(Count(*pDatabase,
                "SELECT count(*) FROM sections s WHERE section_accelerator_raw_id IS NOT NULL AND NOT EXISTS "
                "(SELECT 1 FROM accelerators a WHERE a._id = s.section_accelerator_raw_id "
                "AND a.module_name = s.module_name)") == 0);
    Check(Count(*pDatabase,
                "SELECT count(*) FROM tiles t WHERE tile_section_raw_id IS NOT NULL AND NOT EXISTS "
                "(SELECT 1 FROM sections s WHERE s._id = t.tile_section_raw_id "
                "AND s.module_name = t.module_name)") == 0);
    Check(Count(*pDatabase, "SELECT count(*) FROM accelerators WHERE app_pkg_name IS NOT module_name") == 0);
    Check(Count(*pDatabase,
                "SELECT count(*) FROM accelerators a WHERE NOT EXISTS "
                "(SELECT 1 FROM module_owners o WHERE o.module_name = a.module_name)") == 0);
    Check(Count(*pDatabase,
                "SELECT count(*) FROM module_owners o WHERE NOT EXISTS "
                "(SELECT 1 FROM accelerators a WHERE a.module_name = o.module_name)") == 0);
    return 0;
}
