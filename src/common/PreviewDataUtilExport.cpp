// Writing the stored preview out as JSON, nested like the document an application pushes.
#include <pelmo/TilesModel.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "PreviewDataUtil.h"
#include "PreviewDataUtilUnit.h"
#include "PreviewStyledText.h"
#include "StoredInteger.h"

using PreviewStyledText::PT_SCALAR;

namespace {
// What a tile without stored extras shows: the members the parser always puts there.
const std::string kPublicExtra = "public_extra";
const std::string kDefaultPublicExtra = "{\"video_url\":\"\",\"is_resumable\":false}";
const std::string kSections = "sections";
const std::string kTiles = "tiles";
}  // namespace

namespace ReadBackValue {
// The member value a property becomes; false (and an error line) for a type that names none.
// Number texts that cannot be converted throw the standard conversion errors.
bool SetPropertyInJson(const PropertyValue& value, PT_SCALAR& scalar)
{
    PELMO_LOGD("iValueType : %d, sValue : %s", value.first, value.second.c_str());
    switch (value.first) {
        case JSON_VALUE_BOOL:
            scalar.eKind = PT_SCALAR::KIND_BOOL;
            scalar.bValue = CPreviewDataUtil::m_mapStringToBool[value.second];
            return true;
        case JSON_VALUE_INT:
        case JSON_VALUE_UINT:
            // Readers of the document take every integer as a signed 32-bit value; a wider stored
            // value throws here rather than being written in a form they cannot read.
            scalar.eKind = PT_SCALAR::KIND_INT;
            scalar.iValue = StoredInteger::ValueOf(value.second);
            return true;
        case JSON_VALUE_DOUBLE:
            scalar.eKind = PT_SCALAR::KIND_DOUBLE;
            scalar.dValue = std::stod(value.second);
            return true;
        case JSON_VALUE_STRING:
            scalar.eKind = PT_SCALAR::KIND_STRING;
            scalar.pText = &value.second;
            return true;
        default:
            PELMO_LOGE("ERROR, Invalid Value Type.");
            return false;
    }
}

// Calls onMember(name, value) for each member a property map gives, in map order: the tile's
// extras travel in the pre-play column and go back under their document name, with the
// default extras when none are stored; properties without a type or text give no member.
template <typename OnMember>
void ForEachMember(const PropertyMap& mapProperty, OnMember onMember)
{
    static const std::string kPrePlay = TilesModel::Tiles::TILE_ACTION_PRE_PLAY;
    for (const auto& entry : mapProperty) {
        const std::string& sName = entry.first == kPrePlay ? kPublicExtra : entry.first;
        if (entry.second.first != JSON_VALUE_NONE && !entry.second.second.empty()) {
            onMember(sName, entry.second);
        } else if (sName == kPublicExtra) {
            static const PropertyValue kDefault{JSON_VALUE_STRING, kDefaultPublicExtra};
            onMember(sName, kDefault);
        }
    }
}

// Whether ForEachMember would give a map at least one member, without converting anything.
bool HasMembers(const PropertyMap& mapProperty)
{
    bool bAny = false;
    ForEachMember(mapProperty, [&](const std::string&, const PropertyValue& value) {
        bAny = bAny || (value.first >= JSON_VALUE_BOOL && value.first <= JSON_VALUE_STRING);
    });
    return bAny;
}
}  // namespace ReadBackValue

namespace {
// The preview's tree written in the styled layout. Properties are converted in the order the
// value tree was built in (accelerator, then per section its own properties and then its tiles),
// so that a conversion error and the log lines come in the same order as with the tree.
class CMetaDataText {
public:
    std::string Write(const CPreviewAccelerator& accelerator)
    {
        const bool bSections = AnyPresent(accelerator.m_vecSection);
        WriteObject(0, accelerator.m_mapProperty, bSections ? &kSections : nullptr,
                    [&] { WriteArray(accelerator.m_vecSection); });
        return m_text.Finish();
    }

private:
    struct PT_MEMBER {
        const std::string* pName = nullptr;
        PT_SCALAR value;
        bool bArray = false;  // the member holds the object's child array
    };

