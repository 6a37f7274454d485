#include "WhereParser.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "QueryGrammar.h"

namespace {
bool IsWordStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool IsWordPart(char c)
{
    return IsWordStart(c) || (c >= '0' && c <= '9');
}

bool IsSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

bool IsKeyword(const std::string& sWord)
{
    for (const char* sKeyword : {"and", "or", "not", "is", "null", "in", "like"}) {
        if (strcasecmp(sWord.c_str(), sKeyword) == 0) return true;
    }
    return false;
}

std::unique_ptr<CWhereNode> MakeNode(CWhereNode::Kind eKind)
{
    auto pNode = std::make_unique<CWhereNode>();
    pNode->eKind = eKind;
    return pNode;
}
}  // namespace

bool CWhereParser::Fail(const std::string& sReason)
{
    if (m_sError.empty()) m_sError = sReason;
    return false;
}

std::string CWhereParser::Where() const
{
    const CWhereToken& token = Peek();
    if (token.eKind == CWhereToken::kEnd) return "at the end";
    return "at offset " + std::to_string(token.iOffset) + " ('" + CQueryGrammar::Excerpt(token.sText) + "')";
}

bool CWhereParser::Tokenize(const std::string& sWhere, std::string& sError)
{
    std::size_t i = 0;
    const std::size_t iSize = sWhere.size();
    while (i < iSize) {
        const char c = sWhere[i];
        if (IsSpace(c)) {
            ++i;
            continue;
        }
        CWhereToken token;
        token.iOffset = i;
        if (IsWordStart(c)) {
            std::size_t iEnd = i;
            while (iEnd < iSize && IsWordPart(sWhere[iEnd])) ++iEnd;
            token.eKind = CWhereToken::kWord;
            token.sText = sWhere.substr(i, iEnd - i);
            i = iEnd;
        } else if (c == '?') {
            if (i + 1 < iSize && (IsWordPart(sWhere[i + 1]))) {
                sError = "where: numbered or named placeholders are not accepted (offset " + std::to_string(i) + ")";
                return false;
            }
            token.eKind = CWhereToken::kPlaceholder;
            token.sText = "?";
            ++i;
        } else if (c == '(' || c == ')' || c == ',') {
            token.eKind = c == '(' ? CWhereToken::kOpen : c == ')' ? CWhereToken::kClose : CWhereToken::kComma;
            token.sText = std::string(1, c);
            ++i;
        } else if (c == '=' || c == '!' || c == '<' || c == '>') {
            std::string sOp(1, c);
            if (i + 1 < iSize) {
                const char cNext = sWhere[i + 1];
                if ((c != '=' && cNext == '=') || (c == '=' && cNext == '=') || (c == '<' && cNext == '>')) {
                    sOp += cNext;
                }
            }
            if (sOp == "!") {
                sError = "where: unexpected '!' at offset " + std::to_string(i);
                return false;
            }
            token.eKind = CWhereToken::kOperator;
            token.sText = sOp;
            i += sOp.size();
        } else if ((c >= '0' && c <= '9') || c == '\'' || c == '"' || c == '.' || c == '-' || c == '+') {
            sError = "where: literal values are not accepted, use ? placeholders (offset " + std::to_string(i) + ")";
            return false;
        } else {
            const unsigned char uc = static_cast<unsigned char>(c);
            char sHex[8];
            std::snprintf(sHex, sizeof sHex, "0x%02x", uc);
            sError = "where: unexpected character " + (std::isprint(uc) ? "'" + std::string(1, c) + "'" : sHex) +
                     " at offset " + std::to_string(i);
            return false;
        }
        m_vecToken.push_back(std::move(token));
        if (m_vecToken.size() > 4 * QueryLimits::kMaxTerms + 16) {
            sError = "where: too many terms (limit " + std::to_string(QueryLimits::kMaxTerms) + ")";
            return false;
        }
    }
    CWhereToken end;
    end.iOffset = iSize;
    m_vecToken.push_back(end);
    return true;
}

bool CWhereParser::PeekKeyword(const char* sKeyword) const
{
    const CWhereToken& token = Peek();
    return token.eKind == CWhereToken::kWord && strcasecmp(token.sText.c_str(), sKeyword) == 0;
}

std::unique_ptr<CWhereNode> CWhereParser::Parse(const std::string& sWhere, std::size_t& iPlaceholders,
                                                std::string& sError)
{
    m_vecToken.clear();
    m_iPos = 0;
    m_iTerms = 0;
    m_iPlaceholders = 0;
    m_sError.clear();
    if (!Tokenize(sWhere, sError)) return nullptr;
    std::unique_ptr<CWhereNode> pRoot = ParseOr(0);
    if (pRoot && Peek().eKind != CWhereToken::kEnd) {
        if (Peek().eKind == CWhereToken::kClose) {
            Fail("where: unbalanced parentheses, ')' without '(' at offset " + std::to_string(Peek().iOffset));
        } else {
            Fail("where: expected AND, OR or the end " + Where());
        }
        pRoot.reset();
    }
    if (!pRoot) {
        sError = m_sError.empty() ? "where: not a condition" : m_sError;
        return nullptr;
    }
    iPlaceholders = m_iPlaceholders;
    return pRoot;
}

