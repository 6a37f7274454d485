#include "TextEncodingCheck.h"

#include <cctype>
#include <cstdint>
#include <cstring>
#include <exception>
#include <map>

#include "DocumentChecks.h"
#include "JsonTextFlaws.h"
#include "PreviewDataUtil.h"

namespace {
constexpr const char* kSections = "sections";
constexpr const char* kTiles = "tiles";
// Deeper than the JSON reader nests; a walk that gets there has lost its way and stops.
constexpr int kMaxDepth = 1100;

// Where a value sits, as the preview reader sees it.
enum class EPlace {
    kRoot,
    kRootMember,
    kSectionList,
    kSection,
    kSectionMember,
    kTileList,
    kTile,
    kTileMember,
    kInside
};

// What the reader does with a value depends on its place only for the members of the document,
// of a section and of a tile, and for the elements of the lists. Anything deeper goes wherever
// the member or element that holds it goes.
bool ChildrenArePlaces(EPlace place)
{
    return place == EPlace::kRoot || place == EPlace::kSectionList || place == EPlace::kSection ||
           place == EPlace::kTileList || place == EPlace::kTile;
}

// The reader takes the object elements of a list (array elements, or the member values of an
// object) as sections or tiles.
EPlace ChildPlace(EPlace parent, const std::string* pName, bool bObject)
{
    switch (parent) {
        case EPlace::kRoot:
            if (pName == nullptr) return EPlace::kInside;
            return *pName == kSections ? EPlace::kSectionList : EPlace::kRootMember;
        case EPlace::kSectionList:
            return bObject ? EPlace::kSection : EPlace::kInside;
        case EPlace::kSection:
            return pName != nullptr && *pName == kTiles ? EPlace::kTileList : EPlace::kSectionMember;
        case EPlace::kTileList:
            return bObject ? EPlace::kTile : EPlace::kInside;
        case EPlace::kTile:
            return EPlace::kTileMember;
        default:
            return EPlace::kInside;
    }
}

struct PT_STEP {
    bool bMember = false;
    std::string sName;
    Json::ArrayIndex uIndex = 0;
};

struct PT_VALUE_AT {
    EPlace place;
    const Json::Value* pNode;   // the value as the reader read it; null when not known
    bool bReplaced;             // a later member of the same name replaced it
    const std::string* pShape;  // inside a member or element: where that one is; null otherwise
};

// What the store makes of a text, as the reader's answers tell.
struct PT_OUTCOME {
    bool bStored = false;      // other text in its place changes what the publish writes
    bool bTileKey = false;     // the text as the store gives it back changes a tile's content key
    bool bSectionKey = false;  // ... or a section's
};

// What the publish of a probe document writes (section and tile rows; the accelerator row is
// not the document's), and the content keys.
struct PT_PROBE_READING {
    std::string sRows;
    std::string sSectionKeys;
    std::string sTileKeys;
};

// The values of one row as the publish writes them: the library's own update row where it has
// the column (integer and flag columns converted), the reader's value for the key columns.
void AppendRow(const PropertyMap& mapProperty, const Json::Value& updateRow, std::string& sOut)
{
    for (const auto& entry : mapProperty) {
        const Json::Value* pWritten = updateRow.find(entry.first.data(), entry.first.data() + entry.first.size());
        const std::string sValue =
            pWritten != nullptr && pWritten->isString() ? pWritten->asString() : entry.second.second;
        sOut += entry.first + "=" + std::to_string(sValue.size()) + ":" + sValue + "\n";
    }
}

class CTextEncodingWalk {
public:
    CTextEncodingWalk(const std::string& sText, const CDocumentPositions& positions, CLibraryReader& reader,
                      std::vector<PT_VALIDATE_FINDING>& vecFinding)
        : m_sText(sText), m_positions(positions), m_reader(reader), m_vecFinding(vecFinding)
    {
    }

