// The read-back text in the JSON library's styled layout, written straight from the preview
// model instead of through a value tree and the library's styled writer, which cost four times
// as much for a 200-tile preview. The layout is the styled writer's, token for token: three
// spaces per level, " : " between name and value, members in byte order, an array of objects on
// several lines unless all its objects are empty and the line stays short, a line feed at the end.
#pragma once

#include <json/json.h>

#include <string>

#include "TextBuffer.h"

namespace PreviewStyledText {

// One member value that is not an object or array: what a stored property becomes.
struct PT_SCALAR {
    enum EKind { KIND_BOOL, KIND_INT, KIND_DOUBLE, KIND_STRING };
    EKind eKind = KIND_STRING;
    bool bValue = false;
    int iValue = 0;
    double dValue = 0.0;
    const std::string* pText = nullptr;  // KIND_STRING: the text, owned by the caller
};

// Appends tokens to one text, keeping the styled writer's indentation state.
class CStyledText {
public:
    // An object with members: the opening brace; each member then starts with Member().
    void OpenObject();
    void CloseObject();
    // An object without members.
    void EmptyObject();
    // The member's name (up to its first NUL, as the library writes names) and " : ".
    void Member(const std::string& sName);
    // Between two members or two array elements.
    void Separator();
    void Scalar(const PT_SCALAR& scalar);
    // An array of objects laid out on several lines: open, then per element Element() and the
    // object, then close.
    void OpenArray();
    void Element();
    void CloseArray();
    // An array of iCount empty objects on one line.
    void EmptyObjectsOnOneLine(size_t uCount);
    // Whether an array of uCount objects goes on one line: only if all of them are empty and the
    // line stays under the writer's margin.
    static bool FitsOnOneLine(size_t uCount, bool bAllEmpty);
    // Any value tree without comments, as the library's styled writer lays it out; false for a
    // tree with comments, which this writer leaves to the library (the text is then unusable).
    bool Value(const Json::Value& value);
    // The whole text, with the line feed the writer ends it with.
    std::string Finish();

private:
    void WriteIndent();
    static bool HasComment(const Json::Value& value);
    bool WriteValue(const Json::Value& value);
    bool WriteArray(const Json::Value& array);
    // The bytes quoted and escaped as the library quotes a value, or a name (up to its first NUL).
    void AppendQuotedRange(const char* pBegin, const char* pEnd, bool bName);
    // A value that is no array or object, as the writer writes it.
    static std::string ScalarText(const Json::Value& value);

    CTextBuffer m_sText;
    std::string m_sIndent;
};

// The styled writer's text of a value tree: written here when the tree has no comments,
// otherwise by the library's writer.
std::string Write(const Json::Value& root);

}  // namespace PreviewStyledText
