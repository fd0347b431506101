#include "tools/melnar-dict/load/LiteralResolver.h"

#include "tools/melnar-dict/pieces/LiteralRefusal.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"

#include <algorithm>
#include <span>
#include <vector>

namespace {

// Enough for the dictionary to work at full speed; at a limit of the dictionary each entry becomes a failure.
constexpr size_t LITERALS_OF_A_GROUP = 2048;

/// Adds what was refused in the entries from `begin` on to the errors of the piece; throws what went wrong otherwise.
void addErrors(const std::vector<BatchFailure>& failures, const size_t begin, ParsedPiece& piece) {
    for (const BatchFailure& failure : failures)
        piece.m_errors.push_back(
            {piece.m_literals.getLine(begin + failure.m_entryIndex), ExitCode::BAD_DATA, causeOfRefusal(failure)});
}

void resolveUntilError(Dictionary& dictionary, DictionaryThread& thread, const bool lenient, ParsedPiece& piece) {
    const std::span<BatchEntry> entries = piece.m_literals.getEntries();
    std::vector<BatchFailure> failures;
    for (size_t begin = 0; begin < entries.size() && (lenient || failures.empty()); begin += LITERALS_OF_A_GROUP) {
        failures.clear();
        dictionary.resolveResources(
            thread, entries.subspan(begin, std::min(LITERALS_OF_A_GROUP, entries.size() - begin)), failures);
        addErrors(failures, begin, piece);
    }
}

} // namespace

void resolveLiterals(Dictionary& dictionary, DictionaryThread& thread, const bool lenient, ParsedPiece& piece) {
    try {
        resolveUntilError(dictionary, thread, lenient, piece);
    } catch (...) {
        piece.m_errors.push_back(inputErrorOfCurrentException());
    }
    // An error of the file as a whole has line 0 and ended the piece: it goes behind all others.
    std::stable_sort(piece.m_errors.begin(), piece.m_errors.end(), [](const InputError& left, const InputError& right) {
        return left.m_line - 1 < right.m_line - 1;
    });
}