    void Run(const Json::Value& root)
    {
        m_u = BlankEnd(0);
        Walk(PT_VALUE_AT{EPlace::kRoot, &root, false, nullptr}, 0);
    }

private:
    char At(size_t u) const { return u < m_sText.size() ? m_sText[u] : '\0'; }

    // Past white space and the comments the reader allows.
    size_t BlankEnd(size_t u) const
    {
        const size_t uSize = m_sText.size();
        while (u < uSize) {
            const char c = m_sText[u];
            if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
                ++u;
            } else if (c == '/' && At(u + 1) == '*') {
                const size_t uClose = m_sText.find("*/", u + 2);
                u = uClose == std::string::npos ? uSize : uClose + 2;
            } else if (c == '/' && At(u + 1) == '/') {
                while (u < uSize && m_sText[u] != '\n' && m_sText[u] != '\r') ++u;
            } else {
                break;
            }
        }
        return u;
    }

    // At an opening quote: moves past the closing one; false when the text ends first.
    bool SkipString()
    {
        const size_t uSize = m_sText.size();
        for (++m_u; m_u < uSize; ++m_u) {
            if (m_sText[m_u] == '\\') {
                ++m_u;
            } else if (m_sText[m_u] == '"') {
                ++m_u;
                return true;
            }
        }
        return false;
    }

    // The text of the string token [uBegin, uEnd) as the reader decodes it.
    std::string Decoded(size_t uBegin, size_t uEnd) const
    {
        return DecodedToken(m_sText.data() + uBegin, uEnd - uBegin);
    }

    static std::string DecodedToken(const char* pToken, size_t uSize)
    {
        if (uSize < 2) return std::string();
        if (std::memchr(pToken, '\\', uSize) == nullptr) return std::string(pToken + 1, uSize - 2);
        try {
            Json::Value value;
            if (Json::Reader().parse(pToken, pToken + uSize, value, false) && value.isString()) return value.asString();
        } catch (const std::exception&) {
        }
        return std::string(pToken + 1, uSize - 2);
    }

    // The text as the store gives it back: the request writer's quoting, read again.
    static std::string AsStored(const std::string& sText)
    {
        Json::Value value;
        try {
            const std::string sQuoted = Json::FastWriter().write(Json::Value(sText));
            if (Json::Reader().parse(sQuoted, value, false) && value.isString()) return value.asString();
        } catch (const std::exception&) {
        }
        return sText;
    }

    // A value of the same JSON kind as the one at u, standing in for it next to a member name:
    // what the reader does with a member depends on the kind of its value, not on its content.
    Json::Value SampleAt(size_t u) const
    {
        switch (At(u)) {
            case '{': {
                Json::Value sample(Json::objectValue);
                if (At(BlankEnd(u + 1)) != '}') sample["x"] = "x";
                return sample;
            }
            case '[': {
                Json::Value sample(Json::arrayValue);
                if (At(BlankEnd(u + 1)) != ']') sample.append("x");
                return sample;
            }
            case '"':
                return "x";
            case 't':
            case 'f':
                return true;
            case 'n':
                return Json::Value();
            default:
                return 0;
        }
    }

    // The path in findings' notation, built by appending: texts can sit a thousand levels deep.
    std::string Path() const
    {
        const std::string sRoot = JsonPathRoot();
        std::string sPath;
        for (const PT_STEP& step : m_vecStep) {
            if (!step.bMember) {
                if (sPath.empty()) sPath = sRoot;
                sPath += JsonPathIndex(std::string(), step.uIndex);
                continue;
            }
            // The step on its own: "name", or "$[\"other name\"]".
            const std::string sStep = JsonPathMember(sRoot, step.sName);
            if (sPath.empty()) {
                sPath = sStep;
            } else if (sStep.compare(0, sRoot.size(), sRoot) == 0) {
                sPath.append(sStep, sRoot.size(), std::string::npos);
            } else {
                sPath += "." + sStep;
            }
        }
        return sPath.empty() ? sRoot : sPath;
    }

