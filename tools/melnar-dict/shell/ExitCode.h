#pragma once

/// The exit codes of the tool; scripts rely on the numbers.
enum class ExitCode : int {
    DONE = 0,
    BAD_DATA = 1, // a syntax error, a literal that the engine refuses, or something requested that was not found
    USAGE = 2,    // the command line is wrong, or its output would destroy something; nothing was done
    FAILURE = 3,  // input or output failed, another process writes the output, or a limit was reached
};
