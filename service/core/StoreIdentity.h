// Which files the service takes as its store. A store carries the store's application id in
// its SQLite header (next to the schema version); a new or empty file becomes a store, and so
// does a store of an earlier service that did not mark its files yet, when it holds nothing but
// the store's own tables. Every other file is refused before the service writes anything to
// it, and so is a store SQLite finds damaged or one written by a newer service.
#pragma once

#include <cstdint>
#include <string>

namespace StoreIdentity {
// PRAGMA application_id of every store: "PLMO" in ASCII.
inline constexpr std::int32_t kApplicationId = 0x504C4D4F;

// Whether an existing file is read through (PRAGMA quick_check) before it is used. A further
// connection to a file that the first one checked has nothing new to find.
enum class EIntegrity { kCheck, kSkip };

// Looks at the file at sPath (not ":memory:") through a read-only connection that changes
// nothing in it. True when the service may open it as its store; false with one line that
// starts with the path, says what is wrong and what to do.
bool CheckFile(const std::string& sPath, EIntegrity integrity, std::string& sError);
}  // namespace StoreIdentity