    // The path without its indices, for the answers that hold for every element of a list.
    std::string Shape() const
    {
        std::string sShape;
        for (const PT_STEP& step : m_vecStep) sShape += step.bMember ? JsonQuoted(step.sName) : std::string("[]");
        return sShape;
    }

    // A document that holds only the leaf, where the current path puts it.
    Json::Value Probe(Json::Value leaf) const
    {
        for (auto it = m_vecStep.rbegin(); it != m_vecStep.rend(); ++it) {
            Json::Value parent(it->bMember ? Json::objectValue : Json::arrayValue);
            if (it->bMember) {
                parent[it->sName] = std::move(leaf);
            } else {
                parent.append(std::move(leaf));
            }
            leaf = std::move(parent);
        }
        return leaf;
    }

    PT_PROBE_READING Read(const Json::Value& probe)
    {
        PT_PROBE_READING reading;
        CPreviewAccelerator accelerator;
        std::string sReason;
        // Written with the text's own bytes: the usual writer would already put U+FFFD in
        // their place, and the reader would never see them.
        static const Json::StreamWriterBuilder kBytesAsTheyAre = [] {
            Json::StreamWriterBuilder builder;
            builder["indentation"] = "";
            builder["emitUTF8"] = true;
            return builder;
        }();
        m_reader.Read(Json::writeString(kBytesAsTheyAre, probe), accelerator, sReason);
        auto AddItem = [&reading](const PropertyMap& mapProperty, const Json::Value& updateRow, uint64_t key,
                                  std::string& sKeys) {
            reading.sRows += "row\n";
            AppendRow(mapProperty, updateRow, reading.sRows);
            sKeys += std::to_string(key) + " ";
        };
        CPreviewDataUtil util;
        for (const auto& pSection : accelerator.m_vecSection) {
            if (!pSection) continue;
            Json::Value sectionRow(Json::objectValue);
            util.MakeUpdatedSectionJson(m_reader.ModuleName(), sectionRow, pSection);
            AddItem(pSection->m_mapProperty, sectionRow, pSection->m_hash, reading.sSectionKeys);
            for (const auto& pTile : pSection->m_vecTile) {
                if (!pTile) continue;
                Json::Value tileRow(Json::objectValue);
                util.MakeUpdatedTileJson(m_reader.ModuleName(), tileRow, pTile);
                AddItem(pTile->m_mapProperty, tileRow, pTile->m_hash, reading.sTileKeys);
            }
        }
        return reading;
    }

    // Asks the reader about the leaf as written, as the store gives it back, and with other
    // text in place of the flaws. Answers are kept by sCacheKey.
    PT_OUTCOME Outcome(const std::string& sCacheKey, const Json::Value& written, const Json::Value& stored,
                       const Json::Value& other)
    {
        const auto it = m_mapOutcome.find(sCacheKey);
        if (it != m_mapOutcome.end()) return it->second;
        const PT_PROBE_READING asWritten = Read(Probe(written));
        const PT_PROBE_READING asStored = Read(Probe(stored));
        const PT_PROBE_READING withOther = Read(Probe(other));
        PT_OUTCOME outcome;
        outcome.bStored = asWritten.sRows != withOther.sRows;
        outcome.bTileKey = asWritten.sTileKeys != asStored.sTileKeys;
        outcome.bSectionKey = asWritten.sSectionKeys != asStored.sSectionKeys;
        m_mapOutcome.emplace(sCacheKey, outcome);
        return outcome;
    }

