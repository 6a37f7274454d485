#include "PreviewStyledText.h"

#include <json/json.h>

#include <charconv>
#include <cstring>
#include <vector>

namespace PreviewStyledText {

namespace {
// The writer's indentation step and the margin past which an array no longer fits on one line.
constexpr const char* kIndentStep = "   ";
constexpr size_t kRightMargin = 74;
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

bool CStyledText::HasComments(const Json::Value& value)
{
    for (const Json::CommentPlacement placement :
         {Json::commentBefore, Json::commentAfterOnSameLine, Json::commentAfter}) {
        if (value.hasComment(placement)) return true;
    }
    if (value.isArray() || value.isObject()) {
        for (const Json::Value& child : value) {
            if (HasComments(child)) return true;
        }
    }
    return false;
}

bool CStyledText::Value(const Json::Value& value)
{
    if (HasComments(value)) return false;
    WriteValue(value);
    return true;
}

std::string CStyledText::ScalarText(const Json::Value& value)
{
    switch (value.type()) {
        case Json::stringValue: {
            CStyledText text;
            PT_SCALAR scalar;
            const std::string sText = value.asString();
            scalar.pText = &sText;
            text.Scalar(scalar);
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

void CStyledText::WriteValue(const Json::Value& value)
{
    switch (value.type()) {
        case Json::arrayValue:
            WriteArray(value);
            return;
        case Json::objectValue: {
            if (value.empty()) {
                EmptyObject();
                return;
            }
            OpenObject();
            bool bFirst = true;
            for (auto it = value.begin(); it != value.end(); ++it) {
                if (!bFirst) Separator();
                bFirst = false;
                Member(it.name());
                WriteValue(*it);
            }
            CloseObject();
            return;
        }
        case Json::stringValue: {
            const char* pBegin = nullptr;
            const char* pEnd = nullptr;
            if (!value.getString(&pBegin, &pEnd)) return;
            const std::string sText(pBegin, pEnd);
            PT_SCALAR scalar;
            scalar.pText = &sText;
            Scalar(scalar);
            return;
        }
        default:
            m_sText += ScalarText(value);
            return;
    }
}

void CStyledText::WriteArray(const Json::Value& array)
{
    const Json::ArrayIndex uSize = array.size();
    if (uSize == 0) {
        m_sText += "[]";
        return;
    }
    // One line when it holds no non-empty array or object and, written so, stays under the
    // margin; the elements are written once to measure them.
    bool bMultiLine = uSize * 3 >= kRightMargin;
    for (Json::ArrayIndex i = 0; i < uSize && !bMultiLine; ++i) {
        const Json::Value& child = array[i];
        bMultiLine = (child.isArray() || child.isObject()) && !child.empty();
    }
    std::vector<std::string> vecLine;
    if (!bMultiLine) {
        size_t uLength = 4 + (uSize - 1) * 2;
        vecLine.reserve(uSize);
        for (Json::ArrayIndex i = 0; i < uSize; ++i) {
            const Json::Value& child = array[i];
            vecLine.push_back(child.isArray() ? "[]" : child.isObject() ? "{}" : ScalarText(child));
            uLength += vecLine.back().size();
        }
        bMultiLine = uLength >= kRightMargin;
    }
    if (!bMultiLine) {
        m_sText += "[ ";
        for (size_t i = 0; i < vecLine.size(); ++i) {
            if (i > 0) m_sText += ", ";
            m_sText += vecLine[i];
        }
        m_sText += " ]";
        return;
    }
    OpenArray();
    for (Json::ArrayIndex i = 0; i < uSize; ++i) {
        if (i > 0) Separator();
        Element();
        WriteValue(array[i]);
    }
    CloseArray();
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
    while (*p >= 0x20 && *p < 0x7f && *p != '"' && *p != '\\') ++p;
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
    return Json::StyledWriter().write(root);
}

}  // namespace PreviewStyledText
