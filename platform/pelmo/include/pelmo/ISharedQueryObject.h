// Opens a result set that the store service left in POSIX shared memory.
#pragma once

#include <memory>
#include <string>

#include "pelmo/ISQLiteCursor.h"
#include "pelmo/PelmoExport.h"

class PELMO_STORE_API ISharedQueryObject {
public:
    // Reads the shared-memory object `key` of `memory_size` bytes, checks it and returns a cursor
    // over its rows; null when the object is missing, malformed or not of the announced size.
    // The object's name is unlinked once its size is checked: a result can be opened only once.
    // It is read, not mapped: a writer that shrinks the object must not be able to crash the reader.
    static std::shared_ptr<ISQLiteCursor> GetCursor(const std::string& key, const int& memory_size);
};
