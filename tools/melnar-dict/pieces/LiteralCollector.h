#pragma once

#include "tools/melnar-dict/pieces/FormBatch.h"
#include "tools/melnar-dict/pieces/ParsedPiece.h"
#include "tools/melnar-dict/pieces/StatementConsumer.h"

#include "Reader/SyntaxError.h"
#include "Reader/Term.h"

#include <cstdint>
#include <string_view>

constexpr std::string_view RDF_PLAIN_LITERAL = "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral";

/// What becomes of a literal: a string or a plain literal goes into the dictionary. Literals with a text direction are
/// neither.
enum class LiteralKind { STRING, PLAIN_LITERAL, OTHER };

/// The kind of a term; OTHER if it is no literal.
LiteralKind literalKindOf(const Rdf::Term& term) noexcept;

/// The term that a statement says something about its subject with: the object, or the last one within triple terms.
const Rdf::Term& innermostObject(const Rdf::Statement& statement) noexcept;

/// Appends a literal of another kind than OTHER to a batch.
void appendLiteral(const Rdf::Term& literal, LiteralKind kind, uint64_t line, FormBatch& batch);

/// Counts a statement and its terms; returns the kind of its innermost object.
LiteralKind countStatement(const Rdf::Statement& statement, StatementCounts& counts) noexcept;

/// Counts a statement and puts its innermost object into the piece when that is a literal of another kind than OTHER.
void collectStatement(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece);

/// Collects the literals of blocks in their pieces.
class LiteralCollector : public StatementConsumer {
public:
    const char* take(const Rdf::Statement& statement, const uint64_t line, ParsedPiece& piece) final {
        collectStatement(statement, line, piece);
        return nullptr;
    }

    void endBlock(ParsedPiece&) override {}
};

/// Makes an error of the piece of what is wrong after the literals that it has so far.
InputError makeInputError(const Rdf::SyntaxError& error, const ParsedPiece& piece);
