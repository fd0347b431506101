#include "tools/melnar-dict/load/BatchResolver.h"

#include "tools/melnar-dict/pieces/LiteralRefusal.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"

#include <algorithm>
#include <span>
#include <vector>

namespace {

// Enough for the dictionary to work at full speed; at a limit of the dictionary each entry becomes a failure.
constexpr size_t ENTRIES_OF_A_GROUP = 2048;

/// Rethrows other failures.
void addRefusal(const BatchFailure& failure, const size_t index, ParsedPiece& piece) {
    piece.m_errors.push_back({piece.m_terms.getLine(index), ExitCode::BAD_DATA, causeOfRefusal(failure), 0, index});
}

/// Sorts the errors in the order of the file.
void sortErrors(ParsedPiece& piece) {
    std::stable_sort(piece.m_errors.begin(), piece.m_errors.end(), [](const InputError& left, const InputError& right) {
        return left.m_termsBefore < right.m_termsBefore;
    });
}

void resolveUntilError(Dictionary& dictionary, DictionaryThread& thread, const bool lenient,
                       const std::span<BatchEntry> entries, const std::span<const size_t> indexes, ParsedPiece& piece) {
    std::vector<BatchFailure> failures;
    for (size_t begin = 0; begin < entries.size() && (lenient || failures.empty()); begin += ENTRIES_OF_A_GROUP) {
        failures.clear();
        dictionary.resolveResources(
            thread, entries.subspan(begin, std::min(ENTRIES_OF_A_GROUP, entries.size() - begin)), failures);
        for (const BatchFailure& failure : failures) {
            const size_t number = begin + failure.m_entryIndex;
            addRefusal(failure, indexes.empty() ? number : indexes[number], piece);
        }
    }
}

} // namespace

void resolveEntries(Dictionary& dictionary, DictionaryThread& thread, const bool lenient,
                    const std::span<BatchEntry> entries, const std::span<const size_t> indexes, ParsedPiece& piece) {
    piece.catchFrom([&] { resolveUntilError(dictionary, thread, lenient, entries, indexes, piece); });
    sortErrors(piece);
}

void addFailures(const std::span<const BatchFailure> failures, ParsedPiece& piece) {
    piece.catchFrom([&] {
        for (const BatchFailure& failure : failures)
            addRefusal(failure, failure.m_entryIndex, piece);
    });
    sortErrors(piece);
}

void resolveBatch(Dictionary& dictionary, DictionaryThread& thread, const bool lenient, ParsedPiece& piece) {
    resolveEntries(dictionary, thread, lenient, piece.m_terms.getEntries(), {}, piece);
}
