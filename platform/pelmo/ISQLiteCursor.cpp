#include "pelmo/ISQLiteCursor.h"

// Defined out of line so that the interface's type information lives in the store library.
ISQLiteCursor::~ISQLiteCursor() = default;
