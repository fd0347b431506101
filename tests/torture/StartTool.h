#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

/// Starts the tool, or what stands for it, in a folder, with no input and no output. Returns its process ID.
pid_t startTool(const std::string& executable, const std::vector<std::string>& arguments, const std::string& folder);

/// Waits for its end. Returns its status, as waitpid does.
int waitForTool(pid_t process);

/// Whether it has ended; its end still has to be awaited.
bool hasToolEnded(pid_t process);
