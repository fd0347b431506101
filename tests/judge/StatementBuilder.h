#pragma once

#include "tests/judge/GrammarParser.h"
#include "tests/judge/JudgedStatements.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

/// Makes statements from syntax trees, by the names of their rules, and checks what the grammars do not define: that
/// IRIs are absolute when resolved, that escapes represent characters that are allowed there, that prefixes are
/// declared, and for RDF 1.2 which tags, directions and datatypes are allowed.
///
/// Errors  Throws Refusal.
class StatementBuilder {
public:
    StatementBuilder(const std::string& base, const bool isVersion12) : m_base(base), m_isVersion12(isVersion12) {}

    /// Takes the tree of a whole text. Called once.
    void build(const SyntaxTree& document);

    /// Returns the statements, sorted.
    JudgedStatements takeStatements();

private:
    using Term = std::string; // as a description

    void visit(const SyntaxTree& tree);
    void visitBlock(const SyntaxTree& tree);
    void visitTriples(const SyntaxTree& tree);
    void visitProperties(const Term& subject, const SyntaxTree& list);
    void visitObjects(const Term& subject, const Term& predicate, const SyntaxTree& list);
    void visitAnnotation(const std::string& triple, const SyntaxTree& annotation);
    void visitLine(const SyntaxTree& statement);
    void visitDirective(const SyntaxTree& directive);
    void visitVersion(const SyntaxTree& directive);

    Term makeTerm(const SyntaxTree& tree);
    Term makeCollection(const SyntaxTree& collection);
    Term makeReified(const SyntaxTree& reified);
    Term makeLiteral(const SyntaxTree& literal);
    std::string makeIri(const SyntaxTree& tree);
    std::string unescape(std::u32string_view text, bool isIri) const;
    void emit(const Term& subject, const Term& predicate, const Term& object);
    void reify(const Term& reifier, const std::string& triple);

    std::string m_base;
    const bool m_isVersion12;
    std::map<std::string, std::string> m_prefixes;
    Term m_graph;
    JudgedStatements m_statements;
};
