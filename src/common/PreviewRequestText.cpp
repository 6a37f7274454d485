// The row and bulk documents of a publish, written in the JSON library's default stream layout
// without going through its stream writer.
//
// A publish of 200 tiles writes every tile into a bulk document, and the library's stream
// writer spent more on that than the rest of the synchronisation (a stream operation per token,
// a settings lookup per value). Those documents hold only objects, arrays and strings, so this
// writer lays out exactly those, token for token as the library's writer does, and quotes
// strings with the library's own quoting. Anything else (numbers, booleans, null, a string with
// a NUL byte) goes to the library's writer for the whole document, so the text never differs.
#include "PreviewRequestText.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "JsonQuoting.h"
#include "TextBuffer.h"

namespace {

class CDocumentText {
public:
    explicit CDocumentText(std::string& sOut) : m_sOut(sOut) {}

    // False when the document holds a value this writer leaves to the library.
    bool Write(const Json::Value& root)
    {
        m_bIndented = true;
        return WriteValue(root);
    }

private:
    void WriteIndent()
    {
        m_sOut += '\n';
        m_sOut += m_sIndent;
    }
    // A token that starts a line unless it follows the start of an array element.
    void WriteWithIndent(const char* sToken, size_t uLength)
    {
        if (!m_bIndented) WriteIndent();
        m_sOut.append(sToken, uLength);
        m_bIndented = false;
    }
    bool WriteValue(const Json::Value& value)
    {
        switch (value.type()) {
            case Json::stringValue: {
                const char* pBegin = nullptr;
                const char* pEnd = nullptr;
                return value.getString(&pBegin, &pEnd) && JsonQuoting::AppendQuoted(pBegin, pEnd, m_sOut);
            }
            case Json::arrayValue: {
                const Json::ArrayIndex uSize = value.size();
                if (uSize == 0) {
                    m_sOut += "[]";
                    return true;
                }
                WriteWithIndent("[", 1);
                m_sIndent += '\t';
                for (Json::ArrayIndex i = 0; i < uSize; ++i) {
                    if (!m_bIndented) WriteIndent();
                    m_bIndented = true;
                    if (!WriteValue(value[i])) return false;
                    m_bIndented = false;
                    if (i + 1 < uSize) m_sOut += ',';
                }
                m_sIndent.pop_back();
                WriteWithIndent("]", 1);
                return true;
            }
            case Json::objectValue: {
                if (value.empty()) {
                    m_sOut += "{}";
                    return true;
                }
                WriteWithIndent("{", 1);
                m_sIndent += '\t';
                for (auto it = value.begin(); it != value.end();) {
                    const char* pEnd = nullptr;
                    const char* pBegin = it.memberName(&pEnd);
                    if (pBegin == nullptr) return false;
                    if (!m_bIndented) WriteIndent();
                    if (!JsonQuoting::AppendQuoted(pBegin, pEnd, m_sOut)) return false;
                    m_bIndented = false;
                    m_sOut += " : ";
                    if (!WriteValue(*it)) return false;
                    if (++it != value.end()) m_sOut += ',';
                }
                m_sIndent.pop_back();
                WriteWithIndent("}", 1);
                return true;
            }
            default:
                return false;
        }
    }

    std::string& m_sOut;
    std::string m_sIndent;
    bool m_bIndented = true;
};

}  // namespace

namespace PreviewRequestText {

std::string WriteDocument(const Json::Value& document)
{
    std::string sText;
    if (CDocumentText(sText).Write(document)) return sText;
    // The default settings, built once: filling them in cost as much as writing a small row.
    // Only read after its construction, so concurrent writers may share it.
    static const Json::StreamWriterBuilder kBuilder;
    return Json::writeString(kBuilder, document);
}

}  // namespace PreviewRequestText

