#pragma once

#include "tools/melnar-dict/SerdClient.h"

#include <cstdint>
#include <optional>
#include <string>

/// Where and why serd, or its client, gave up. The line counts line feeds of the text that was provided, from 1; it is
/// 0 when serd does not tell, which is so for everything that the client refuses.
struct SerdFault {
    uint64_t m_line;
    std::string m_cause;
};

/// How much text serd asks for at once. All but this much has been dealt with when it asks.
inline constexpr size_t SERD_PAGE_SIZE = 16 * 1024;

/// Reads one text from its start to its end or to the first fault, with serd in its strict mode.
///
/// Serd overwrites some of its own errors and goes on; here everything that it reports counts, and the first report is
/// what is told. After it no statement reaches the client and no more text is asked for.
///
/// Threads  Any number at once, each with its client.
/// Errors   The exceptions of the client.
std::optional<SerdFault> runSerd(SerdSyntax syntax, SerdClient& client);
