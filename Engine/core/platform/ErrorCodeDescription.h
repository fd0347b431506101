#pragma once

#include <string>

/// Appends the operating system's text for an `errno` value. Safe to call from any thread.
void appendErrorCodeDescription(std::string& output, int errorCode);
