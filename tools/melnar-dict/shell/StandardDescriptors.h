#pragma once

/// Gives standard input, output and error that are closed a place to lead to, where reading and writing fail. Otherwise
/// the next file that is opened would take the number, and be written to as standard output. Called once, before any
/// file is opened; ends the process with ExitCode::FAILURE when there is no such place.
void occupyStandardDescriptors() noexcept;
