// The styled layout, step for step as the JSON library's styled writer makes it: three-space
// indents, " : " after a name, members in byte order, an array on one line ("[ a, b ]") unless
// it holds a non-empty container, has 25 elements or more, or would make a line of 74 characters
// or more, and a line feed at the end. Envelopes hold only objects, arrays and texts; a value
// of any other kind, a comment, or a text with a NUL byte leaves the whole value to the
// library's writer, so the text never differs.
#include "RequestEnvelopeText.h"

#include <vector>

#include "PreviewRequestText.h"

namespace {

constexpr unsigned kRightMargin = 74;
constexpr size_t kIndentSize = 3;

class CStyledText {
public:
    // False when the value holds something this writer leaves to the library.
    bool Write(const Json::Value& root, std::string& sOut)
    {
        m_pOut = &sOut;
        if (!WriteValue(root)) return false;
        sOut += '\n';
        return true;
    }

private:
    static bool HasComment(const Json::Value& value)
    {
        return value.hasComment(Json::commentBefore) || value.hasComment(Json::commentAfterOnSameLine) ||
               value.hasComment(Json::commentAfter);
    }

    void WriteIndent()
    {
        std::string& sOut = *m_pOut;
        if (!sOut.empty()) {
            const char cLast = sOut.back();
            if (cLast == ' ') return;  // already indented
            if (cLast != '\n') sOut += '\n';
        }
        sOut += m_sIndent;
    }

    bool WriteValue(const Json::Value& value)
    {
        if (HasComment(value)) return false;
        switch (value.type()) {
            case Json::stringValue: {
                const char* pBegin = nullptr;
                const char* pEnd = nullptr;
                if (!value.getString(&pBegin, &pEnd)) return false;
                return PreviewRequestText::AppendQuoted(pBegin, pEnd, *m_pOut);
            }
            case Json::arrayValue:
                return WriteArray(value);
            case Json::objectValue: {
                if (value.empty()) {
                    *m_pOut += "{}";
                    return true;
                }
                WriteIndent();
                *m_pOut += '{';
                m_sIndent.append(kIndentSize, ' ');
                for (auto it = value.begin(); it != value.end();) {
                    const char* pEnd = nullptr;
                    const char* pBegin = it.memberName(&pEnd);
                    if (pBegin == nullptr) return false;
                    WriteIndent();
                    if (!PreviewRequestText::AppendQuoted(pBegin, pEnd, *m_pOut)) return false;
                    *m_pOut += " : ";
                    if (!WriteValue(*it)) return false;
                    if (++it != value.end()) *m_pOut += ',';
                }
                m_sIndent.resize(m_sIndent.size() - kIndentSize);
                WriteIndent();
                *m_pOut += '}';
                return true;
            }
            default:
                return false;
        }
    }

    bool WriteArray(const Json::Value& value)
    {
        const Json::ArrayIndex uSize = value.size();
        if (uSize == 0) {
            *m_pOut += "[]";
            return true;
        }
        bool bMultiLine = uSize * 3 >= kRightMargin;
        for (Json::ArrayIndex i = 0; i < uSize && !bMultiLine; ++i) {
            const Json::Value& child = value[i];
            bMultiLine = (child.isArray() || child.isObject()) && !child.empty();
        }
        // Every element is then a text or an empty container: each is written on its own first,
        // and together they decide whether the array fits on one line.
        std::vector<std::string> vecChild;
        if (!bMultiLine) {
            vecChild.reserve(uSize);
            unsigned uLineLength = 4 + (uSize - 1) * 2;  // "[ " + ", " between + " ]"
            std::string* pOut = m_pOut;
            for (Json::ArrayIndex i = 0; i < uSize; ++i) {
                vecChild.emplace_back();
                m_pOut = &vecChild.back();
                const bool bWritten = WriteValue(value[i]);
                m_pOut = pOut;
                if (!bWritten) return false;
                uLineLength += static_cast<unsigned>(vecChild.back().size());
            }
            bMultiLine = uLineLength >= kRightMargin;
            if (!bMultiLine) {
                *m_pOut += "[ ";
                for (Json::ArrayIndex i = 0; i < uSize; ++i) {
                    if (i > 0) *m_pOut += ", ";
                    *m_pOut += vecChild[i];
                }
                *m_pOut += " ]";
                return true;
            }
        }
        WriteIndent();
        *m_pOut += '[';
        m_sIndent.append(kIndentSize, ' ');
        for (Json::ArrayIndex i = 0; i < uSize; ++i) {
            WriteIndent();
            if (!vecChild.empty()) {
                *m_pOut += vecChild[i];
            } else if (!WriteValue(value[i])) {
                return false;
            }
            if (i + 1 < uSize) *m_pOut += ',';
        }
        m_sIndent.resize(m_sIndent.size() - kIndentSize);
        WriteIndent();
        *m_pOut += ']';
        return true;
    }

    std::string* m_pOut = nullptr;
    std::string m_sIndent;
};

}  // namespace

namespace RequestEnvelopeText {

std::string WriteStyled(const Json::Value& value)
{
    std::string sText;
    if (CStyledText().Write(value, sText)) return sText;
    Json::StyledWriter writer;
    return writer.write(value);
}

}  // namespace RequestEnvelopeText
