#include "ConvergenceRun.h"

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <vector>

#include "PelmoAPI.h"
#include "PelmoGDBusUtil.h"

namespace {
// A registered module, the plinth app with its larger tile limit, and a module whose tiles are
// told apart by their display period too.
const std::vector<std::string> kModules = {"org.example.alpha", "org.orvik.plinth-app", "org.example.livetv_guide"};

std::string Truncated(const std::string& s, size_t uMax)
{
    if (s.size() <= uMax) return s;
    return s.substr(0, uMax) + "... (" + std::to_string(s.size()) + " bytes)";
}

// A document the library must refuse: over the tile limit, or not JSON at all.
std::string RefusedDocument(CPreviewGenerator& generator, const std::string& sModule)
{
    if (generator.Chance(50)) {
        std::string sText = generator.Text(generator.Document(sModule));
        return sText.substr(0, sText.size() / 2);
    }
    Json::Value section;
    section["section_title"] = "too many";
    for (int i = 0; i <= expected_store::TileLimit(sModule); ++i) {
        Json::Value tile;
        tile["tile_title"] = "tile " + std::to_string(i);
        tile["tile_position"] = i;
        section["tiles"].append(tile);
    }
    Json::Value root;
    root["sections"].append(section);
    return Json::FastWriter().write(root);
}
}  // namespace

bool CConvergenceRun::Start(const std::string& sServicePath, std::string& sError)
{
    char sTemplate[] = "/tmp/pelmo-convergence.XXXXXX";
    if (mkdtemp(sTemplate) == nullptr) {
        sError = "cannot make a directory for the request log";
        return false;
    }
    m_sDirectory = sTemplate;
    CHostStoreOptions options;
    options.sServicePath = sServicePath;
    options.sDatabase = ":memory:";
    options.sLogFile = m_sDirectory + "/requests.log";
    if (!m_store.Start(options, sError)) return false;
    for (const std::string& sName : kModules) {
        CModule module;
        module.sName = sName;
        PT_JSON_IN_PARAM param;
        const std::string sTitle = "Preview of " + sName;
        param.data =
            "{\"table_name\":\"content://org.orvik.pelmo/accelerators\",\"accelerator_title\":\"" + sTitle + "\"}";
        if (insert_request(param, &module.llAcceleratorId, sName) != 0 || module.llAcceleratorId <= 0) {
            sError = "cannot register " + sName;
            return false;
        }
        module.acceleratorMembers["_id"] = static_cast<int>(module.llAcceleratorId);
        module.acceleratorMembers["accelerator_title"] = sTitle;
        module.acceleratorMembers["app_pkg_name"] = sName;
        module.pExpected.reset(new CExpectedStore(sName, module.llAcceleratorId, module.acceleratorMembers));
        m_mapModules[sName] = std::move(module);
    }
    return true;
}

void CConvergenceRun::Stop()
{
    CPelmoGDBusUtil::ReleaseInstance();
    m_store.Stop();
    if (!m_sDirectory.empty()) {
        unlink((m_sDirectory + "/requests.log").c_str());
        rmdir(m_sDirectory.c_str());
        m_sDirectory.clear();
    }
}

void CConvergenceRun::Fail(const std::string& sModule, const std::string& sWhat, const std::string& sDocument,
                           const std::string& sDetails)
{
    ++m_figures.iFailures;
    if (!m_figures.sFirstCounterexample.empty()) return;
    std::ostringstream out;
    out << "seed " << m_ullSeed << ", step " << m_iStep << ", module " << sModule << ": " << sWhat << "\n"
        << sDetails << "document: " << Truncated(sDocument, 4000) << "\n";
    m_figures.sFirstCounterexample = out.str();
}

void CConvergenceRun::Reset(CModule& module)
{
    set_preview_metadata("{}", module.sName.c_str());
    module.pExpected.reset(new CExpectedStore(module.sName, module.llAcceleratorId, module.acceleratorMembers));
    module.lastDocument = Json::Value();
}

