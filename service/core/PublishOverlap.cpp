#include "PublishOverlap.h"

#include "ModuleSlots.h"

CPublishOverlap::CModule& CPublishOverlap::ModuleFor(const std::string& sModule, std::time_t tNow)
{
    CModule& module =
        ModuleSlots::FindOrAdd(m_mapModule, sModule, kMaxModules, [](const CModule& entry) { return entry.tLastSeen; });
    module.tLastSeen = tNow;
    for (auto scan = module.mapPublish.begin(); scan != module.mapPublish.end();) {
        if (tNow - scan->second.tLastSeen > kIdleSeconds) {
            scan = module.mapPublish.erase(scan);
        } else {
            ++scan;
        }
    }
    return module;
}

bool CPublishOverlap::Note(const std::string& sModule, const std::string& sConnection, Kind kind, std::time_t tNow,
                           std::string& sWhat)
{
    CModule& module = ModuleFor(sModule, tNow);
    auto it = module.mapPublish.find(sConnection);
    if (kind == Kind::kDone) {
        if (it == module.mapPublish.end()) return false;
        if (it->second.bWrote && !it->second.bOtherWrote && module.last.tTime > 0) {
            module.last.bRepublished = true;
        }
        module.mapPublish.erase(it);
        return false;
    }
    if (kind == Kind::kRead && it == module.mapPublish.end()) return false;  // reads outside a load
    if (it == module.mapPublish.end() || kind == Kind::kLoadStart) {
        if (it == module.mapPublish.end() && module.mapPublish.size() >= kMaxPublishesPerModule) {
            auto oldest = module.mapPublish.begin();
            for (auto scan = module.mapPublish.begin(); scan != module.mapPublish.end(); ++scan) {
                if (scan->second.tLastSeen < oldest->second.tLastSeen) oldest = scan;
            }
            module.mapPublish.erase(oldest);
        }
        // A new load, also after a publish of the same connection that never completed: what
        // others wrote before it is in what it reads.
        it = module.mapPublish.insert_or_assign(sConnection, CPublish()).first;
    }
    CPublish& publish = it->second;
    publish.tLastSeen = tNow;
    if (kind != Kind::kWrite) return false;

    publish.bWrote = true;
    for (auto& other : module.mapPublish) {
        if (other.first == sConnection) continue;
        other.second.bOtherWrote = true;
        other.second.sOtherWriter = sConnection;
    }
    if (!publish.bOtherWrote || publish.bReported) return false;
    publish.bReported = true;
    module.last.tTime = tNow;
    module.last.sWriter = sConnection;
    module.last.sOther = publish.sOtherWriter;
    module.last.bRepublished = false;
    sWhat = "two writers published this module at the same time: " +
            (sConnection.empty() ? std::string("a connection") : sConnection) + " wrote after " +
            (publish.sOtherWriter.empty() ? std::string("another connection") : publish.sOtherWriter) +
            " changed the rows it had loaded; the store may hold a mix of both documents";
    return true;
}

CPublishOverlap::PT_LAST_OVERLAP CPublishOverlap::Last(const std::string& sModule) const
{
    auto it = m_mapModule.find(sModule);
    return it == m_mapModule.end() ? PT_LAST_OVERLAP() : it->second.last;
}
