#include "tools/melnar-dict/pieces/LiteralRefusal.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/platform/MelnarException.h"

bool isRefusedTerm(const Rdf::Term& term) noexcept {
    if (!term.m_tag.empty() || literalKindOf(term) != LiteralKind::PLAIN_LITERAL)
        return false;
    const PlainLiteralKind kind = classifyPlainLiteral(term.m_text.data(), term.m_text.size());
    return kind == PlainLiteralKind::WITHOUT_AT_SIGN || kind == PlainLiteralKind::WITH_MALFORMED_TAG;
}

std::string causeOfRefusal(const BatchFailure& failure) {
    if (failure.m_kind != FailureKind::REFUSED_LITERAL)
        failure.throwException();
    try {
        failure.throwException();
    } catch (const MelnarException& exception) {
        return exception.getMessage();
    }
}
