#include "RequestEnvelope.h"

#include <exception>
#include <memory>

#include "QueryGrammar.h"

namespace RequestEnvelope {
namespace {
// An envelope holds rows in an array; rows hold scalars. Deeper input is not a request.
constexpr int kMaxJsonDepth = 16;

bool HasNul(const char* pBegin, const char* pEnd)
{
    for (const char* p = pBegin; p != pEnd; ++p) {
        if (*p == '\0') return true;
    }
    return false;
}

// A text that holds "\u0000" would be cut wherever it is read as a C string: refused whole.
bool FindNul(const Json::Value& value, std::string& sWhere)
{
    if (value.isString()) {
        const char* pBegin = nullptr;
        const char* pEnd = nullptr;
        return value.getString(&pBegin, &pEnd) && HasNul(pBegin, pEnd);
    }
    if (value.isArray()) {
        for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
            if (FindNul(value[i], sWhere)) {
                sWhere = "[" + std::to_string(i) + "]" + sWhere;
                return true;
            }
        }
    } else if (value.isObject()) {
        for (auto it = value.begin(); it != value.end(); ++it) {
            // The name is looked at where it is; a copy is made only for the refusal.
            const char* pNameEnd = nullptr;
            const char* pName = it.memberName(&pNameEnd);
            if (pName == nullptr) pName = pNameEnd = "";
            if (HasNul(pName, pNameEnd) || FindNul(*it, sWhere)) {
                sWhere = "." + CQueryGrammar::Excerpt(std::string(pName, pNameEnd), 32) + sWhere;
                return true;
            }
        }
    }
    return false;
}

// The strict reader of this thread. A reader keeps the state of the parse in progress, so
// workers never share one; each parse starts that state afresh, so a thread reuses its own
// instead of building one (and its settings) for every request.
Json::CharReader& StrictReader()
{
    thread_local const std::unique_ptr<Json::CharReader> s_pReader = [] {
        Json::CharReaderBuilder builder;
        Json::CharReaderBuilder::strictMode(&builder.settings_);
        builder.settings_["stackLimit"] = kMaxJsonDepth;
        return std::unique_ptr<Json::CharReader>(builder.newCharReader());
    }();
    return *s_pReader;
}
}  // namespace

bool ParseObject(const std::string& sInput, Json::Value& root, std::string& sError)
{
    Json::CharReader* pReader = &StrictReader();
    std::string sErrors;
    const char* pBegin = sInput.data();
    bool bParsed = false;
    try {
        bParsed = pReader->parse(pBegin, pBegin + sInput.size(), &root, &sErrors);
    } catch (const std::exception& e) {
        // The reader throws when the nesting passes its limit.
        sErrors = e.what();
    }
    if (!bParsed) {
        // The reader's message spans lines; the reason is one line.
        std::string sOneLine;
        for (char c : sErrors) {
            const char cOut = (c == '\n' || c == '\t') ? ' ' : c;
            if (cOut == ' ' && (sOneLine.empty() || sOneLine.back() == ' ')) continue;
            if (cOut == '*' && sOneLine.empty()) continue;
            sOneLine += cOut;
        }
        while (!sOneLine.empty() && sOneLine.back() == ' ') sOneLine.pop_back();
        sError = "input is not JSON: " + CQueryGrammar::Excerpt(sOneLine, 160);
        return false;
    }
    if (!root.isObject()) {
        sError = "input must be a JSON object";
        return false;
    }
    std::string sWhere;
    if (FindNul(root, sWhere)) {
        sError = "input: text with a NUL character (\\u0000) at " + sWhere;
        return false;
    }
    return true;
}

const CStoreTable* TargetTable(const Json::Value& root, std::string& sError)
{
    const Json::Value& name = root["table_name"];
    if (!name.isString()) {
        sError = name.isNull() ? "table_name missing" : "table_name must be a text";
        return nullptr;
    }
    const CStoreTable* pTable = StoreSchema::FindByContentUri(name.asString());
    if (pTable == nullptr) sError = "unknown table_name '" + CQueryGrammar::Excerpt(name.asString()) + "'";
    return pTable;
}

bool OptionalText(const Json::Value& root, const char* sMember, std::string& sText, std::string& sError)
{
    sText.clear();
    const Json::Value& value = root[sMember];
    if (value.isNull()) return true;
    if (!value.isString()) {
        sError = std::string(sMember) + " must be a text";
        return false;
    }
    sText = value.asString();
    return true;
}

bool ReadCondition(const Json::Value& root, const CStoreTable& table, CCondition& condition, std::string& sError)
{
    std::string sWhere;
    if (!OptionalText(root, "where", sWhere, sError)) return false;
    const Json::Value& args = root["where_args"];
    condition.vecArgs.clear();
    if (!args.isNull()) {
        if (!args.isArray()) {
            sError = "where_args must be an array";
            return false;
        }
        if (args.size() > QueryLimits::kMaxArgs) {
            sError = "where_args: too many arguments: " + std::to_string(args.size()) + " (limit " +
                     std::to_string(QueryLimits::kMaxArgs) + ")";
            return false;
        }
        for (const Json::Value& arg : args) {
            if (arg.isObject() || arg.isArray()) {
                sError = "where_args: every argument must be a text, number, boolean or null";
                return false;
            }
            condition.vecArgs.push_back(arg);
        }
    }
    return CQueryGrammar::TranslateWhere(table, sWhere, condition.vecArgs.size(), condition.sSql, sError);
}
}  // namespace RequestEnvelope
