#pragma once
#define PELMO_STORE_API __attribute__((visibility("default")))
