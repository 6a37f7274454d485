// Which Unix user a module belongs to. A module belongs to the user whose request registered
// it (inserted its first accelerator row); requests naming it from any other user are refused,
// except from root and from the users that the service's configuration names as platform
// services. The owner is kept in the database beside the module's rows and goes away with the
// module's last accelerator row.
#pragma once

#include <set>
#include <string>

#include "CallerIdentity.h"
#include "StoreDatabase.h"

class CModuleOwnership {
public:
    explicit CModuleOwnership(CStoreDatabase& database) : m_database(database) {}

    // Users that may act for any module besides root.
    void SetPlatformServices(std::set<uid_t> setUid) { m_setPlatformService = std::move(setUid); }
    bool IsPrivileged(const PT_CALLER_IDENTITY& caller) const;

    // Whether `caller` may send a request for `sModule`; false with the one-line reason when
    // not. A registered module without a recorded owner (a database from before owners were
    // kept) is claimed here by the first unprivileged user that names it.
    bool Admit(const std::string& sModule, const PT_CALLER_IDENTITY& caller, std::string& sError);
    // Records `caller` as the owner unless the module has one; part of the transaction that
    // inserts an accelerator row.
    bool RecordRegistration(const std::string& sModule, const PT_CALLER_IDENTITY& caller, std::string& sError);
    // The owner's uid, or -1 when the module has none recorded (or the lookup fails).
    long long OwnerOf(const std::string& sModule);

private:
    bool HasAccelerator(const std::string& sModule, bool& bHas, std::string& sError);

    CStoreDatabase& m_database;
    std::set<uid_t> m_setPlatformService;
};
