// PELMO_SANITIZER_BUILD is defined when the address or thread sanitizer instruments the build:
// its allocator serves every malloc, and every step runs several times slower.
#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define PELMO_SANITIZER_BUILD 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define PELMO_SANITIZER_BUILD 1
#endif
#endif
