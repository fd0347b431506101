#pragma once

#include "tools/melnar-dict/ParsedPiece.h"
#include "tools/melnar-dict/SerdClient.h"

#include <cstdint>
#include <string_view>

/// How a literal's datatype decides what becomes of it.
enum class LiteralKind { STRING, PLAIN_LITERAL, OTHER };

/// The kind of literal that has this datatype, an absolute IRI given in two parts.
LiteralKind literalKindOfDatatype(std::string_view iriStart, std::string_view iriEnd) noexcept;

/// Counts a statement and puts its object into the piece when that is a literal of another kind than OTHER. `kind`
/// tells the kind of a typed literal; all else is seen from the nodes.
void collectStatement(const SerdStatement& statement, LiteralKind kind, uint64_t line, ParsedPiece& piece);
