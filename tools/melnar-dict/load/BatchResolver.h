#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"

#include <cstddef>
#include <span>

class Dictionary;
class DictionaryThread;

/// Resolves terms of a piece, in their order. `indexes` tells which of the piece's batch they are; empty, they are all of
/// it. A term that the dictionary refuses becomes an error of the piece; unless lenient, not many more are resolved then.
/// Then brings the piece's errors into the order of the file.
///
/// Threads  Any number concurrently, each with a piece and a DictionaryThread of its own.
/// Errors   None: what else goes wrong becomes the last error of the piece.
void resolveEntries(Dictionary& dictionary, DictionaryThread& thread, bool lenient, std::span<BatchEntry> entries,
                    std::span<const size_t> indexes, ParsedPiece& piece);

/// Makes errors of the piece of failures of its batch, in the same way. Their forms must still be there.
void addFailures(std::span<const BatchFailure> failures, ParsedPiece& piece);

/// Resolves all of a piece's batch so.
void resolveBatch(Dictionary& dictionary, DictionaryThread& thread, bool lenient, ParsedPiece& piece);
