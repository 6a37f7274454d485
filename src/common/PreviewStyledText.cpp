#include "PreviewStyledText.h"

#include <json/json.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <vector>

namespace PreviewStyledText {

namespace {
// The writer's indentation step and the margin past which an array no longer fits on one line.
constexpr const char* kIndentStep = "   ";
constexpr size_t kRightMargin = 74;

// Bytes that a text holds as they are: printable ASCII other than the quote and the backslash.
struct PT_PLAIN_BYTES {
    bool aPlain[256] = {};
    constexpr PT_PLAIN_BYTES()
    {
        for (int c = 0x20; c < 0x7f; ++c) aPlain[c] = c != '"' && c != '\\';
    }
};
constexpr PT_PLAIN_BYTES kPlain;

bool IsPlain(char c)
{
    return kPlain.aPlain[static_cast<unsigned char>(c)];
}
}  // namespace

void CStyledText::WriteIndent()
{
    // As the library's writer does: a token after an indentation or " : " stays on its line.
    if (!m_sText.empty()) {
        const char cLast = m_sText.back();
        if (cLast == ' ') return;
        if (cLast != '\n') m_sText += '\n';
    }
    m_sText += m_sIndent;
}

void CStyledText::OpenObject()
{
    WriteIndent();
    m_sText += '{';
    m_sIndent += kIndentStep;
}

void CStyledText::CloseObject()
{
    m_sIndent.resize(m_sIndent.size() - std::strlen(kIndentStep));
    WriteIndent();
    m_sText += '}';
}

void CStyledText::EmptyObject()
{
    m_sText += "{}";
}

void CStyledText::Member(const std::string& sName)
{
    WriteIndent();
    AppendQuoted(sName.c_str());
    m_sText += " : ";
}

void CStyledText::Separator()
{
    m_sText += ',';
}

void CStyledText::Scalar(const PT_SCALAR& scalar)
{
    switch (scalar.eKind) {
        case PT_SCALAR::KIND_BOOL:
            m_sText += scalar.bValue ? "true" : "false";
            break;
        case PT_SCALAR::KIND_INT: {
            char sDigits[16];
            const std::to_chars_result result = std::to_chars(sDigits, sDigits + sizeof sDigits, scalar.iValue);
            m_sText.append(sDigits, result.ptr);
            break;
        }
        case PT_SCALAR::KIND_DOUBLE:
            // Rare in a preview; the library's own formatting keeps its digits and special values.
            m_sText += Json::valueToString(scalar.dValue);
            break;
        case PT_SCALAR::KIND_STRING: {
            const std::string& sText = *scalar.pText;
            if (sText.find('\0') == std::string::npos) {
                AppendQuoted(sText.c_str());
            } else {
                // The library's quoting of a C text would stop at the NUL; its writer escapes it.
                // Such a text cannot come from the store, so the library writes it whole.
                std::string sQuoted = Json::StyledWriter().write(Json::Value(sText));
                sQuoted.pop_back();
                m_sText += sQuoted;
            }
            break;
        }
    }
}

void CStyledText::OpenArray()
{
    WriteIndent();
    m_sText += '[';
    m_sIndent += kIndentStep;
}

void CStyledText::Element()
{
    WriteIndent();
}

void CStyledText::CloseArray()
{
    m_sIndent.resize(m_sIndent.size() - std::strlen(kIndentStep));
    WriteIndent();
    m_sText += ']';
}

void CStyledText::EmptyObjectsOnOneLine(size_t uCount)
{
    m_sText += "[ ";
    for (size_t i = 0; i < uCount; ++i) {
        if (i > 0) m_sText += ", ";
        m_sText += "{}";
    }
    m_sText += " ]";
}

bool CStyledText::FitsOnOneLine(size_t uCount, bool bAllEmpty)
{
    if (uCount == 0 || !bAllEmpty || uCount * 3 >= kRightMargin) return false;
    // "[ ", ", " between the elements, " ]", and "{}" per element.
    const size_t uLineLength = 4 + (uCount - 1) * 2 + uCount * 2;
    return uLineLength < kRightMargin;
}

bool CStyledText::HasComment(const Json::Value& value)
{
    return value.hasComment(Json::commentBefore) || value.hasComment(Json::commentAfterOnSameLine) ||
           value.hasComment(Json::commentAfter);
}

bool CStyledText::Value(const Json::Value& value)
{
    return WriteValue(value);
}

void CStyledText::AppendQuotedRange(const char* pBegin, const char* pEnd)
{
    const char* p = pBegin;
    while (p != pEnd && IsPlain(*p)) ++p;
    if (p == pEnd) {
        m_sText += '"';
        m_sText.append(pBegin, static_cast<size_t>(pEnd - pBegin));
        m_sText += '"';
        return;
    }
    const std::string sText(pBegin, pEnd);
    PT_SCALAR scalar;
    scalar.pText = &sText;
    Scalar(scalar);
}

std::string CStyledText::ScalarText(const Json::Value& value)
{
    switch (value.type()) {
        case Json::stringValue: {
            CStyledText text;
            const char* pBegin = nullptr;
            const char* pEnd = nullptr;
            if (value.getString(&pBegin, &pEnd)) text.AppendQuotedRange(pBegin, pEnd);
            return std::move(text.m_sText);
        }
        case Json::intValue:
            return Json::valueToString(value.asLargestInt());
        case Json::uintValue:
            return Json::valueToString(value.asLargestUInt());
        case Json::realValue:
            return Json::valueToString(value.asDouble());
        case Json::booleanValue:
            return value.asBool() ? "true" : "false";
        default:
            return "null";
    }
}

bool CStyledText::WriteValue(const Json::Value& value)
{
    if (HasComment(value)) return false;
    switch (value.type()) {
        case Json::arrayValue:
            return WriteArray(value);
        case Json::objectValue: {
            if (value.empty()) {
                EmptyObject();
                return true;
            }
            OpenObject();
            bool bFirst = true;
            for (auto it = value.begin(); it != value.end(); ++it) {
                if (!bFirst) Separator();
                bFirst = false;
                // The writer writes a name up to its first NUL.
                const char* pEnd = nullptr;
                const char* pBegin = it.memberName(&pEnd);
                if (pBegin == nullptr) return false;
                WriteIndent();
                AppendQuotedRange(pBegin, std::find(pBegin, pEnd, '\0'));
                m_sText += " : ";
                if (!WriteValue(*it)) return false;
            }
            CloseObject();
            return true;
        }
        case Json::stringValue: {
            const char* pBegin = nullptr;
            const char* pEnd = nullptr;
            if (value.getString(&pBegin, &pEnd)) AppendQuotedRange(pBegin, pEnd);
            return true;
        }
        default:
            m_sText += ScalarText(value);
            return true;
    }
}

bool CStyledText::WriteArray(const Json::Value& array)
{
    const Json::ArrayIndex uSize = array.size();
    if (uSize == 0) {
        m_sText += "[]";
        return true;
    }
    // One line when it holds no non-empty array or object and, written so, stays under the
    // margin; the elements are written once to measure them.
    bool bMultiLine = uSize * 3 >= kRightMargin;
    for (auto it = array.begin(); it != array.end() && !bMultiLine; ++it) {
        bMultiLine = (it->isArray() || it->isObject()) && !it->empty();
    }
    if (!bMultiLine) {
        std::vector<std::string> vecLine;
        vecLine.reserve(uSize);
        size_t uLength = 4 + (uSize - 1) * 2;
        for (const Json::Value& child : array) {
            if (HasComment(child)) return false;
            vecLine.push_back(child.isArray() ? "[]" : child.isObject() ? "{}" : ScalarText(child));
            uLength += vecLine.back().size();
        }
        if (uLength < kRightMargin) {
            m_sText += "[ ";
            for (size_t i = 0; i < vecLine.size(); ++i) {
                if (i > 0) m_sText += ", ";
                m_sText += vecLine[i];
            }
            m_sText += " ]";
            return true;
        }
    }
    OpenArray();
    bool bFirst = true;
    for (const Json::Value& child : array) {
        if (!bFirst) Separator();
        bFirst = false;
        Element();
        if (!WriteValue(child)) return false;
    }
    CloseArray();
    return true;
}

std::string CStyledText::Finish()
{
    m_sText += '\n';
    return std::move(m_sText);
}

void CStyledText::AppendQuoted(const char* sText)
{
    // Printable ASCII other than the quote and the backslash needs no escape: nearly every
    // stored text is copied between quotes as it is. Any other text gets the library's quoting.
    const char* p = sText;
    while (IsPlain(*p)) ++p;
    if (*p == '\0') {
        m_sText += '"';
        m_sText.append(sText, static_cast<size_t>(p - sText));
        m_sText += '"';
        return;
    }
    m_sText += Json::valueToQuotedString(sText);
}

std::string Write(const Json::Value& root)
{
    CStyledText text;
    if (text.Value(root)) return text.Finish();
    // Written partly before the comment was met; the library writes the whole tree again.
    return Json::StyledWriter().write(root);
}

}  // namespace PreviewStyledText
