/** @file
 * The version of the libraries, for programs in C++ and C. CMake reads the project's version from this file. */

#pragma once

#define MELNAR_VERSION_MAJOR 0 /**< the first number of the version */
#define MELNAR_VERSION_MINOR 1 /**< the second number of the version */
#define MELNAR_VERSION_PATCH 0 /**< the third number of the version */

/** The whole version as a text. */
#define MELNAR_VERSION_STRING "0.1.0"

/** The version as a number that increases with every version: that of 1.2.3 is 10203. */
#define MELNAR_VERSION (MELNAR_VERSION_MAJOR * 10000 + MELNAR_VERSION_MINOR * 100 + MELNAR_VERSION_PATCH)
