// Recursive-descent reader of a where text into a tree of conditions, and the writer of that
// tree as SQL. Used by CQueryGrammar only.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "StoreSchema.h"

struct CWhereToken {
    enum Kind { kEnd, kWord, kPlaceholder, kOpen, kClose, kComma, kOperator };
    Kind eKind = kEnd;
    std::string sText;
    std::size_t iOffset = 0;
};

struct CWhereNode {
    enum Kind { kAnd, kOr, kNot, kPredicate };
    Kind eKind = kPredicate;
    std::vector<std::unique_ptr<CWhereNode>> vecChild;
    std::string sPredicateSql;  // kPredicate only
};

class CWhereParser {
public:
    explicit CWhereParser(const CStoreTable& table) : m_table(table) {}

    // The condition tree of sWhere, or null with a reason. iPlaceholders counts the `?`.
    std::unique_ptr<CWhereNode> Parse(const std::string& sWhere, std::size_t& iPlaceholders, std::string& sError);
    // The SQL text of a tree. The client's placeholders become ?2, ?3, ... in their order of
    // appearance; ?1 is left for the module's restriction.
    static std::string ToSql(const CWhereNode& node);

private:
    bool Tokenize(const std::string& sWhere, std::string& sError);
    std::unique_ptr<CWhereNode> ParseOr(std::size_t iDepth);
    std::unique_ptr<CWhereNode> ParseAnd(std::size_t iDepth);
    // Operands joined by one keyword ("a or b or c") become one node with a child each rather
    // than a nest of pairs; "or" chains "and" chains, and "and" chains "not" terms.
    std::unique_ptr<CWhereNode> ParseChain(CWhereNode::Kind eKind, const char* sKeyword,
                                           std::unique_ptr<CWhereNode> (CWhereParser::*pOperand)(std::size_t),
                                           std::size_t iDepth);
    std::unique_ptr<CWhereNode> ParseNot(std::size_t iDepth);
    std::unique_ptr<CWhereNode> ParsePrimary(std::size_t iDepth);
    std::unique_ptr<CWhereNode> ParsePredicate();
    bool ExpectPlaceholder();

    const CWhereToken& Peek() const { return m_vecToken[m_iPos]; }
    bool PeekKeyword(const char* sKeyword) const;
    bool Fail(const std::string& sReason);
    std::string Where() const;
    std::string LastPlaceholder() const;
    static std::size_t Height(const CWhereNode& node);
    static std::string ChainSql(const std::vector<const CWhereNode*>& vecChild, const char* sJoin, std::size_t iBegin,
                                std::size_t iEnd);

    const CStoreTable& m_table;
    std::vector<CWhereToken> m_vecToken;
    std::size_t m_iPos = 0;
    std::size_t m_iTerms = 0;
    std::size_t m_iPlaceholders = 0;
    std::string m_sError;
};
