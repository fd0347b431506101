#pragma once

#include <string>

/// Appends the operating system's text for an `errno` value. Any thread may call it.
void appendErrorCodeDescription(std::string& output, int errorCode);
