// Random preview documents from a seed: random sections and tiles within the module's tile limit,
// random subsets of members in every kind a document may carry (texts with escapes, unicode and
// long runs, numbers at the integer limits, booleans, doubles, unknown members that go to the
// public extra), distinct positions, and no two sections or two tiles of a section with one
// content key. Also the small edits an application makes between two publishes.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <random>
#include <string>

class CPreviewGenerator {
public:
    explicit CPreviewGenerator(uint64_t ullSeed) : m_random(ullSeed) {}

    // A fresh document for the module.
    Json::Value Document(const std::string& sModule);
    // The document with a few edits: members changed or dropped, tiles and sections added,
    // removed, moved or renamed, positions shuffled.
    Json::Value Edit(const std::string& sModule, const Json::Value& document);
    // The text an application would send (compact or indented, at random).
    std::string Text(const Json::Value& document);

    int Below(int iBound);  // uniform in [0, iBound)
    bool Chance(int iPercent) { return Below(100) < iPercent; }

private:
    Json::Value Section(const std::string& sModule, int iTiles);
    Json::Value Tile(const std::string& sModule);
    Json::Value AnyText();
    Json::Value TextColumnValue();
    Json::Value IntegerColumnValue();
    Json::Value FlagValue();
    Json::Value ExtraValue();
    std::string Piece();
    std::string UniqueTag(const char* sPrefix);
    // Distinct positions for the sections of a document or the tiles of a section.
    void NumberPositions(Json::Value& items, const char* sColumn);
    // Drops the last tiles or sections until every content key is unique and the tile count is
    // within the limit.
    void MakeKeysUnique(const std::string& sModule, Json::Value& document);

    std::mt19937_64 m_random;
    uint64_t m_ullSerial = 0;
};
