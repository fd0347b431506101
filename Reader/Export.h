#pragma once

/// MELNAR_READER_EXPORT marks what the shared library of the reader exports; all else is hidden in it. The archive
/// exports nothing, so a shared object that contains it does not, either. Those who compile and link the shared library
/// define MELNAR_SHARED; the CMake package and pkg-config do.
#ifdef MELNAR_SHARED
#define MELNAR_READER_EXPORT [[gnu::visibility("default")]]
#else
#define MELNAR_READER_EXPORT
#endif
