#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"

#include <cstddef>
#include <span>

class Dictionary;
class DictionaryThread;

/// Resolves terms of a piece, in their order. `indexes` selects terms of the piece's batch; if it is empty, all of
/// them. A term that the dictionary refuses becomes an error of the piece; unless lenient, few more terms are resolved
/// after that. Then sorts the piece's errors in the order of the file.
///
/// Threads  Any number concurrently, each with its own piece and DictionaryThread.
/// Errors   None: other failures become the last error of the piece.
void resolveEntries(Dictionary& dictionary, DictionaryThread& thread, bool lenient, std::span<BatchEntry> entries,
                    std::span<const size_t> indexes, ParsedPiece& piece);

/// Converts the failures of the piece's batch to errors of the piece, in the same way. Their forms must still exist.
void addFailures(std::span<const BatchFailure> failures, ParsedPiece& piece);

/// Resolves all of a piece's batch in this way.
void resolveBatch(Dictionary& dictionary, DictionaryThread& thread, bool lenient, ParsedPiece& piece);