namespace PreviewRequestText {

std::string IntegerText(const std::string& sValue)
{
    // The 64-bit conversion on every target: where long has 32 bits, strtol would clamp a
    // display time after 2038 (or any id past 2147483647) to 2147483647.
    const long long llValue = std::strtoll(sValue.c_str(), nullptr, 10);
    std::string sResult = std::to_string(llValue);
    if (sResult.empty()) sResult = "0";
    return sResult;
}

void CRowsDocument::BeginRow()
{
    m_vecRowStart.push_back(m_vecCell.size());
}

void CRowsDocument::Set(std::string_view sName, std::string_view sValue)
{
    if (m_vecRowStart.empty()) BeginRow();
    const auto itBegin = m_vecCell.begin() + static_cast<std::ptrdiff_t>(m_vecRowStart.back());
    // Rows are mostly filled in name order, so the common case appends.
    if (itBegin == m_vecCell.end() || m_vecCell.back().sName < sName) {
        m_vecCell.push_back(PT_CELL{sName, sValue});
        return;
    }
    const auto it = std::lower_bound(itBegin, m_vecCell.end(), sName,
                                     [](const PT_CELL& cell, std::string_view sKey) { return cell.sName < sKey; });
    if (it != m_vecCell.end() && it->sName == sName) {
        it->sValue = sValue;
    } else {
        m_vecCell.insert(it, PT_CELL{sName, sValue});
    }
}

void CRowsDocument::SetOwned(std::string_view sName, std::string sValue)
{
    m_dequeOwned.push_back(std::move(sValue));
    Set(sName, m_dequeOwned.back());
}

size_t CRowsDocument::LastRowSize() const
{
    return m_vecRowStart.empty() ? 0 : m_vecCell.size() - m_vecRowStart.back();
}

void CRowsDocument::CopyLastRow(Json::Value& row) const
{
    if (m_vecRowStart.empty()) return;
    for (size_t i = m_vecRowStart.back(); i < m_vecCell.size(); ++i) {
        const PT_CELL& cell = m_vecCell[i];
        row[std::string(cell.sName)] = std::string(cell.sValue);
    }
}

Json::Value CRowsDocument::ToJson(std::string_view sTable) const
{
    Json::Value document;
    document["table_name"] = std::string(sTable);
    for (size_t iRow = 0; iRow < m_vecRowStart.size(); ++iRow) {
        const size_t uEnd = iRow + 1 < m_vecRowStart.size() ? m_vecRowStart[iRow + 1] : m_vecCell.size();
        Json::Value row(Json::objectValue);
        for (size_t i = m_vecRowStart[iRow]; i < uEnd; ++i) {
            row[std::string(m_vecCell[i].sName)] = std::string(m_vecCell[i].sValue);
        }
        document["arrayitem"].append(std::move(row));
    }
    return document;
}

std::string CRowsDocument::Write(std::string_view sTable) const
{
    const auto Quote = [](std::string_view sText, CTextBuffer& sOut) {
        return JsonQuoting::AppendQuoted(sText.data(), sText.data() + sText.size(), sOut);
    };
    size_t uReserve = 48 + sTable.size() + 8 * m_vecRowStart.size();
    for (const PT_CELL& cell : m_vecCell) uReserve += cell.sName.size() + cell.sValue.size() + 12;
    CTextBuffer sOut;
    sOut.reserve(uReserve);
    bool bWritten = true;
    if (m_vecRowStart.empty()) {
        sOut += "{\n\t\"table_name\" : ";
    } else {
        sOut += "{\n\t\"arrayitem\" : \n\t[";
        for (size_t iRow = 0; iRow < m_vecRowStart.size() && bWritten; ++iRow) {
            const size_t uBegin = m_vecRowStart[iRow];
            const size_t uEnd = iRow + 1 < m_vecRowStart.size() ? m_vecRowStart[iRow + 1] : m_vecCell.size();
            if (uBegin == uEnd) {
                sOut += "\n\t\t{}";
            } else {
                sOut += "\n\t\t{";
                for (size_t i = uBegin; i < uEnd && bWritten; ++i) {
                    sOut += "\n\t\t\t";
                    bWritten = Quote(m_vecCell[i].sName, sOut);
                    sOut += " : ";
                    bWritten = bWritten && Quote(m_vecCell[i].sValue, sOut);
                    if (i + 1 < uEnd) sOut += ',';
                }
                sOut += "\n\t\t}";
            }
            if (iRow + 1 < m_vecRowStart.size()) sOut += ',';
        }
        sOut += "\n\t],\n\t\"table_name\" : ";
    }
    bWritten = bWritten && Quote(sTable, sOut);
    sOut += "\n}";
    // A text with a NUL byte: the library's writer makes the whole document.
    if (!bWritten) return WriteDocument(ToJson(sTable));
    return sOut.Take();
}

}  // namespace PreviewRequestText
