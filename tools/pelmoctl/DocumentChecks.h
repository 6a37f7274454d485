// The checks of `pelmoctl validate` that walk the parsed document: the shape of the document,
// values whose JSON kind makes the publish fail, the tile limit, members the store has no
// column for, and display windows.
#pragma once

#include <json/json.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "DocumentPositions.h"
#include "LibraryReader.h"
#include "ValidateFinding.h"

// Where a section or tile the reader builds came from in the document, in the reader's order.
struct PT_ITEM_PLACE {
    std::string sPath;
    int iLine = 0;
};

struct PT_SECTION_PLACE {
    PT_ITEM_PLACE place;
    std::vector<PT_ITEM_PLACE> vecTile;
};

class CDocumentChecker {
public:
    CDocumentChecker(const CDocumentPositions& positions, CLibraryReader& reader, const PT_VALIDATE_OPTIONS& options,
                     std::vector<PT_VALIDATE_FINDING>& vecFinding);

    void Check(const Json::Value& root);

    // The sections and tiles the reader builds, in its order: object elements only.
    const std::vector<PT_SECTION_PLACE>& Sections() const { return m_vecSection; }
    // The members whose values the reader refuses for their kind (reported as errors).
    const std::set<const Json::Value*>& RefusedValues() const { return m_setRefused; }

private:
    struct PT_LIST_ELEMENT {
        std::string sPath;
        const Json::Value* pValue;
    };

    void Add(bool bError, const std::string& sPath, const Json::Value& value, const char* sKind,
             const std::string& sMessage);
    // The elements the reader walks for a list member: array elements, or the member values
    // of an object in name order. Warns about any other kind and about skipped elements.
    std::vector<PT_LIST_ELEMENT> ListElements(const std::string& sPath, const Json::Value& list, const char* sWhat);
    // Where a value sits, for asking the reader about a value of its kind in the same place.
    enum class EPlace { kRoot, kExpires, kSectionMember, kTileMember };
    // Reports an error and returns true when the reader refuses a document that holds a value
    // of this JSON kind at this place: such a value fails the whole publish.
    bool CheckKind(const std::string& sPath, EPlace place, const std::string& sName, const Json::Value& value);
    void CheckSection(const std::string& sPath, const Json::Value& section);
    void CheckTile(const std::string& sPath, const Json::Value& tile);
    void CheckDisplayWindow(const std::string& sPath, const Json::Value& tile);

    const CDocumentPositions& m_positions;
    CLibraryReader& m_reader;
    const PT_VALIDATE_OPTIONS& m_options;
    std::vector<PT_VALIDATE_FINDING>& m_vecFinding;

    std::vector<std::string> m_vecTileMember;     // every name a tile may use for a column
    std::vector<std::string> m_vecSectionMember;  // every name a section may use
    std::vector<PT_SECTION_PLACE> m_vecSection;
    std::map<std::string, bool> m_mapKindRefused;  // by place, name and kind
    std::set<const Json::Value*> m_setRefused;
    int m_iTileCount = 0;
    std::string m_sFirstTileOverLimit;
    int m_iFirstTileOverLimitLine = 0;
};

// The JSON kind of a value in words ("array", "string", ...).
std::string JsonKindName(const Json::Value& value);
// The kind with its article: "an array", "a string".
std::string JsonKindWithArticle(const Json::Value& value);

// A copy of a document without the given object members, so that the rest of it can be read
// as if they were absent.
Json::Value CopyWithoutMembers(const Json::Value& value, const std::set<const Json::Value*>& setDrop);
