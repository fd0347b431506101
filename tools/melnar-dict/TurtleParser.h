#pragma once

#include "tools/melnar-dict/LiteralCollector.h"
#include "tools/melnar-dict/ParsedPiece.h"
#include "tools/melnar-dict/PlainTurtle.h"
#include "tools/melnar-dict/RdfFormat.h"
#include "tools/melnar-dict/RecentText.h"
#include "tools/melnar-dict/SerdClient.h"
#include "tools/melnar-dict/SerdRun.h"
#include "tools/melnar-dict/TurtleFilter.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Reads a file of Turtle or TriG from its start to its end and hands out what it finds piece by piece.
///
/// In Turtle, plain statements are read at once, and the others up to the next plain one by a run of serd; TriG is all
/// serd's.
///
/// Units    Lines are counted from the start of the file, by line feeds.
/// Threads  One at a time.
/// Errors   Bad data goes into the piece that is being filled: the first of the file, or, when lenient, each, after
///          which it goes on behind the next line that ends with a full stop. So do errors of the reader, behind
///          everything that was read before them.
class TurtleParser final : private SerdClient {
public:
    /// Takes a piece, none at the start, and returns the one to fill next, which is empty; null ends the parser.
    using PieceExchange = std::function<std::unique_ptr<ParsedPiece>(std::unique_ptr<ParsedPiece>)>;

    /// Relative IRIs are resolved against `base` until the file says otherwise.
    TurtleParser(RdfFormat format, const std::string& base, bool lenient, BlockReader& reader,
                 PieceExchange exchangePiece);

    void parse();

private:
    struct EnvironmentDeleter {
        void operator()(SerdEnv* const environment) const noexcept { serd_env_free(environment); }
    };

    /// Why the text ends before the file does.
    struct TextFault {
        uint64_t m_line;
        LoadError m_error;
    };

    bool readOn();
    void readPlainStatements();
    const char* readPlainStatement();
    void takePlainStatement();
    bool hasUnread();
    bool fillFiltered();
    void filterUnread();
    void filterRestOfLine(uint64_t line);
    uint64_t lineOf(const SerdFault& fault, uint64_t firstLine) const noexcept;
    void exchangeFullPiece();
    LoadError chooseError(const std::optional<SerdFault>& fault, uint64_t firstLine) const;
    LiteralKind literalKindOf(const SerdNode& datatype) const;

    size_t provideText(char* buffer, size_t size) override;
    const char* takeStatement(const SerdStatement& statement) override;
    const char* takeBase(const SerdNode& iri) override;
    const char* takePrefix(const SerdNode& name, const SerdNode& iri) override;

    const RdfFormat m_format;
    const bool m_isLenient;
    const PieceExchange m_exchangePiece;
    const std::unique_ptr<SerdEnv, EnvironmentDeleter> m_environment;
    RecentText m_text;
    TurtleFilter m_filter;
    PlainTurtle m_plainTurtle;
    std::string_view m_unread;      // of the current text, as far as it is valid
    bool m_isInvalidBehind = false; // whether the current text goes on with what is not valid
    std::unique_ptr<ParsedPiece> m_piece;
    std::string m_filtered;               // the text that serd is to be given next
    size_t m_filteredOffset = 0;          // how much of it serd has been given
    uint64_t m_numberOfBytesGiven = 0;    // to serd, since the start of the file
    uint64_t m_startOfPage = 0;           // what serd had been given when it asked for the latest page
    bool m_isStatementFiltered = false;   // whether the text that serd is to be given may end with m_filtered
    std::vector<uint64_t> m_literalLines; // of the literals in the text that serd has yet to read
    size_t m_nextLiteral = 0;
    std::optional<TextFault> m_textFault;
};