    template <typename T>
    static bool AnyPresent(const std::vector<std::shared_ptr<T>>& vecItems)
    {
        for (const std::shared_ptr<T>& item : vecItems) {
            if (item) return true;
        }
        return false;
    }
    static bool IsEmpty(const CPreviewSection& section)
    {
        return !AnyPresent(section.m_vecTile) && !ReadBackValue::HasMembers(section.m_mapProperty);
    }
    static bool IsEmpty(const CPreviewTile& tile) { return !ReadBackValue::HasMembers(tile.m_mapProperty); }

    void WriteElement(const CPreviewSection& section)
    {
        const bool bTiles = AnyPresent(section.m_vecTile);
        WriteObject(1, section.m_mapProperty, bTiles ? &kTiles : nullptr, [&] { WriteArray(section.m_vecTile); });
    }
    void WriteElement(const CPreviewTile& tile)
    {
        WriteObject(2, tile.m_mapProperty, nullptr, [] {});
    }

    template <typename T>
    void WriteArray(const std::vector<std::shared_ptr<T>>& vecItems)
    {
        size_t uCount = 0;
        bool bAllEmpty = true;
        for (const std::shared_ptr<T>& item : vecItems) {
            if (!item) continue;
            ++uCount;
            bAllEmpty = bAllEmpty && IsEmpty(*item);
        }
        if (PreviewStyledText::CStyledText::FitsOnOneLine(uCount, bAllEmpty)) {
            // Empty objects convert nothing, but their properties may still be logged.
            for (const std::shared_ptr<T>& item : vecItems) {
                if (item) CollectMembers(2, item->m_mapProperty, nullptr);
            }
            m_text.EmptyObjectsOnOneLine(uCount);
            return;
        }
        m_text.OpenArray();
        bool bFirst = true;
        for (const std::shared_ptr<T>& item : vecItems) {
            if (!item) continue;
            if (!bFirst) m_text.Separator();
            bFirst = false;
            m_text.Element();
            WriteElement(*item);
        }
        m_text.CloseArray();
    }

    // The members of one object in the order the writer puts them: by name in byte order, and
    // of two members of the same name the one set last (the child array outranks a property).
    // Members named by their map key come sorted and unique; only the renamed extras and the
    // child array are placed, after the others, in the order they were set.
    std::vector<PT_MEMBER>& CollectMembers(size_t uLevel, const PropertyMap& mapProperty, const std::string* pArrayName)
    {
        std::vector<PT_MEMBER>& vecMembers = m_vecMembers[uLevel];
        std::vector<PT_MEMBER>& vecPlaced = m_vecPlaced[uLevel];
        vecMembers.clear();
        vecPlaced.clear();
        ReadBackValue::ForEachMember(mapProperty, [&](const std::string& sName, const PropertyValue& value) {
            PT_MEMBER member;
            member.pName = &sName;
            if (!ReadBackValue::SetPropertyInJson(value, member.value)) return;
            (&sName == &kPublicExtra ? vecPlaced : vecMembers).push_back(member);
        });
        if (pArrayName != nullptr) {
            PT_MEMBER member;
            member.pName = pArrayName;
            member.bArray = true;
            vecPlaced.push_back(member);
        }
        for (const PT_MEMBER& member : vecPlaced) {
            const auto it =
                std::upper_bound(vecMembers.begin(), vecMembers.end(), member,
                                 [](const PT_MEMBER& a, const PT_MEMBER& b) { return *a.pName < *b.pName; });
            if (it != vecMembers.begin() && *std::prev(it)->pName == *member.pName) {
                *std::prev(it) = member;
            } else {
                vecMembers.insert(it, member);
            }
        }
        return vecMembers;
    }

