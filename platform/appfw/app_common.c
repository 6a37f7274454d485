// Host application framework: the process's application id is PELMO_APP_ID.
#include "app_common.h"

#include <stdlib.h>
#include <string.h>

int app_get_id(char** id)
{
    if (id == NULL) return APP_ERROR_INVALID_PARAMETER;
    const char* sAppId = getenv("PELMO_APP_ID");
    if (sAppId == NULL || *sAppId == '\0') return APP_ERROR_INVALID_CONTEXT;
    char* sCopy = strdup(sAppId);
    if (sCopy == NULL) return APP_ERROR_OUT_OF_MEMORY;
    *id = sCopy;
    return APP_ERROR_NONE;
}