    // A finding for a string token [uBegin, uEnd) with flaws. For a member name, pSample is its
    // value's stand-in and the current path leads to the object; otherwise to the value itself.
    void Report(size_t uBegin, size_t uEnd, const std::vector<PT_TEXT_FLAW>& vecFlaw, const Json::Value* pSample,
                const std::string* pShape, bool bReplaced)
    {
        const char* pToken = m_sText.data() + uBegin;
        const std::string sWritten = Decoded(uBegin, uEnd);
        const std::string sStored = AsStored(sWritten);
        const std::string sOtherToken = TokenWithFlawsReplaced(pToken, uEnd - uBegin, vecFlaw);
        const std::string sOther = DecodedToken(sOtherToken.data(), sOtherToken.size());
        PT_OUTCOME outcome;
        if (!bReplaced) {
            // What the store makes of a text depends on its place, not on its bytes: bad bytes
            // are never digits of an integer column nor the word of a flag, and change a key
            // wherever they are part of it. Whether the store gives it back as written (an
            // escape the reader turned into another character) is the one difference.
            std::string sCacheKey =
                pShape != nullptr
                    ? "in " + *pShape
                    : "at " + Shape() + (pSample != nullptr ? " name " + JsonKindName(*pSample) : std::string());
            if (sStored == sWritten) sCacheKey += " as written";
            auto Leaf = [pSample](const std::string& sText) -> Json::Value {
                if (pSample == nullptr) return Json::Value(sText);
                Json::Value object(Json::objectValue);
                object[sText] = *pSample;
                return object;
            };
            outcome = Outcome(sCacheKey, Leaf(sWritten), Leaf(sStored), Leaf(sOther));
        }

        const PT_TEXT_FLAW& first = vecFlaw.front();
        const PT_TEXT_POSITION at = m_positions.PositionOf(static_cast<ptrdiff_t>(uBegin + first.uOffset));
        PT_VALIDATE_FINDING finding;
        finding.sPath = pSample != nullptr ? JsonPathMember(Path(), sWritten) : Path();
        finding.iLine = at.iLine;
        finding.iColumn = at.iColumn;
        finding.sKind = ValidateKind::NOT_UTF8;
        const bool bEscape = first.sWhat.compare(0, 2, "\\u") == 0;
        finding.sMessage = std::string(pSample != nullptr ? "the member name" : "the text") +
                           (bEscape ? " is not Unicode text: " : " is not valid UTF-8: ") + first.sWhat + " (column " +
                           std::to_string(at.iColumn);
        if (vecFlaw.size() > 1)
            finding.sMessage += ", and " + std::to_string(vecFlaw.size() - 1) + " more in this text";
        finding.sMessage += ")";
        const char* sRefused = "JSON readers that require UTF-8 may refuse the whole document";
        if (bReplaced) {
            finding.sMessage +=
                std::string("; a later member of the same name replaces it, so it is not stored, but ") + sRefused;
        } else if (outcome.bTileKey || outcome.bSectionKey) {
            // The document's key holds the bad bytes, what the store gives back never does.
            finding.sMessage +=
                std::string(outcome.bStored ? "; the library stores U+FFFD replacement characters in its place"
                                            : "; the store does not keep these bytes") +
                ", so this " + (outcome.bTileKey ? "tile" : "section") +
                " never matches its stored copy: every publish deletes it and inserts it again";
        } else if (!outcome.bStored) {
            finding.sMessage += std::string("; these bytes never reach the store, but ") + sRefused;
        } else if (sStored == sWritten) {
            finding.sMessage += "; the store holds what the reader makes of it, not the text written";
        } else {
            finding.sMessage +=
                "; the library stores U+FFFD replacement characters in its place, so the store holds other text "
                "than the document";
        }
        m_vecFinding.push_back(finding);
    }

    bool Walk(const PT_VALUE_AT& at, int iDepth)
    {
        if (iDepth > kMaxDepth || m_u >= m_sText.size()) return false;
        const char c = m_sText[m_u];
        if (c == '"') {
            const size_t uBegin = m_u;
            if (!SkipString()) return false;
            const std::vector<PT_TEXT_FLAW> vecFlaw = FindTextFlaws(m_sText.data() + uBegin, m_u - uBegin);
            if (!vecFlaw.empty()) Report(uBegin, m_u, vecFlaw, nullptr, at.pShape, at.bReplaced);
            return true;
        }
        if (c == '{' || c == '[') return WalkContainer(at, iDepth);
        // A number or a literal.
        const size_t uBegin = m_u;
        while (m_u < m_sText.size() && (std::isalnum(static_cast<unsigned char>(m_sText[m_u])) || m_sText[m_u] == '+' ||
                                        m_sText[m_u] == '-' || m_sText[m_u] == '.')) {
            ++m_u;
        }
        return m_u > uBegin;
    }

