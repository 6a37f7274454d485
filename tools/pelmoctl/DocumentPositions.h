// Where things are in a document's text: byte offsets turned into lines and columns, and the
// JSON paths by which findings name a value (sections[2].tiles[5].tile_title).
#pragma once

#include <json/json.h>

#include <cstddef>
#include <string>
#include <vector>

struct PT_TEXT_POSITION {
    int iLine = 0;    // 1-based; 0 when the text gives no position
    int iColumn = 0;  // 1-based, in bytes
};

class CDocumentPositions {
public:
    explicit CDocumentPositions(const std::string& sText);

    // The line and column of a byte offset into the text; offsets past the end map to the end.
    PT_TEXT_POSITION PositionOf(ptrdiff_t iOffset) const;
    // The line on which a parsed value starts, or 0 when the value carries no offset (values
    // that the reader did not produce, such as the null of a missing member).
    int LineOf(const Json::Value& value) const;

private:
    size_t m_iTextSize;
    std::vector<size_t> m_vecLineStart;  // offset of the first byte of every line
};

// JSON paths: member names that look like identifiers are joined with a dot, any other name is
// written as a quoted JSON string in brackets, array elements as [index]. The root is "$".
std::string JsonPathRoot();
std::string JsonPathMember(const std::string& sParent, const std::string& sName);
std::string JsonPathIndex(const std::string& sParent, size_t iIndex);
// A text as a JSON string literal with control bytes escaped, so that it stays on one line, and
// bytes that are not UTF-8 written as \ufffd, so that it stays text.
std::string JsonQuoted(const std::string& sText);
