// Notices when two connections publish one module at the same time. A publish is many requests,
// each its own transaction: a load (selects of the accelerator row, the sections, the tiles), the
// writes that make the store match the document, then the completion event (send_sync). When
// another connection writes the module between one connection's load and that connection's own
// writes, the second writer works from rows that are no longer there, and the store ends as a
// mix of both documents. The store cannot prevent that without making a publish one
// transaction; it makes it visible instead. A load is recognised by its read of the module's
// sections, which the library does only to load.
//
// What counts: a connection's publish runs from its load to its completion event. A write of
// the module by a connection whose publish saw a write of another connection since its load is
// an overlap. Readers never write, so they never cause one; a writer that stopped half way
// (killed) before the next publish loaded is no overlap either, because that publish loaded
// what the writer left and repairs it.
#pragma once

#include <ctime>
#include <map>
#include <string>

class CPublishOverlap {
public:
    enum class Kind { kLoadStart, kRead, kWrite, kDone };

    // What the module's last overlap was; tTime 0 when none since the service started.
    struct PT_LAST_OVERLAP {
        std::time_t tTime = 0;
        std::string sWriter;  // the connection whose write was the overlap
        std::string sOther;   // the connection that wrote in the middle of its publish
        // A publish from one writer completed after the overlap, so the store holds one document again.
        bool bRepublished = false;
    };

    // Notes one accepted request of sModule from sConnection. True when it is an overlap that
    // was not reported yet for this publish; sWhat then says which connections.
    bool Note(const std::string& sModule, const std::string& sConnection, Kind kind, std::time_t tNow,
              std::string& sWhat);
    PT_LAST_OVERLAP Last(const std::string& sModule) const;

    // A publish whose connection sent nothing for this long is dropped (the connection went
    // away, or it only read).
    static constexpr std::time_t kIdleSeconds = 120;
    static constexpr std::size_t kMaxPublishesPerModule = 16;
    static constexpr std::size_t kMaxModules = 4096;

private:
    struct CPublish {
        std::time_t tLastSeen = 0;
        bool bWrote = false;
        bool bOtherWrote = false;  // another connection wrote the module since the load
        std::string sOtherWriter;  // the last one that did
        bool bReported = false;
    };
    struct CModule {
        std::map<std::string, CPublish> mapPublish;  // by connection
        PT_LAST_OVERLAP last;
        std::time_t tLastSeen = 0;
    };
    CModule& ModuleFor(const std::string& sModule, std::time_t tNow);

    std::map<std::string, CModule> m_mapModule;
};
