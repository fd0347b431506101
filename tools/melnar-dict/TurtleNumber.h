#pragma once

/// Where the longest integer, decimal or double of Turtle that starts at `begin` ends; `begin` when none starts there.
const char* findNumberEnd(const char* begin, const char* end) noexcept;
