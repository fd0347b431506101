#pragma once

#include "tools/melnar-dict/pieces/StatementConsumer.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Writes statements in canonical form, one a line, in the order of the file, with other objects in the place of some:
/// how, is up to the subclass. Where an object depends on the dictionary, the subclass leaves a gap, and fills the gaps of
/// a block when all of them are known.
///
/// The form is that of Rdf::CanonicalWriter, but language tags stay as they are: dictionaries tell them apart. Reading is
/// strict: of a block, what stands before its first error is written.
class StatementRewriter : public StatementConsumer {
public:
    explicit StatementRewriter(OrderedOutput& output) : m_output(output) {}

    const char* take(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece) override;
    void endBlock(ParsedPiece& piece) override;

protected:
    /// Appends an object that is no triple term in the form that it is to have, or leaves a gap; null, or why the
    /// statement is refused.
    virtual const char* appendObject(const Rdf::Term& object, std::string& output) = 0;

    /// Asks the dictionary for what belongs into the gaps of the block.
    virtual void answerGaps() = 0;

    /// Appends what belongs into the gap with this index; null, or why its statement is refused after all.
    virtual const char* appendAnswer(size_t gapIndex, std::string& output) = 0;

    /// Forgets the gaps of the block.
    virtual void clearGaps() = 0;

    /// Appends a subject, predicate or graph; null, or why the statement is refused.
    virtual const char* appendTerm(const Rdf::Term& term, std::string& output) = 0;

    /// Appends a term as it is.
    static void appendUnchanged(const Rdf::Term& term, std::string& output);

    /// Leaves a gap for the object of the current statement, the next one by index.
    void leaveGap() { m_gaps.push_back({m_unfilled.size(), m_startOfStatement, m_line}); }

private:
    struct Gap {
        size_t m_offset;           // in m_unfilled; beyond its end when the statement was refused for another reason
        size_t m_startOfStatement; // the same
        uint64_t m_line;
    };

    void fillGaps(ParsedPiece& piece);

    OrderedOutput& m_output;
    std::string m_unfilled; // the statements of the block, with gaps
    std::vector<Gap> m_gaps;
    size_t m_startOfStatement = 0;
    uint64_t m_line = 0;
    std::string m_text;
};
