// Checks of the end-to-end programs: each failed check prints a line, and main returns the count.
#pragma once
#include <stdio.h>

static int check_failures;

#define CHECK(cond, ...)                                   \
    do {                                                   \
        if (!(cond)) {                                     \
            printf("FAIL %s:%d: %s: ", __FILE__, __LINE__, #cond); \
            printf(__VA_ARGS__);                           \
            printf("\n");                                  \
            check_failures++;                              \
        }                                                  \
    } while (0)
