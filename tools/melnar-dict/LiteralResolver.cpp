#include "tools/melnar-dict/LiteralResolver.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/platform/MelnarException.h"

#include <algorithm>

namespace {

/// Whether it is the literal's own fault that it was not resolved, and not that of a limit.
bool isRefused(const std::string_view lexicalForm, const uint8_t datatypeID) noexcept {
    if (datatypeID == D_XSD_STRING)
        return false;
    const PlainLiteralKind kind = classifyPlainLiteral(lexicalForm.data(), lexicalForm.size());
    return kind == PlainLiteralKind::WITHOUT_AT_SIGN || kind == PlainLiteralKind::WITH_MALFORMED_TAG;
}

void resolveUntilError(Dictionary& dictionary, DictionaryThread& thread, const bool lenient, ParsedPiece& piece) {
    for (const LiteralBatch::Entry& entry : piece.m_literals.getEntries()) {
        const std::string_view lexicalForm = piece.m_literals.getLexicalForm(entry);
        try {
            dictionary.resolveResource(thread, lexicalForm, entry.m_datatypeID);
        } catch (const MelnarException& exception) {
            if (!isRefused(lexicalForm, entry.m_datatypeID))
                throw;
            piece.m_errors.push_back({entry.m_line, ExitCode::BAD_DATA, exception.getMessage()});
            if (!lenient)
                return;
        }
    }
}

} // namespace

void resolveLiterals(Dictionary& dictionary, DictionaryThread& thread, const bool lenient, ParsedPiece& piece) {
    try {
        resolveUntilError(dictionary, thread, lenient, piece);
    } catch (...) {
        piece.m_errors.push_back(loadErrorOfCurrentException());
    }
    // An error of the file as a whole has line 0 and ended the piece: it goes behind all others.
    std::stable_sort(piece.m_errors.begin(), piece.m_errors.end(),
                     [](const LoadError& left, const LoadError& right) { return left.m_line - 1 < right.m_line - 1; });
}
