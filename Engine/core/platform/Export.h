/* MELNAR_EXPORT marks what the shared library of the engine exports; everything else is hidden in it. The archive
   exports nothing, so a shared object that contains it does not export these symbols either. Also for C. */

#pragma once

/* MELNAR_SHARED is defined for code that is compiled into the shared library or linked with it; the CMake package and
   pkg-config define it. */
#if !defined(MELNAR_SHARED)
#define MELNAR_EXPORT
#elif defined(__cplusplus)
#define MELNAR_EXPORT [[gnu::visibility("default")]]
#else
#define MELNAR_EXPORT __attribute__((visibility("default")))
#endif
