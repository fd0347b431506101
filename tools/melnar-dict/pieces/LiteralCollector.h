#pragma once

#include "tools/melnar-dict/pieces/FormBatch.h"
#include "tools/melnar-dict/pieces/ParsedPiece.h"
#include "tools/melnar-dict/pieces/StatementConsumer.h"

#include "Reader/SyntaxError.h"
#include "Reader/Term.h"

#include <cstdint>
#include <string_view>

constexpr std::string_view RDF_PLAIN_LITERAL = "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral";

/// The kinds of literals: a string or a plain literal is added to the dictionary. Literals with a text direction are
/// neither.
enum class LiteralKind { STRING, PLAIN_LITERAL, OTHER };

/// Returns the kind of a term; OTHER if it is not a literal.
LiteralKind literalKindOf(const Rdf::Term& term) noexcept;

/// Returns the innermost object of a statement: the object, or within triple terms the last one.
const Rdf::Term& innermostObject(const Rdf::Statement& statement) noexcept;

/// Appends a literal of a kind other than OTHER to a batch.
void appendLiteral(const Rdf::Term& literal, LiteralKind kind, uint64_t line, FormBatch& batch);

/// Counts a statement and its terms; returns the kind of its innermost object.
LiteralKind countStatement(const Rdf::Statement& statement, StatementCounts& counts) noexcept;

/// Counts a statement and adds its innermost object to the piece if that is a literal of a kind other than OTHER.
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

/// Adds an error to the piece that comes after the literals that it has so far.
InputError makeInputError(const Rdf::SyntaxError& error, const ParsedPiece& piece);
