// A per-module map that holds at most a given number of modules: finding a module that is not
// there yet makes room first by forgetting the module that was quiet longest. Services keep
// such a map for every caller they remember something about, so that a stream of made-up
// module names cannot grow it without bound.
#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace ModuleSlots {

// The entry of sModule, added (default-made) if it is missing. LastUse(entry) orders entries
// from the quietest up; the entry with the least is forgotten when the map is full.
template <typename Entry, typename LastUse>
Entry& FindOrAdd(std::map<std::string, Entry>& mapModule, const std::string& sModule, std::size_t nMaxModules,
                 LastUse lastUse)
{
    auto it = mapModule.find(sModule);
    if (it != mapModule.end()) return it->second;
    if (mapModule.size() >= nMaxModules) {
        auto quietest = mapModule.begin();
        for (auto scan = mapModule.begin(); scan != mapModule.end(); ++scan) {
            if (lastUse(scan->second) < lastUse(quietest->second)) quietest = scan;
        }
        mapModule.erase(quietest);
    }
    return mapModule.emplace(sModule, Entry()).first->second;
}

}  // namespace ModuleSlots
