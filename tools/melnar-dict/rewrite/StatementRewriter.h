#pragma once

#include "tools/melnar-dict/pieces/StatementConsumer.h"
#include "tools/melnar-dict/threads/OrderedOutput.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Writes statements in canonical form, one per line, in the order of the file, with some objects replaced; the
/// subclass decides how. If an object depends on the dictionary, the subclass leaves a gap, and fills the gaps of a
/// block when all of them are known.
///
/// The form is that of Rdf::CanonicalWriter, but language tags stay as they are: dictionaries distinguish them. Reading
/// is strict: of a block, the statements before its first error are written.
class StatementRewriter : public StatementConsumer {
public:
    explicit StatementRewriter(OrderedOutput& output) : m_output(output) {}

    const char* take(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece) override;
    void endBlock(ParsedPiece& piece) override;

protected:
    /// Appends the new form of an object that is not a triple term, or leaves a gap. Returns null, or the reason why
    /// the statement is refused.
    virtual const char* appendObject(const Rdf::Term& object, std::string& output) = 0;

    /// Looks up the contents of all gaps of the block in the dictionary.
    virtual void answerGaps() = 0;

    /// Appends the contents of the gap with this index. Returns null, or the reason why its statement is refused.
    virtual const char* appendAnswer(size_t gapIndex, std::string& output) = 0;

    /// Clears the gaps of the block.
    virtual void clearGaps() = 0;

    /// Appends a subject, predicate or graph. Returns null, or the reason why the statement is refused.
    virtual const char* appendTerm(const Rdf::Term& term, std::string& output) = 0;

    /// Appends a term unchanged.
    static void appendUnchanged(const Rdf::Term& term, std::string& output);

    /// Leaves a gap for the object of the current statement, with the next index.
    void leaveGap() { m_gaps.push_back({m_unfilled.size(), m_startOfStatement, m_line}); }

private:
    struct Gap {
        size_t m_offset;           // in m_unfilled; beyond its end if the statement was refused for another reason
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
