#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the process unless a claim is right, so that the input is kept.
inline void require(const bool isRight, const char* const claim) {
    if (isRight)
        return;
    std::fprintf(stderr, "not so: %s\n", claim);
    std::abort();
}
