// The application framework's identity call. On the host the id comes from PELMO_APP_ID.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    APP_ERROR_NONE = 0,
    APP_ERROR_INVALID_PARAMETER = -22,
    APP_ERROR_OUT_OF_MEMORY = -12,
    APP_ERROR_INVALID_CONTEXT = -0x01100000 | 0x01,
} app_error_e;

// Stores a newly allocated copy of the caller's application id in *id (free() it).
// Fails with APP_ERROR_INVALID_CONTEXT when the process has no application id.
__attribute__((visibility("default"))) int app_get_id(char** id);

#ifdef __cplusplus
}
#endif