std::unique_ptr<CWhereNode> CWhereParser::ParseOr(std::size_t iDepth)
{
    return ParseChain(CWhereNode::kOr, "or", &CWhereParser::ParseAnd, iDepth);
}

std::unique_ptr<CWhereNode> CWhereParser::ParseAnd(std::size_t iDepth)
{
    return ParseChain(CWhereNode::kAnd, "and", &CWhereParser::ParseNot, iDepth);
}

std::unique_ptr<CWhereNode> CWhereParser::ParseChain(CWhereNode::Kind eKind, const char* sKeyword,
                                                     std::unique_ptr<CWhereNode> (CWhereParser::*pOperand)(std::size_t),
                                                     std::size_t iDepth)
{
    std::unique_ptr<CWhereNode> pFirst = (this->*pOperand)(iDepth);
    if (!pFirst || !PeekKeyword(sKeyword)) return pFirst;
    auto pNode = MakeNode(eKind);
    pNode->vecChild.push_back(std::move(pFirst));
    while (PeekKeyword(sKeyword)) {
        ++m_iPos;
        std::unique_ptr<CWhereNode> pNext = (this->*pOperand)(iDepth);
        if (!pNext) return nullptr;
        pNode->vecChild.push_back(std::move(pNext));
    }
    return pNode;
}

std::unique_ptr<CWhereNode> CWhereParser::ParseNot(std::size_t iDepth)
{
    if (!PeekKeyword("not")) return ParsePrimary(iDepth);
    if (iDepth + 1 > QueryLimits::kMaxDepth) {
        Fail("where: nested deeper than " + std::to_string(QueryLimits::kMaxDepth) + " levels");
        return nullptr;
    }
    ++m_iPos;
    std::unique_ptr<CWhereNode> pChild = ParseNot(iDepth + 1);
    if (!pChild) return nullptr;
    auto pNode = MakeNode(CWhereNode::kNot);
    pNode->vecChild.push_back(std::move(pChild));
    return pNode;
}

std::unique_ptr<CWhereNode> CWhereParser::ParsePrimary(std::size_t iDepth)
{
    if (Peek().eKind != CWhereToken::kOpen) return ParsePredicate();
    if (iDepth + 1 > QueryLimits::kMaxDepth) {
        Fail("where: nested deeper than " + std::to_string(QueryLimits::kMaxDepth) + " levels");
        return nullptr;
    }
    const std::size_t iOpenOffset = Peek().iOffset;
    ++m_iPos;
    std::unique_ptr<CWhereNode> pInner = ParseOr(iDepth + 1);
    if (!pInner) return nullptr;
    if (Peek().eKind != CWhereToken::kClose) {
        if (Peek().eKind == CWhereToken::kEnd) {
            Fail("where: unbalanced parentheses, '(' at offset " + std::to_string(iOpenOffset) + " is not closed");
        } else {
            Fail("where: expected ')' " + Where());
        }
        return nullptr;
    }
    ++m_iPos;
    return pInner;
}

bool CWhereParser::ExpectPlaceholder()
{
    if (Peek().eKind != CWhereToken::kPlaceholder) return Fail("where: expected ? " + Where());
    ++m_iPos;
    if (++m_iPlaceholders > QueryLimits::kMaxArgs) {
        return Fail("where: too many placeholders (limit " + std::to_string(QueryLimits::kMaxArgs) + ")");
    }
    return true;
}

std::string CWhereParser::LastPlaceholder() const
{
    // ?1 is the module's restriction; the client's placeholders follow in their own order.
    return "?" + std::to_string(m_iPlaceholders + 1);
}

