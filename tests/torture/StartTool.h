#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

/// Starts the tool, or its replacement, in a folder, with no input and no output. Returns its process ID.
pid_t startTool(const std::string& executable, const std::vector<std::string>& arguments, const std::string& folder);

/// Waits for its end. Returns its status, as waitpid does.
int waitForTool(pid_t process);

/// Returns whether it has ended; its end must still be awaited.
bool hasToolEnded(pid_t process);
