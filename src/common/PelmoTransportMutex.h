// The transport's one process-wide mutex. It guards the singleton, the connection and the proxy
// map, is never held during a blocking call and never taken twice on one thread. It stays inside
// the library: a program that held it while calling a request would block its own thread for
// good, and nothing outside the transport has anything to guard with it. Programs use the
// exported CPelmoScopedLock on mutexes of their own.
#pragma once

#include <pthread.h>

extern pthread_mutex_t gMutex;
