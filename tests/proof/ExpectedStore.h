// What the store must hold for a module after each publish, worked out independently of the
// library: the document's members typed as the parser types them, written as the insert and the
// in-place update write them, kept by the columns' storage rules, and handed back as the
// read-back writes them. Rows whose content key survives a publish are updated in place, so a
// column the update never rewrites (or that the new document leaves empty) keeps what an earlier
// document put there: the model carries that history instead of pretending it away.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// One stored cell with the storage class the store gave it.
struct PT_STORED_VALUE {
    enum Kind { kNull, kInteger, kReal, kText } eKind = kNull;
    long long llValue = 0;
    double dValue = 0;
    std::string sText;

    bool operator==(const PT_STORED_VALUE& other) const;
};

using StoredRow = std::map<std::string, PT_STORED_VALUE>;

struct PT_EXPECTED_TILE {
    StoredRow row;       // every column except _id and the parent's raw id
    long long llId = 0;  // 0 until the read-back has shown the new row's id
};

struct PT_EXPECTED_SECTION {
    StoredRow row;
    long long llId = 0;
    std::vector<PT_EXPECTED_TILE> vecTiles;
};

class CExpectedStore {
public:
    CExpectedStore(std::string sModule, long long llAcceleratorId, Json::Value acceleratorMembers);

    // Applies one publish of `sDocument` as the store must take it. Returns false (and says why)
    // when the document is one the library refuses or one outside what this model covers (two
    // tiles of a section with one content key, for instance); the model is then unchanged.
    bool Publish(const std::string& sDocument, std::string& sWhy);

    // Compares the read-back with the model. Row ids of rows kept from before must be the ones
    // seen before (kept rows are updated, not replaced); new rows' ids are learnt here. Every
    // difference goes into `vecDiff` as one line "path: expected ..., got ...".
    bool Matches(const Json::Value& readBack, std::vector<std::string>& vecDiff);

    const std::vector<PT_EXPECTED_SECTION>& Sections() const { return m_vecSections; }
    // The expected read-back without row ids (for printing a counterexample).
    Json::Value ExpectedJson() const;

private:
    std::string m_sModule;
    long long m_llAcceleratorId;
    Json::Value m_acceleratorMembers;
    std::vector<PT_EXPECTED_SECTION> m_vecSections;
};

// Helpers the generator shares with the model.
namespace expected_store {
// The content key of a tile / section of a document, as the parser computes it.
uint64_t DocumentTileKey(const std::string& sModule, const Json::Value& tile);
uint64_t DocumentSectionKey(const Json::Value& section);
// The tile limit of a module.
int TileLimit(const std::string& sModule);
// How the read-back writes one stored cell; false when it writes nothing (NULL or empty text) or
// cannot write it (a number wider than 32 bits fails the whole read-back).
bool ExportCell(const PT_STORED_VALUE& value, Json::Value& out, bool& bWritable);
}  // namespace expected_store
