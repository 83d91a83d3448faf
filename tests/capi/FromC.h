/* The calls of FromC.c, which is compiled as C. */
#ifndef TESTS_CAPI_FROMC_H
#define TESTS_CAPI_FROMC_H

#include "orbwatcher4/OrbWatcherC.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct RoundFromC {
    OrbWatcherHandle watcher;
    OrbIndexHandle index;
} RoundFromC;

/* Each step of a service's round: the result of the first call that failed. */
OrbResult BeginFromC(RoundFromC* round, const wchar_t* selection, const wchar_t* index);
/* Takes the next file, records it as backed up, and gives its path. */
OrbResult TakeFromC(RoundFromC* round, wchar_t* path, uint32_t capacity);
OrbResult EndFromC(RoundFromC* round);

#ifdef __cplusplus
}
#endif

#endif