    bool WalkContainer(const PT_VALUE_AT& at, int iDepth)
    {
        const bool bObject = m_sText[m_u] == '{';
        const char cClose = bObject ? '}' : ']';
        // Everything inside a member or list element shares that one's answers.
        std::string sShape;
        const std::string* pShape = nullptr;
        if (!ChildrenArePlaces(at.place)) {
            if (at.pShape == nullptr) {
                sShape = Shape() + (bObject ? "{" : "[");
                pShape = &sShape;
            } else {
                pShape = at.pShape;
            }
        }
        m_u = BlankEnd(m_u + 1);
        if (At(m_u) == cClose) {
            ++m_u;
            return true;
        }
        for (Json::ArrayIndex uIndex = 0;; ++uIndex) {
            PT_STEP step;
            const Json::Value* pChild = nullptr;
            bool bReplaced = at.bReplaced;
            if (bObject) {
                if (At(m_u) != '"') return false;
                const size_t uNameBegin = m_u;
                if (!SkipString()) return false;
                const size_t uNameEnd = m_u;
                step.bMember = true;
                step.sName = Decoded(uNameBegin, uNameEnd);
                m_u = BlankEnd(m_u);
                if (At(m_u) != ':') return false;
                m_u = BlankEnd(m_u + 1);
                if (at.pNode != nullptr && at.pNode->isObject()) {
                    const Json::Value* pFound =
                        at.pNode->find(step.sName.data(), step.sName.data() + step.sName.size());
                    // Of members with one name the reader keeps the last.
                    if (pFound != nullptr && static_cast<size_t>(pFound->getOffsetStart()) == m_u) {
                        pChild = pFound;
                    } else if (pFound != nullptr) {
                        bReplaced = true;
                    }
                }
                const std::vector<PT_TEXT_FLAW> vecFlaw =
                    FindTextFlaws(m_sText.data() + uNameBegin, uNameEnd - uNameBegin);
                if (!vecFlaw.empty()) {
                    const Json::Value sample = SampleAt(m_u);
                    Report(uNameBegin, uNameEnd, vecFlaw, &sample, pShape, bReplaced);
                }
            } else {
                step.uIndex = uIndex;
                if (at.pNode != nullptr && at.pNode->isArray() && uIndex < at.pNode->size()) {
                    pChild = &(*at.pNode)[uIndex];
                    if (static_cast<size_t>(pChild->getOffsetStart()) != m_u) pChild = nullptr;
                }
            }
            const EPlace place = ChildPlace(at.place, bObject ? &step.sName : nullptr, At(m_u) == '{');
            m_vecStep.push_back(std::move(step));
            const bool bWalked = Walk(PT_VALUE_AT{place, pChild, bReplaced, pShape}, iDepth + 1);
            m_vecStep.pop_back();
            if (!bWalked) return false;
            m_u = BlankEnd(m_u);
            if (At(m_u) == ',') {
                m_u = BlankEnd(m_u + 1);
            } else if (At(m_u) == cClose) {
                ++m_u;
                return true;
            } else {
                return false;
            }
        }
    }

    const std::string& m_sText;
    const CDocumentPositions& m_positions;
    CLibraryReader& m_reader;
    std::vector<PT_VALIDATE_FINDING>& m_vecFinding;
    size_t m_u = 0;
    std::vector<PT_STEP> m_vecStep;
    std::map<std::string, PT_OUTCOME> m_mapOutcome;
};
}  // namespace

void CheckTextEncoding(const std::string& sText, const Json::Value& root, const CDocumentPositions& positions,
                       CLibraryReader& reader, std::vector<PT_VALIDATE_FINDING>& vecFinding)
{
    CTextEncodingWalk(sText, positions, reader, vecFinding).Run(root);
}
