#include "tools/melnar-dict/pieces/LiteralRefusal.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/platform/MelnarException.h"

#include <exception>
#include <string_view>

namespace {

bool isRefusedAsPlainLiteral(const std::string_view lexicalForm) noexcept {
    const PlainLiteralKind kind = classifyPlainLiteral(lexicalForm.data(), lexicalForm.size());
    return kind == PlainLiteralKind::WITHOUT_AT_SIGN || kind == PlainLiteralKind::WITH_MALFORMED_TAG;
}

} // namespace

bool isRefused(const BatchEntry& literal) noexcept {
    return literal.m_datatypeID != D_XSD_STRING && isRefusedAsPlainLiteral(literal.m_lexicalForm);
}

bool isRefusedTerm(const Rdf::Term& term) noexcept {
    return term.m_tag.empty() && literalKindOf(term) == LiteralKind::PLAIN_LITERAL &&
           isRefusedAsPlainLiteral(term.m_text);
}

std::string causeOfRefusal(const BatchEntry& literal, const BatchFailure& failure) {
    try {
        std::rethrow_exception(failure.m_exception);
    } catch (const MelnarException& exception) {
        if (isRefused(literal))
            return exception.getMessage();
        throw;
    }
}