    template <typename WriteChildArray>
    void WriteObject(size_t uLevel, const PropertyMap& mapProperty, const std::string* pArrayName,
                     WriteChildArray writeChildArray)
    {
        const std::vector<PT_MEMBER>& vecMembers = CollectMembers(uLevel, mapProperty, pArrayName);
        if (vecMembers.empty()) {
            m_text.EmptyObject();
            return;
        }
        m_text.OpenObject();
        for (size_t i = 0; i < vecMembers.size(); ++i) {
            if (i > 0) m_text.Separator();
            m_text.Member(*vecMembers[i].pName);
            if (vecMembers[i].bArray) {
                writeChildArray();
            } else {
                m_text.Scalar(vecMembers[i].value);
            }
        }
        m_text.CloseObject();
    }

    PreviewStyledText::CStyledText m_text;
    std::vector<PT_MEMBER> m_vecMembers[3];  // per level: accelerator, section, tile
    std::vector<PT_MEMBER> m_vecPlaced[3];
};
}  // namespace

void CPreviewDataUtil::SetPropertyInJson(Json::Value& object, const std::string& sName, const PropertyValue& value)
{
    PT_SCALAR scalar;
    if (!ReadBackValue::SetPropertyInJson(value, scalar)) return;
    switch (scalar.eKind) {
        case PT_SCALAR::KIND_BOOL:
            object[sName] = scalar.bValue;
            break;
        case PT_SCALAR::KIND_INT:
            object[sName] = scalar.iValue;
            break;
        case PT_SCALAR::KIND_DOUBLE:
            object[sName] = scalar.dValue;
            break;
        case PT_SCALAR::KIND_STRING:
            object[sName] = *scalar.pText;
            break;
    }
}

void CPreviewDataUtil::SetComponentsInJson(Json::Value& object, const PropertyMap& mapProperty)
{
    ReadBackValue::ForEachMember(mapProperty, [&](const std::string& sName, const PropertyValue& value) {
        SetPropertyInJson(object, sName, value);
    });
}

std::string CPreviewDataUtil::GetMetaDataByJson(const std::string& sModuleName)
{
    PELMO_LOGI("");
    CPreviewAccelerator accelerator;
    PropertyValue& package = accelerator.m_mapProperty[TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME];
    package.first = JSON_VALUE_STRING;
    package.second = sModuleName;

    if (!GetAcceleratorItems(sModuleName, accelerator)) {
        PELMO_LOGE("ERROR, GetAcceleratorItems() failed.");
        return "";
    }
    const std::string sAcceleratorRawID = accelerator.m_mapProperty[TilesModel::Accelerators::_ID].second;
    if (sAcceleratorRawID.empty()) {
        PELMO_LOGE("ERROR, sAcceleratorRawID is empty.");
        return "";
    }
    if (!GetSectionItems(sModuleName, sAcceleratorRawID, accelerator)) {
        PELMO_LOGE("ERROR, GetSectionItems() failed.");
        return "";
    }
    for (const std::shared_ptr<CPreviewSection>& section : accelerator.m_vecSection) {
        const std::string sSectionRawID = section->m_mapProperty[TilesModel::Sections::_ID].second;
        if (sSectionRawID.empty()) continue;
        if (!GetTileItems(sModuleName, sSectionRawID, section)) {
            PELMO_LOGE("ERROR, GetTilesItems() failed.");
            return "";
        }
    }

    // A stored number that the document's types cannot carry (wider than 32 bits, say) fails
    // the whole export: callers get no text rather than a partial tree, and no exception ever
    // leaves the library.
    try {
        return WriteMetaData(accelerator);
    } catch (const std::exception& e) {
        PELMO_LOGE("ERROR, metadata cannot be written as JSON: %s", e.what());
    }
    return "";
}

std::string CPreviewDataUtil::WriteMetaData(CPreviewAccelerator& accelerator)
{
    return CMetaDataText().Write(accelerator);
}
