#pragma once

/// The name of standard input among files that are read, and of standard output for a file that is written.
inline constexpr const char* STANDARD_STREAM = "-";
