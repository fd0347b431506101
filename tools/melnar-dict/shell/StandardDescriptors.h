#pragma once

/// Opens standard input, output and error, if they are closed, on something where reading and writing fail. Otherwise
/// the next file that is opened would take the number, and would be written to as standard output. Called once, before
/// any file is opened; ends the process with ExitCode::FAILURE if that is not possible.
void occupyStandardDescriptors() noexcept;
