#include "tools/melnar-dict/pieces/LiteralRefusal.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/platform/MelnarException.h"

#include <exception>

bool isRefused(const BatchEntry& literal) noexcept {
    if (literal.m_datatypeID == D_XSD_STRING)
        return false;
    const PlainLiteralKind kind = classifyPlainLiteral(literal.m_lexicalForm.data(), literal.m_lexicalForm.size());
    return kind == PlainLiteralKind::WITHOUT_AT_SIGN || kind == PlainLiteralKind::WITH_MALFORMED_TAG;
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
