#include "ModuleOwnership.h"

namespace {
void BindText(sqlite3_stmt* pStatement, int iIndex, const std::string& sText)
{
    sqlite3_bind_text(pStatement, iIndex, sText.c_str(), static_cast<int>(sText.size()), SQLITE_TRANSIENT);
}
}  // namespace

bool CModuleOwnership::IsPrivileged(const PT_CALLER_IDENTITY& caller) const
{
    return caller.uUid == 0 || m_setPlatformService.count(caller.uUid) > 0;
}

long long CModuleOwnership::OwnerOf(const std::string& sModule)
{
    std::string sError;
    CStatement statement =
        m_database.Prepare("SELECT \"owner_uid\" FROM \"module_owners\" WHERE \"module_name\" = ?1", sError);
    if (!statement) return -1;
    BindText(statement.Get(), 1, sModule);
    if (sqlite3_step(statement.Get()) != SQLITE_ROW) return -1;
    return sqlite3_column_int64(statement.Get(), 0);
}

bool CModuleOwnership::HasAccelerator(const std::string& sModule, bool& bHas, std::string& sError)
{
    CStatement statement =
        m_database.Prepare("SELECT 1 FROM \"accelerators\" WHERE \"module_name\" = ?1 LIMIT 1", sError);
    if (!statement) return false;
    BindText(statement.Get(), 1, sModule);
    const int iRc = sqlite3_step(statement.Get());
    if (iRc != SQLITE_ROW && iRc != SQLITE_DONE) {
        sError = "store error: " + m_database.LastError();
        return false;
    }
    bHas = iRc == SQLITE_ROW;
    return true;
}

bool CModuleOwnership::Admit(const std::string& sModule, const PT_CALLER_IDENTITY& caller, std::string& sError)
{
    if (!m_database.IsOpen()) return true;  // nothing is stored, so nothing to protect
    if (IsPrivileged(caller)) return true;
    const long long llOwner = OwnerOf(sModule);
    if (llOwner >= 0) {
        if (llOwner == static_cast<long long>(caller.uUid)) return true;
        sError = "module " + sModule + " belongs to another user";
        return false;
    }
    bool bRegistered = false;
    if (!HasAccelerator(sModule, bRegistered, sError)) return false;
    // Not registered: the request may register it, and nothing of it is stored to protect.
    if (!bRegistered) return true;
    // A write like any other, in turn with the writes of the other connections.
    CTransaction transaction(m_database);
    if (!transaction.Started()) {
        sError = "cannot record the module's owner: " + transaction.Error();
        return false;
    }
    if (!RecordRegistration(sModule, caller, sError)) return false;
    if (!transaction.Commit(sError)) {
        sError = "cannot record the module's owner: " + sError;
        return false;
    }
    return true;
}

bool CModuleOwnership::RecordRegistration(const std::string& sModule, const PT_CALLER_IDENTITY& caller,
                                          std::string& sError)
{
    CStatement statement = m_database.Prepare(
        "INSERT OR IGNORE INTO \"module_owners\" (\"module_name\", \"owner_uid\") VALUES (?1, ?2)", sError);
    if (!statement) return false;
    BindText(statement.Get(), 1, sModule);
    sqlite3_bind_int64(statement.Get(), 2, static_cast<sqlite3_int64>(caller.uUid));
    if (sqlite3_step(statement.Get()) != SQLITE_DONE) {
        sError = "cannot record the module's owner: " + m_database.LastError();
        return false;
    }
    return true;
}
