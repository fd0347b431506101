#include "tests/Reader/ReadInBlocks.h"
#include "tests/Reader/ReadText.h"
#include "tests/fuzz/Require.h"

#include <gtest/gtest.h>

#include <functional>
#include <string_view>

// The reader alone: it finds the same in a text, however it is cut, and examines every byte only a few times. The
// options, except the syntax, follow from a hash of the text, so any file is a valid input.

extern "C" int LLVMFuzzerInitialize(int*, char***) { // NOLINT(readability-identifier-naming)
    GTEST_FLAG_SET(throw_on_failure, true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const size_t hash = std::hash<std::string_view>()(text);
    Rdf::ReaderOptions options = strict(Rdf::Syntax::MELNAR_FUZZED_SYNTAX);
    options.m_version = hash % 4 == 0 ? Rdf::Version::RDF_1_1 : Rdf::Version::RDF_1_2;
    options.m_isLenient = hash / 4 % 4 != 0;
    if (hash / 16 % 4 == 0)
        options.m_maximumLength = 1 + hash / 64 % 100;
    const ReadResult whole = readText(text, options);
    require(whole.m_bytesExamined <= 8 * size + 8, "a byte is looked at a few times only");
    const ReadResult pieces = readInPieces(text, 1 + hash / 64 % 20, options);
    require(whole == pieces, "pieces give what the whole gives");
    require(pieces.m_bytesExamined <= 16 * size + 64, "a byte of a piece is looked at a few times only");
    if (options.m_syntax == Rdf::Syntax::TURTLE || options.m_syntax == Rdf::Syntax::TRIG) {
        const GuessOrder order = hash / 32 % 2 == 0 ? GuessOrder::A_BLOCK_AHEAD : GuessOrder::AFTER_THE_FIRST_BLOCK;
        require(whole == readInBlocks(cutText(text, 1 + hash / 128 % 300, options.m_syntax), options, order),
                "blocks give what the whole gives");
        // The tool takes a byte order mark from the text before it cuts that.
        const size_t begin = text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
        const std::vector<size_t> cuts{begin + hash / 128 % (size - begin + 1), size - hash / 128 % (size + 1) / 2};
        if (cuts[0] <= cuts[1])
            require(whole == readInBlocks(cutText(text, cuts), options, order),
                    "cuts anywhere give what the whole gives");
    }
    const ReadResult again = readText(whole.m_statements, strict(Rdf::Syntax::N_QUADS, options.m_version));
    require(again.m_statements == whole.m_statements && again.m_errors.empty(), "what is found can be read again");
    return 0;
}
