#pragma once

#include <string_view>

/// What a line of N-Triples or N-Quads is, judged by the order of its terms alone.
///
/// The parser below reads statements that go over several lines, several statements in a line, and some of Turtle's
/// abbreviations, none of which these formats have. Once every line is known to be blank or to hold the terms of one
/// statement and its full stop, the parser has only the insides of the terms left to judge, and the n-th statement that
/// it reads is the n-th line that holds one.
struct LineShape {
    enum class Kind { BLANK, STATEMENT, FAULTY };

    Kind m_kind;
    const char* m_cause = nullptr; // why it is faulty
    const char* m_gap = nullptr;   // where the parser needs a space that the text lacks, if anywhere
    const char* m_end = nullptr;   // where a comment starts or the line ends
    // The subject's label where the parser needs another letter before it, for it takes this one for a keyword.
    const char* m_keyword = nullptr;
};

/// Judges a line without its line end. The line is valid UTF-8; `graphsAllowed` tells N-Quads from N-Triples.
LineShape shapeOfLine(std::string_view line, bool graphsAllowed) noexcept;
