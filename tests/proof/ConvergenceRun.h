// Random publish sequences for several modules against the real store on a private bus: after
// every publish the read-back must equal what the expected store says. Shared by the suite's
// short fixed-seed run and the long-run program.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "ExpectedStore.h"
#include "HostStore.h"
#include "PreviewGenerator.h"

struct PT_CONVERGENCE_FIGURES {
    int iPublishes = 0;  // calls of set_preview_metadata, withdrawals included
    int iWithdrawals = 0;
    int iRepeats = 0;       // the same document again
    int iEdits = 0;         // the last document with small changes
    int iRefused = 0;       // documents the library must refuse, store untouched
    int iNotCovered = 0;    // generated documents outside what the expected store covers, not sent
    int iHistoryShown = 0;  // publishes after which the store holds more than the document alone says
    int iFailures = 0;
    std::string sFirstCounterexample;
};

class CConvergenceRun {
public:
    explicit CConvergenceRun(uint64_t ullSeed) : m_ullSeed(ullSeed), m_generator(ullSeed) {}

    // Starts the host store (the service at `sServicePath`) and registers the modules.
    bool Start(const std::string& sServicePath, std::string& sError);
    void Stop();
    // One publish and its check. False when the check failed (the figures say how).
    bool Step();

    const PT_CONVERGENCE_FIGURES& Figures() const { return m_figures; }
    static std::string Describe(const PT_CONVERGENCE_FIGURES& figures);

private:
    struct CModule {
        std::string sName;
        long long llAcceleratorId = -1;
        Json::Value acceleratorMembers;
        std::unique_ptr<CExpectedStore> pExpected;
        Json::Value lastDocument;  // null until the first document
    };
    void Fail(const std::string& sModule, const std::string& sWhat, const std::string& sDocument,
              const std::string& sDetails);
    void Reset(CModule& module);

    uint64_t m_ullSeed;
    int m_iStep = 0;
    CPreviewGenerator m_generator;
    CHostStore m_store;
    std::string m_sDirectory;
    std::map<std::string, CModule> m_mapModules;
    PT_CONVERGENCE_FIGURES m_figures;
};
