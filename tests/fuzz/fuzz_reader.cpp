#include "tests/Reader/ReadInBlocks.h"
#include "tests/Reader/ReadText.h"
#include "tests/fuzz/Require.h"
#include "tests/fuzz/Syntaxes.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// The reader alone: in each syntax, it finds the same in a text, however it is cut, and examines every byte only a few
// times. The other options follow from a hash of the text, so any file is a valid input.

namespace {

Rdf::ReaderOptions chooseOptions(const size_t hash, const Rdf::Syntax syntax) {
    Rdf::ReaderOptions options = strict(syntax);
    options.m_version = hash % 4 == 0 ? Rdf::Version::RDF_1_1 : Rdf::Version::RDF_1_2;
    options.m_isLenient = hash / 4 % 4 != 0;
    if (hash / 16 % 4 == 0)
        options.m_maximumLength = 1 + hash / 64 % 100;
    return options;
}

/// Requires a claim about a syntax, whose name becomes a part of the message.
void requireIn(const Rdf::Syntax syntax, const bool isRight, const char* const claim) {
    if (!isRight)
        require(false, (std::string(claim) + " in " + getName(syntax)).c_str());
}

void check(const std::string_view text, const Rdf::Syntax syntax) {
    const size_t size = text.size();
    const size_t hash = std::hash<std::string_view>()(text);
    const Rdf::ReaderOptions options = chooseOptions(hash, syntax);
    const ReadResult whole = readText(text, options);
    requireIn(syntax, whole.m_bytesExamined <= 8 * size + 8, "a byte is looked at a few times only");
    const ReadResult pieces = readInPieces(text, 1 + hash / 64 % 20, options);
    requireIn(syntax, whole == pieces, "pieces give what the whole gives");
    requireIn(syntax, pieces.m_bytesExamined <= 16 * size + 64, "a byte of a piece is looked at a few times only");
    if (syntax == Rdf::Syntax::TURTLE || syntax == Rdf::Syntax::TRIG) {
        const GuessOrder order = hash / 32 % 2 == 0 ? GuessOrder::A_BLOCK_AHEAD : GuessOrder::AFTER_THE_FIRST_BLOCK;
        requireIn(syntax, whole == readInBlocks(cutText(text, 1 + hash / 128 % 300, syntax), options, order),
                  "blocks give what the whole gives");
        // The tool takes a byte order mark from the text before it cuts that.
        const size_t begin = text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
        const std::vector<size_t> cuts{begin + hash / 128 % (size - begin + 1), size - hash / 128 % (size + 1) / 2};
        if (cuts[0] <= cuts[1])
            requireIn(syntax, whole == readInBlocks(cutText(text, cuts), options, order),
                      "cuts anywhere give what the whole gives");
    }
    const ReadResult again = readText(whole.m_statements, strict(Rdf::Syntax::N_QUADS, options.m_version));
    requireIn(syntax, again.m_statements == whole.m_statements && again.m_errors.empty(),
              "what is found can be read again");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { // NOLINT(readability-identifier-naming)
    GTEST_FLAG_SET(throw_on_failure, true);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    for (const Rdf::Syntax syntax : SYNTAXES)
        check({reinterpret_cast<const char*>(data), size}, syntax);
    return 0;
}
