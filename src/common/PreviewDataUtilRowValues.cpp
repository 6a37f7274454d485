// Copying a stored row into the model: the one place where store values enter a property map.
#include <pelmo/ISQLiteCursor.h>

#include <sstream>

#include "PreviewDataUtilUnit.h"
#include "PreviewDataUtil.h"

void CPreviewDataUtil::GetItemValues(std::shared_ptr<ISQLiteCursor> cursor, int iColumnCount,
                                     PropertyMap& mapProperty)
{
    if (iColumnCount < 1) return;
    // This runs for every column of every stored row a publish loads (close to thirty per tile),
    // so it looks the map up once per column and formats integers without a stream:
    // std::to_string writes what a default-formatted stream writes for them. Only doubles still
    // go through a stream, for its six significant digits.
    std::string sValue;
    for (int iColumn = 0; iColumn < iColumnCount; ++iColumn) {
        int iValueType;
        // The getters leave their output untouched on failure, so every output starts empty.
        switch (cursor->GetColumnType(iColumn)) {
        case ISQLiteCursor::COLUMN_TYPE_INT: {
            int iValue = 0;
            cursor->GetInt(iColumn, iValue);
            sValue = std::to_string(iValue);
            iValueType = JSON_VALUE_INT;
            break;
        }
        case ISQLiteCursor::COLUMN_TYPE_INT64: {
            // Row ids and other wide integers; emitted later under the unsigned type.
            long long llValue = 0;
            cursor->GetInt64(iColumn, llValue);
            sValue = std::to_string(llValue);
            iValueType = JSON_VALUE_UINT;
            break;
        }
        case ISQLiteCursor::COLUMN_TYPE_DOUBLE: {
            double dValue = 0.0;
            cursor->GetDouble(iColumn, dValue);
            std::ostringstream stream;
            stream << dValue;
            sValue = stream.str();
            iValueType = JSON_VALUE_DOUBLE;
            break;
        }
        case ISQLiteCursor::COLUMN_TYPE_TEXT: {
            sValue.clear();
            cursor->GetString(iColumn, sValue);
            iValueType = JSON_VALUE_STRING;
            break;
        }
        default:
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
