// Marks the declarations that make up the library's exported interface; everything else is
// built with hidden visibility.
#pragma once
#define PELMO_API __attribute__((visibility("default")))
