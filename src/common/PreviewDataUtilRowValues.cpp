// Copying a stored row into the model: the one place where store values enter a property map.
#include <pelmo/ISQLiteCursor.h>

#include <sstream>

#include "PelmoLog.h"
#include "PreviewDataUtil.h"

void CPreviewDataUtil::GetItemValues(std::shared_ptr<ISQLiteCursor> cursor, int iColumnCount,
                                     PropertyMap& mapProperty)
{
    if (iColumnCount < 1) return;
    // One stream for the whole row, emptied for every column: building a stream costs more than
    // the value it formats, and a row of tiles has close to thirty columns. Nothing here changes
    // the stream's formatting, so each column still starts from the default format.
    std::ostringstream stream;
    for (int iColumn = 0; iColumn < iColumnCount; ++iColumn) {
        stream.str(std::string());
        stream.clear();
        int iValueType;
        // The getters leave their output untouched on failure, so every output starts empty.
        switch (cursor->GetColumnType(iColumn)) {
        case ISQLiteCursor::COLUMN_TYPE_INT: {
            int iValue = 0;
            cursor->GetInt(iColumn, iValue);
            stream << iValue;
            iValueType = JSON_VALUE_INT;
            break;
        }
        case ISQLiteCursor::COLUMN_TYPE_INT64: {
            // Row ids and other wide integers; emitted later under the unsigned type.
            long long llValue = 0;
            cursor->GetInt64(iColumn, llValue);
            stream << llValue;
            iValueType = JSON_VALUE_UINT;
            break;
        }
        case ISQLiteCursor::COLUMN_TYPE_DOUBLE: {
            double dValue = 0.0;
            cursor->GetDouble(iColumn, dValue);
            stream << dValue;
            iValueType = JSON_VALUE_DOUBLE;
            break;
        }
        case ISQLiteCursor::COLUMN_TYPE_TEXT: {
            std::string sValue;
            cursor->GetString(iColumn, sValue);
            stream << sValue;
            iValueType = JSON_VALUE_STRING;
            break;
        }
        default:
            // The accelerator loader asks for one column more than it selected ("expires" is in
            // its map but is no column); that index lands here, which is why this is not an error.
            PELMO_LOGD("ERROR, Invalid Column Type.");
            continue;
        }
        mapProperty[cursor->GetColumnName(iColumn)].first = iValueType;
        mapProperty[cursor->GetColumnName(iColumn)].second = stream.str();
        const std::string sName = cursor->GetColumnName(iColumn);
        PELMO_LOGD("ColumnName : %s, key : %d, value : %s", sName.c_str(), iValueType,
                   mapProperty[sName].second.c_str());
    }
}
