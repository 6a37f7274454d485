#include "PreviewStyledText.h"

#include <json/json.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <vector>

#include "JsonQuoting.h"

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
    AppendQuotedRange(sName.data(), sName.data() + sName.size(), true);
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
            AppendQuotedRange(sText.data(), sText.data() + sText.size(), false);
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

void CStyledText::AppendQuotedRange(const char* pBegin, const char* pEnd, bool bName)
{
    if (JsonQuoting::AppendQuoted(pBegin, pEnd, m_sText)) return;
    // A text with a NUL. The writer writes a name up to its first NUL, and a value whole: the
    // library's quoting of a C text would stop at the NUL, where its writer escapes it. Such a
    // value cannot come from the store, so the library's writer writes it.
    if (bName) {
        JsonQuoting::AppendQuoted(pBegin, std::find(pBegin, pEnd, '\0'), m_sText);
        return;
    }
    std::string sQuoted = Json::StyledWriter().write(Json::Value(pBegin, pEnd));
    sQuoted.pop_back();
    m_sText += sQuoted;
}

std::string CStyledText::ScalarText(const Json::Value& value)
{
    switch (value.type()) {
        case Json::stringValue: {
            CStyledText text;
            const char* pBegin = nullptr;
            const char* pEnd = nullptr;
            if (value.getString(&pBegin, &pEnd)) text.AppendQuotedRange(pBegin, pEnd, false);
            return text.m_sText.Take();
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
                AppendQuotedRange(pBegin, pEnd, true);
                m_sText += " : ";
                if (!WriteValue(*it)) return false;
            }
            CloseObject();
            return true;
        }
        case Json::stringValue: {
            const char* pBegin = nullptr;
            const char* pEnd = nullptr;
            if (value.getString(&pBegin, &pEnd)) AppendQuotedRange(pBegin, pEnd, false);
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
    return m_sText.Take();
}

std::string Write(const Json::Value& root)
{
    CStyledText text;
    if (text.Value(root)) return text.Finish();
    // Written partly before the comment was met; the library writes the whole tree again.
    return Json::StyledWriter().write(root);
}

}  // namespace PreviewStyledText
