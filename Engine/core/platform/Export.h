/* MELNAR_EXPORT marks what the shared library of the engine exports; all else is hidden in it. The archive exports
   nothing, so a shared object that contains it does not, either. Also for C. */

#pragma once

/* Those who compile and link the shared library define MELNAR_SHARED; the CMake package and pkg-config do. */
#if !defined(MELNAR_SHARED)
#define MELNAR_EXPORT
#elif defined(__cplusplus)
#define MELNAR_EXPORT [[gnu::visibility("default")]]
#else
#define MELNAR_EXPORT __attribute__((visibility("default")))
#endif
