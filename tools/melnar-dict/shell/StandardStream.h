#pragma once

/// Stands for standard input among the files that are read, and for standard output where one is written.
inline constexpr const char* STANDARD_STREAM = "-";
