// How a publish splits the keys of what the store holds and of the new preview (sections by
// their key, tiles by theirs) into the expired, the new and the common ones. Both key lists
// are sorted; they are matched as multisets: a key present twice on one side and once on the
// other is once common and once left over.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <vector>

namespace PreviewKeySets {

// The keys of vecFrom that vecOther does not have.
inline std::vector<uint64_t> OnlyIn(const std::vector<uint64_t>& vecFrom, const std::vector<uint64_t>& vecOther)
{
    std::vector<uint64_t> vecResult;
    std::set_difference(vecFrom.begin(), vecFrom.end(), vecOther.begin(), vecOther.end(),
                        std::back_inserter(vecResult));
    return vecResult;
}

// The keys both lists have.
inline std::vector<uint64_t> InBoth(const std::vector<uint64_t>& vecOld, const std::vector<uint64_t>& vecNew)
{
    std::vector<uint64_t> vecResult;
    std::set_intersection(vecOld.begin(), vecOld.end(), vecNew.begin(), vecNew.end(), std::back_inserter(vecResult));
    return vecResult;
}

}  // namespace PreviewKeySets
