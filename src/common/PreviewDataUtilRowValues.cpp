// Copying a stored row into the model: the one place where store values enter a property map.
#include <iterator>
#include <sstream>
#include <utility>

#include "PreviewDataUtil.h"
#include "PreviewDataUtilUnit.h"
#include "PreviewStoredRowReader.h"

namespace {
// Reads one cell as its value type and text; false for a column the cursor reports no storage
// type for. The getters leave their output untouched on failure, so every output starts empty.
// Integers are formatted without a stream: std::to_string writes what a default-formatted stream
// writes for them. Only doubles go through a stream, for its six significant digits.
bool ReadCell(const ISQLiteCursor& cursor, int iColumn, std::string& sValue, int& iValueType)
{
    switch (cursor.GetColumnType(iColumn)) {
        case ISQLiteCursor::COLUMN_TYPE_INT: {
            int iValue = 0;
            cursor.GetInt(iColumn, iValue);
            sValue = std::to_string(iValue);
            iValueType = JSON_VALUE_INT;
            return true;
        }
        case ISQLiteCursor::COLUMN_TYPE_INT64: {
            // Row ids and other wide integers; emitted later under the unsigned type.
            long long llValue = 0;
            cursor.GetInt64(iColumn, llValue);
            sValue = std::to_string(llValue);
            iValueType = JSON_VALUE_UINT;
            return true;
        }
        case ISQLiteCursor::COLUMN_TYPE_DOUBLE: {
            double dValue = 0.0;
            cursor.GetDouble(iColumn, dValue);
            std::ostringstream stream;
            stream << dValue;
            sValue = stream.str();
            iValueType = JSON_VALUE_DOUBLE;
            return true;
        }
        case ISQLiteCursor::COLUMN_TYPE_TEXT:
            sValue.clear();
            cursor.GetString(iColumn, sValue);
            iValueType = JSON_VALUE_STRING;
            return true;
        default:
            return false;
    }
}
}  // namespace

void CPreviewDataUtil::GetItemValues(std::shared_ptr<ISQLiteCursor> cursor, int iColumnCount, PropertyMap& mapProperty)
{
    if (iColumnCount < 1) return;
    std::string sValue;
    for (int iColumn = 0; iColumn < iColumnCount; ++iColumn) {
        int iValueType;
        if (!ReadCell(*cursor, iColumn, sValue, iValueType)) {
            // The accelerator loader asks for one column more than it selected ("expires" is in
            // its map but is no column); that index lands here, which is why this is not an error.
            PELMO_LOGD("ERROR, Invalid Column Type.");
            continue;
        }
        // The cursor is asked for the name three times, as the store library's users expect (type,
        // text and log line each ask); the map is searched again only if the name differs.
        const std::string sTypeName = cursor->GetColumnName(iColumn);
        PropertyValue& typed = mapProperty[sTypeName];
        typed.first = iValueType;
        const std::string sTextName = cursor->GetColumnName(iColumn);
        PropertyValue& texted = sTextName == sTypeName ? typed : mapProperty[sTextName];
        texted.second.swap(sValue);
        const std::string sLogName = cursor->GetColumnName(iColumn);
        const PropertyValue& logged = sLogName == sTextName ? texted : mapProperty[sLogName];
        PELMO_LOGD("ColumnName : %s, key : %d, value : %s", sLogName.c_str(), iValueType, logged.second.c_str());
    }
}

CStoredRowReader::CStoredRowReader(ISQLiteCursor& cursor) : m_cursor(cursor) {}

const std::string& CStoredRowReader::AskName(int iColumn)
{
    const size_t uColumn = static_cast<size_t>(iColumn);
    if (uColumn >= m_vecNames.size()) m_vecNames.resize(uColumn + 1);
    PT_NAME& name = m_vecNames[uColumn];
    name.sName = m_cursor.GetColumnName(iColumn);
    name.bKnown = true;
    return name.sName;
}

void CStoredRowReader::GetItemValues(int iColumnCount, PropertyMap& mapProperty)
{
    std::string sValue;
    PropertyMap::iterator itNext = mapProperty.begin();
    for (int iColumn = 0; iColumn < iColumnCount; ++iColumn) {
        int iValueType;
        if (!ReadCell(m_cursor, iColumn, sValue, iValueType)) {
            // As above: the accelerator's extra index.
            PELMO_LOGD("ERROR, Invalid Column Type.");
            continue;
        }
        const std::string& sName = Name(iColumn);
        const PropertyMap::iterator it =
            itNext != mapProperty.end() && itNext->first == sName ? itNext : mapProperty.try_emplace(sName).first;
        it->second.first = iValueType;
        // Moved, not swapped: the swap is a call into the C++ library per cell, the move is not.
        // Either way the next cell's text starts from an emptied string.
        it->second.second = std::move(sValue);
        PELMO_LOGD("ColumnName : %s, key : %d, value : %s", sName.c_str(), iValueType, it->second.second.c_str());
        itNext = std::next(it);
    }
}
