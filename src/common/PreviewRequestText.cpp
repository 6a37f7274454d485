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

#include <cstring>

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
    // Appends the quoted text. Printable ASCII other than the quote and the backslash needs no
    // escape, so such a text (nearly all of them) is copied between quotes as it is; any other
    // text goes through the library's own quoting.
    static bool AppendQuoted(const char* pBegin, const char* pEnd, std::string& sOut)
    {
        const char* p = pBegin;
        while (p != pEnd && *p >= 0x20 && *p < 0x7f && *p != '"' && *p != '\\') ++p;
        if (p == pEnd) {
            sOut += '"';
            sOut.append(pBegin, static_cast<size_t>(pEnd - pBegin));
            sOut += '"';
            return true;
        }
        // The library's quoting takes a NUL-terminated text; a NUL inside would cut it short.
        const size_t uLength = static_cast<size_t>(pEnd - pBegin);
        if (std::memchr(pBegin, '\0', uLength) != nullptr) return false;
        sOut += Json::valueToQuotedString(std::string(pBegin, uLength).c_str());
        return true;
    }

    bool WriteValue(const Json::Value& value)
    {
        switch (value.type()) {
        case Json::stringValue: {
            const char* pBegin = nullptr;
            const char* pEnd = nullptr;
            return value.getString(&pBegin, &pEnd) && AppendQuoted(pBegin, pEnd, m_sOut);
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
                if (!AppendQuoted(pBegin, pEnd, m_sOut)) return false;
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