std::unique_ptr<CWhereNode> CWhereParser::ParsePredicate()
{
    const CWhereToken& column = Peek();
    if (column.eKind != CWhereToken::kWord || IsKeyword(column.sText)) {
        Fail("where: expected a column name " + Where());
        return nullptr;
    }
    if (!m_table.HasColumn(column.sText)) {
        Fail("where: unknown column '" + CQueryGrammar::Excerpt(column.sText) + "' of table " + m_table.sName);
        return nullptr;
    }
    if (++m_iTerms > QueryLimits::kMaxTerms) {
        Fail("where: too many terms (limit " + std::to_string(QueryLimits::kMaxTerms) + ")");
        return nullptr;
    }
    std::string sSql = "\"" + column.sText + "\"";
    ++m_iPos;

    if (Peek().eKind == CWhereToken::kOperator) {
        const std::string sOp = Peek().sText;
        ++m_iPos;
        if (!ExpectPlaceholder()) return nullptr;
        sSql += " " + sOp + " " + LastPlaceholder();
    } else if (PeekKeyword("is")) {
        ++m_iPos;
        bool bNot = false;
        if (PeekKeyword("not")) {
            bNot = true;
            ++m_iPos;
        }
        if (!PeekKeyword("null")) {
            Fail("where: expected NULL after IS " + Where());
            return nullptr;
        }
        ++m_iPos;
        sSql += bNot ? " IS NOT NULL" : " IS NULL";
    } else {
        bool bNot = false;
        if (PeekKeyword("not")) {
            bNot = true;
            ++m_iPos;
        }
        if (PeekKeyword("like")) {
            ++m_iPos;
            if (!ExpectPlaceholder()) return nullptr;
            sSql += (bNot ? " NOT LIKE " : " LIKE ") + LastPlaceholder();
        } else if (PeekKeyword("in")) {
            ++m_iPos;
            if (Peek().eKind != CWhereToken::kOpen) {
                Fail("where: expected '(' after IN " + Where());
                return nullptr;
            }
            ++m_iPos;
            sSql += bNot ? " NOT IN (" : " IN (";
            for (bool bFirst = true;; bFirst = false) {
                if (!ExpectPlaceholder()) return nullptr;
                sSql += (bFirst ? "" : ", ") + LastPlaceholder();
                if (Peek().eKind == CWhereToken::kComma) {
                    ++m_iPos;
                    continue;
                }
                if (Peek().eKind == CWhereToken::kClose) {
                    ++m_iPos;
                    break;
                }
                Fail("where: expected ',' or ')' in IN list " + Where());
                return nullptr;
            }
            sSql += ")";
        } else {
            Fail("where: expected an operator after '" + column.sText + "' " + Where());
            return nullptr;
        }
    }
    auto pNode = MakeNode(CWhereNode::kPredicate);
    pNode->sPredicateSql = std::move(sSql);
    return pNode;
}

std::size_t CWhereParser::Height(const CWhereNode& node)
{
    std::size_t iHeight = 0;
    for (const auto& pChild : node.vecChild) iHeight = std::max(iHeight, Height(*pChild) + 1);
    return iHeight;
}

std::string CWhereParser::ChainSql(const std::vector<const CWhereNode*>& vecChild, const char* sJoin,
                                   std::size_t iBegin, std::size_t iEnd)
{
    // Up to kFlatChain terms are written as one flat chain, which SQLite's parser reduces as it
    // reads; longer chains are split in halves. Neither SQLite's parser stack (fixed in size)
    // nor its expression height (limited) then grows with the length of a chain.
    constexpr std::size_t kFlatChain = 32;
    if (iEnd - iBegin == 1) return ToSql(*vecChild[iBegin]);
    if (iEnd - iBegin <= kFlatChain) {
        std::string sSql = "(";
        for (std::size_t i = iBegin; i < iEnd; ++i) {
            if (i != iBegin) sSql += sJoin;
            sSql += ToSql(*vecChild[i]);
        }
        return sSql + ")";
    }
    const std::size_t iMiddle = iBegin + (iEnd - iBegin) / 2;
    return "(" + ChainSql(vecChild, sJoin, iBegin, iMiddle) + sJoin + ChainSql(vecChild, sJoin, iMiddle, iEnd) + ")";
}

std::string CWhereParser::ToSql(const CWhereNode& node)
{
    switch (node.eKind) {
        case CWhereNode::kPredicate:
            return node.sPredicateSql;
        case CWhereNode::kNot:
            return "NOT (" + ToSql(*node.vecChild.front()) + ")";
        case CWhereNode::kAnd:
        case CWhereNode::kOr: {
            // AND and OR do not depend on the order of their terms, and the placeholders are
            // numbered, so the most nested term goes first: SQLite's parser then holds only one
            // open parenthesis per level while it reads the nested term.
            std::vector<std::pair<std::size_t, const CWhereNode*>> vecRanked;
            for (const auto& pChild : node.vecChild) vecRanked.emplace_back(Height(*pChild), pChild.get());
            std::stable_sort(vecRanked.begin(), vecRanked.end(),
                             [](const auto& a, const auto& b) { return a.first > b.first; });
            std::vector<const CWhereNode*> vecChild;
            for (const auto& entry : vecRanked) vecChild.push_back(entry.second);
            return ChainSql(vecChild, node.eKind == CWhereNode::kAnd ? " AND " : " OR ", 0, vecChild.size());
        }
    }
    return std::string();
}
