// The preview logic: reading a preview document into the model, content keys, and (later)
// loading, exporting and synchronising stored previews. Stateless; callers use a local instance.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "PelmoExport.h"
#include "PreviewAccelerator.h"

class ISQLiteCursor;

class PELMO_API CPreviewDataUtil {
public:
    // Boolean texts, built when the library loads; a lookup miss inserts the default.
    static std::map<bool, std::string> m_mapBoolToString;
    static std::map<std::string, bool> m_mapStringToBool;

    // --- Content keys -------------------------------------------------------------------
    // The key of a tile: H(title + action) XOR (H(subtitle + image URL) << 1).
    uint64_t CalcTileHash(std::string sTitle, std::string sSubtitle, std::string sImageUrl, std::string sAction);
    // The key of a section: H(title) XOR (H(id) << 1). Shared by the parser and the loader.
    static uint64_t CalcSectionHash(const std::string& sTitle, const std::string& sId);

    // --- Reading a preview document -----------------------------------------------------
    bool GetPreviewDataUsingJsonStr(std::string sJsonStr, CPreviewAccelerator& accelerator, std::string sModuleName);
    void GetSectionsByJson(CPreviewAccelerator& accelerator, const Json::Value& section, int& iTileCount);
    void GetTilesByJson(CPreviewAccelerator& accelerator, const Json::Value& tile);
    void GetPropertyByJson(CPreviewAccelerator& accelerator, const std::string& sKey, const Json::Value& value,
                           int iDepth);
    // The canonical decimal text of the integer a text starts with ("42abc" -> "42", "abc" -> "0").
    std::string IntegerValidator(std::string sValue);

    // Reading the stored preview back.
    // Copies the cursor's current row into a property map: per column its value type and text.
    void GetItemValues(std::shared_ptr<ISQLiteCursor> cursor, int iColumnCount, PropertyMap& mapProperty);
    // One select each; false only when the select itself failed (no rows is success).
    bool GetAcceleratorItems(const std::string& sModuleName, CPreviewAccelerator& accelerator);
    bool GetSectionItems(const std::string& sModuleName, const std::string& sAcceleratorRawID,
                         CPreviewAccelerator& accelerator);
    bool GetTileItems(const std::string& sModuleName, const std::string& sSectionRawID,
                      std::shared_ptr<CPreviewSection> section);
    // The module's whole stored tree, with the same content keys the parser computes.
    bool GetMetaDataFromDB(const std::string& sModuleName, CPreviewAccelerator& accelerator);
    // Writes one property as a member of the JSON type its value type names; number texts that
    // cannot be converted throw the standard conversion errors.
    void SetPropertyInJson(Json::Value& object, const std::string& sName, const PropertyValue& value);
    void SetComponentsInJson(Json::Value& object, const PropertyMap& mapProperty);
    // The module's stored tree as one styled JSON text, nested like a preview document; "" on failure.
    std::string GetMetaDataByJson(const std::string& sModuleName);
};
