#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

/// Goes over Turtle or TriG token by token and makes of it a text of the same meaning, with line feeds in the same
/// places, that serd 0.30 reads rightly; refuses what serd would accept although it is wrong.
///
/// Serd is at odds with the grammar where
///   - an unescaped quote in a long string is followed by an escape (it takes the backslash for text),
///   - an integer is followed by the full stop of its statement (it makes a string of it),
///   - a name, label or number is followed by several full stops, or a prefix starts with "true" or "false",
///   - a document has labels such as _:b1 beside _:B1 (it refuses them),
///   - a string and its tag or datatype have space between them (it makes a plain string of it and then objects),
///   - a comment holds a zero byte (it ends there),
///   - an escape stands for half a surrogate pair; braces stand in Turtle; a prefix has not been declared; "=" stands
///     in brackets; a statement consists of "[]" alone, or starts with a bare word; a directive is glued to a name,
///   - brackets are nested deeper than its stack allows (it crashes).
/// All else is handed on as it is, mistakes included, for serd to judge.
///
/// Units    Lines are counted by line feeds, from the number given. `filter` takes whole lines, one text after another.
/// Threads  One at a time.
/// Errors   A fault ends the document; what stands before it has been filtered.
class TurtleFilter {
public:
    static constexpr size_t MAXIMUM_NESTING = 1000;

    struct Fault {
        uint64_t m_line;
        std::string m_cause;
    };

    explicit TurtleFilter(const bool graphsAllowed) : m_graphsAllowed(graphsAllowed) {}

    /// Starts again outside of all statements, at the start of a line. Prefixes stay declared.
    void restart(uint64_t line);

    /// Filters lines of valid UTF-8, appending to `output`, and for each literal the line that it starts in.
    std::optional<Fault> filter(std::string_view text, std::string& output, std::vector<uint64_t>& literalLines);

    /// The same up to and with the full stop that ends the statement, if it is there; removes from the text what has
    /// been filtered. Directives without a full stop are a part of the statement behind them. In Turtle only.
    std::optional<Fault> filterStatement(std::string_view& text, std::string& output,
                                         std::vector<uint64_t>& literalLines);

    /// Whether the text filtered last ends with the full stop of a statement.
    bool isBehindFullStop() const noexcept { return m_isBehindFullStop; }

    /// Takes note that statements up to this line have been read by somebody else.
    void skipTo(const uint64_t line) noexcept { m_line = line; }

    /// Whether there is such a prefix.
    bool isDeclared(std::string_view prefix);

    /// Whether serd would take the start of a prefixed name for true or false, or for a name that has been kept from
    /// that. The filter gives such names another prefix.
    static bool looksLikeBoolean(std::string_view prefix) noexcept;

    /// The line that the next byte belongs to.
    uint64_t getLine() const noexcept { return m_line; }

private:
    /// What stands before the current token, as far as it decides how serd reads that.
    enum class Before {
        STATEMENT,     // nothing: a statement, directive or graph starts here
        DIRECTIVE,     // PREFIX or BASE, which end with an IRI instead of a full stop
        EMPTY_BRACKET, // a '[' that starts a statement
        EMPTY_NODE,    // the same with its ']'
        OTHER,
    };

    /// How far a literal has been read whose parts may have space between them.
    enum class Suffix { NONE, STRING, CARETS };

    void setText(std::string_view text, std::string& output, std::vector<uint64_t>& literalLines) noexcept;
    void takeNext();
    void takeToken();
    void takeTokenProper();
    void takeSpace();
    void takeComment();
    void takeIri();
    void takeStringStart();
    void takeString();
    void takeQuoteInLongString();
    void takeEscapeInString();
    void takeAtSign();
    void takeCaret();
    void takeNumber(const char* end);
    void takeLabel();
    void takeName();
    void takeWord(std::string_view word);
    void takePrefixedName(std::string_view name, size_t colon);
    void takeBracket(char bracket);
    void takePunctuation(char punctuation);
    void endString();
    void endSuffix();
    void copyTo(const char* end);
    void separate();
    char peek(size_t distance) const noexcept;
    void fail(std::string cause);

    // Constant.
    const bool m_graphsAllowed;
    // Of the current text.
    const char* m_current = nullptr;
    const char* m_end = nullptr;
    std::string* m_output = nullptr;
    std::vector<uint64_t>* m_literalLines = nullptr;
    std::optional<Fault> m_fault;
    // Of the document.
    uint64_t m_line = 1;
    Before m_before = Before::STATEMENT;
    Suffix m_suffix = Suffix::NONE;
    uint64_t m_heldLineFeeds = 0;
    bool m_holdsSpace = false;
    char m_quote = 0; // of the string that is being read, 0 outside
    bool m_isLongString = false;
    size_t m_nesting = 0;
    bool m_isInGraph = false;
    bool m_isBehindFullStop = false;
    bool m_declaresPrefix = false;
    std::unordered_set<std::string> m_prefixes;
    std::optional<std::string> m_lastPrefix; // one that is known to be declared
};
