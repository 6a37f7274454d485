#include "PreviewPublicExtra.h"

#include <algorithm>

#include "JsonQuoting.h"

namespace PreviewPublicExtra {
namespace {
using PT_MEMBER = std::pair<std::string_view, const Json::Value*>;

// Appends a member value that is no array or object as the compact writer writes it; false for
// what this writer leaves to the library.
bool AppendScalar(const Json::Value& value, std::string& sOut)
{
    switch (value.type()) {
        case Json::nullValue:
            sOut += "null";
            return true;
        case Json::booleanValue:
            sOut += value.asBool() ? "true" : "false";
            return true;
        case Json::intValue:
            sOut += Json::valueToString(value.asLargestInt());
            return true;
        case Json::uintValue:
            sOut += Json::valueToString(value.asLargestUInt());
            return true;
        case Json::realValue:
            sOut += Json::valueToString(value.asDouble());
            return true;
        case Json::stringValue: {
            const char* pBegin = nullptr;
            const char* pEnd = nullptr;
            return value.getString(&pBegin, &pEnd) && JsonQuoting::AppendQuoted(pBegin, pEnd, sOut);
        }
        default:
            return false;
    }
}

// The members with the defaults in place, in the writer's order: by name in byte order.
std::vector<PT_MEMBER> WithDefaults(const std::vector<PT_MEMBER>& vecMember)
{
    static const Json::Value kNotResumable(false);
    static const Json::Value kNoVideo("");
    const auto byName = [](const PT_MEMBER& a, const PT_MEMBER& b) { return a.first < b.first; };
    std::vector<PT_MEMBER> vecAll;
    vecAll.reserve(vecMember.size() + 2);
    vecAll = vecMember;
    // The document gives names in order already; sorted only if a caller broke the order.
    if (!std::is_sorted(vecAll.begin(), vecAll.end(), byName)) std::stable_sort(vecAll.begin(), vecAll.end(), byName);
    for (const PT_MEMBER& fallback : {PT_MEMBER("is_resumable", &kNotResumable), PT_MEMBER("video_url", &kNoVideo)}) {
        const auto it = std::lower_bound(vecAll.begin(), vecAll.end(), fallback, byName);
        if (it == vecAll.end() || it->first != fallback.first) {
            vecAll.insert(it, fallback);
        } else if (it->second->isNull()) {
            it->second = fallback.second;
        }
    }
    return vecAll;
}

std::string WriteByLibrary(const std::vector<PT_MEMBER>& vecAll)
{
    Json::Value publicExtra(Json::objectValue);
    for (const PT_MEMBER& member : vecAll) publicExtra[std::string(member.first)] = *member.second;
    return Json::FastWriter().write(publicExtra);
}

std::string WriteMembers(const std::vector<PT_MEMBER>& vecMember)
{
    const std::vector<PT_MEMBER> vecAll = WithDefaults(vecMember);
    std::string sOut;
    size_t uReserve = 4;
    for (const PT_MEMBER& member : vecAll) uReserve += member.first.size() + 24;
    sOut.reserve(uReserve);
    sOut += '{';
    for (size_t i = 0; i < vecAll.size(); ++i) {
        if (i > 0) sOut += ',';
        const std::string_view sName = vecAll[i].first;
        if (!JsonQuoting::AppendQuoted(sName.data(), sName.data() + sName.size(), sOut)) return WriteByLibrary(vecAll);
        sOut += ':';
        if (!AppendScalar(*vecAll[i].second, sOut)) return WriteByLibrary(vecAll);
    }
    sOut += "}\n";
    return sOut;
}
}  // namespace

std::string CExtraMembers::Write() const
{
    // Most tiles have no members of their own.
    static const std::string kDefaultsOnly = WriteMembers({});
    return m_vecMember.empty() ? kDefaultsOnly : WriteMembers(m_vecMember);
}

}  // namespace PreviewPublicExtra
