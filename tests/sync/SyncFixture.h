// A private bus with a scripted store on it: inserts get increasing row ids, a select of the
// accelerator answers with the rows the test asks for, and any method can be made to refuse.
// Helpers build the two preview models the way the parser and the store loader fill them.
#pragma once

#include <dlog.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <pelmo/TilesModel.h>

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "FakeServiceFixture.h"
#include "PelmoAPI.h"
#include "PreviewAccelerator.h"
#include "PreviewDataUtil.h"

namespace sync_test {
inline const std::string kModule = "org.example.news";
inline const std::string kTilesUri = TilesModel::Tiles::CONTENT_URI;
inline const std::string kSectionsUri = TilesModel::Sections::CONTENT_URI;
inline const std::string kAcceleratorsUri = TilesModel::Accelerators::CONTENT_URI;
}  // namespace sync_test

class SyncTest : public FakeServiceTest {
protected:
    void Prepare() override;

    // Script of the store.
    void SetAcceleratorRows(std::vector<long long> vecRowIds);
    void Refuse(const std::string& sMethod);
    // Refuses only the n-th call (from 1) of a method.
    void RefuseNth(const std::string& sMethod, int iNth);
    void SetNextRowId(long long llRowId);

    // What reached the store, and the methods in call order.
    std::vector<CRecordedCall> Calls() const { return m_service.Calls(); }
    std::vector<std::string> Methods() const;
    std::vector<CRecordedCall> CallsOf(const std::string& sMethod) const;
    // The one call that reached the store, which must be sMethod for sPackage; an empty call
    // when there was not exactly one.
    CRecordedCall OnlyCall(const std::string& sMethod, const std::string& sPackage) const;
    // True when an operation logged its entry line (nothing after the prefix) at info priority.
    bool HasEntryLine(const std::string& sFunction) const;

    CPreviewDataUtil m_util;

private:
    CScriptedReply Answer(const CRecordedCall& call);

    mutable std::mutex m_mutex;
    std::vector<long long> m_vecAcceleratorRows{7};
    std::set<std::string> m_setRefused;
    std::set<std::pair<std::string, int>> m_setRefusedNth;
    std::map<std::string, int> m_mapCallCount;
    long long m_llNextRowId = 100;
};

// Parses a preview document for a module, as the publish does before it compares.
CPreviewAccelerator ParseDocument(const std::string& sDocument, const std::string& sModule = sync_test::kModule);
// Gives the sections and tiles the row ids that the store loader would read: section i (from 0)
// gets "i+1", tile j of it gets "(i+1)*100 + j+1".
void AssignRowIds(CPreviewAccelerator& accelerator);
// A section or tile with only the given key and all columns empty, built by hand.
std::shared_ptr<CPreviewSection> EmptySection(uint64_t key, const std::string& sRowId = "");
std::shared_ptr<CPreviewTile> EmptyTile(uint64_t key, const std::string& sRowId = "");
void AddTile(CPreviewSection& section, const std::shared_ptr<CPreviewTile>& pTile);

Json::Value ParseJson(const std::string& sText);
// The members of an envelope that a delete sends.
std::string WhereOf(const CRecordedCall& call);
std::vector<std::string> WhereArgsOf(const CRecordedCall& call);

// Sorts a section's tile keys, as the section step does before it hands a pair over.
void SortTileKeys(CPreviewSection& section);
// "[%2d][%zu][_ID:%s][%s]", the line each matched tile is logged with.
std::string TileLine(int iNumber, uint64_t key, const std::string& sRowId, const std::string& sTitle);
// The tile of a section whose title is this.
std::shared_ptr<CPreviewTile> TileTitled(const CPreviewSection& section, const std::string& sTitle);