bool CConvergenceRun::Step()
{
    ++m_iStep;
    CModule& module = m_mapModules[kModules[static_cast<size_t>(m_generator.Below(static_cast<int>(kModules.size())))]];
    const bool bHasLast = !module.lastDocument.isNull();
    const int r = m_generator.Below(100);
    std::string sText;
    Json::Value document;
    bool bWithdraw = false;
    if (r < 10) {
        sText = "{}";
        bWithdraw = true;
        ++m_figures.iWithdrawals;
    } else if (r < 13) {
        sText = RefusedDocument(m_generator, module.sName);
    } else if (r < 28 && bHasLast) {
        document = module.lastDocument;
        ++m_figures.iRepeats;
    } else if (r < 70 && bHasLast) {
        document = m_generator.Edit(module.sName, module.lastDocument);
        ++m_figures.iEdits;
    } else {
        document = m_generator.Document(module.sName);
    }
    if (!document.isNull()) sText = m_generator.Text(document);

    CExpectedStore next = *module.pExpected;
    std::string sWhy;
    const bool bAccepted = next.Publish(sText, sWhy);
    if (!bAccepted && sWhy.rfind("not covered", 0) == 0) {
        ++m_figures.iNotCovered;
        return true;
    }
    if (!bAccepted) ++m_figures.iRefused;

    ++m_figures.iPublishes;
    const int iResult = set_preview_metadata(sText.c_str(), module.sName.c_str());
    if (iResult != (bAccepted ? 1 : 0)) {
        Fail(module.sName, "set_preview_metadata returned " + std::to_string(iResult), sText,
             bAccepted ? "" : "expected a refusal: " + sWhy + "\n");
        Reset(module);
        return false;
    }
    if (bAccepted) {
        *module.pExpected = next;
        if (!bWithdraw) module.lastDocument = document;
        // What the document alone would give: differs when kept rows carry columns from before.
        if (!bWithdraw) {
            CExpectedStore alone(module.sName, module.llAcceleratorId, module.acceleratorMembers);
            std::string sIgnored;
            if (alone.Publish(sText, sIgnored) && !(alone.ExpectedJson() == module.pExpected->ExpectedJson())) {
                ++m_figures.iHistoryShown;
            }
        }
    }

    char* pText = get_preview_metadata(module.sName.c_str());
    std::string sReadBack = pText ? pText : "";
    if (pText) finalize_json_bytes(pText);
    Json::Value readBack;
    std::vector<std::string> vecDiff;
    if (sReadBack.empty() || !Json::Reader().parse(sReadBack, readBack)) {
        vecDiff.push_back("read-back: no JSON text (" + Truncated(sReadBack, 200) + ")");
    } else {
        module.pExpected->Matches(readBack, vecDiff);
    }
    if (!vecDiff.empty()) {
        std::string sDetails;
        for (size_t i = 0; i < vecDiff.size() && i < 20; ++i) sDetails += "  " + vecDiff[i] + "\n";
        if (vecDiff.size() > 20) sDetails += "  ... " + std::to_string(vecDiff.size() - 20) + " more\n";
        Fail(module.sName, "read-back differs from the expected store", sText, sDetails);
        // For a closer look at a counterexample: both sides in full, side by side.
        const char* sDump = getenv("PELMO_CONVERGENCE_DUMP");
        if (sDump && m_figures.iFailures == 1) {
            std::ofstream(std::string(sDump) + ".expected.json") << module.pExpected->ExpectedJson().toStyledString();
            std::ofstream(std::string(sDump) + ".got.json") << sReadBack;
            std::ofstream(std::string(sDump) + ".document.json") << sText;
        }
        Reset(module);
        return false;
    }
    return true;
}

std::string CConvergenceRun::Describe(const PT_CONVERGENCE_FIGURES& figures)
{
    std::ostringstream out;
    out << "publishes " << figures.iPublishes << " (withdrawals " << figures.iWithdrawals << ", repeats "
        << figures.iRepeats << ", edits " << figures.iEdits << ", refused " << figures.iRefused
        << "), not covered and not sent " << figures.iNotCovered << ", history kept by in-place updates "
        << figures.iHistoryShown << ", failures " << figures.iFailures;
    return out.str();
}
