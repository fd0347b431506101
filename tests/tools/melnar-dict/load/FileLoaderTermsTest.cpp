#include "tools/melnar-dict/load/FileLoader.h"

#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

using namespace melnar;

namespace {

using Rows = std::vector<std::vector<uint64_t>>;
using Mode = BlankNodeScope::Mode;
using Order = TermResolver::Order;

/// The results of loading texts, each as a separate file.
struct TermOutcome {
    ExitCode m_exitCode;
    std::string m_errorOutput; // without the folder of the files, whose names are 1, 2, ...
    StatementCounts m_counts;
    std::vector<std::string> m_terms; // in Turtle syntax, in the order of their IDs from 1
    Rows m_rows;
    std::string m_savedBytes;
};

struct HowToLoad {
    RdfFormat m_format = RdfFormat::N_QUADS;
    size_t m_numberOfThreads = 1;
    bool m_isLenient = false;
    size_t m_blockSize = BlockReader::DEFAULT_BLOCK_SIZE;
    Order m_order = Order::INPUT;
    BlankNodeOptions m_blankNodes{};
    RowLayout m_rowLayout{4, RowLayout::NARROW};
};

Rows toRows(const std::string& bytes, const RowLayout& layout) {
    std::vector<uint64_t> ids;
    takeIDs(bytes, layout.m_idWidth, ids);
    Rows rows;
    for (size_t begin = 0; begin < ids.size(); begin += layout.m_columns)
        rows.emplace_back(ids.begin() + static_cast<ptrdiff_t>(begin),
                          ids.begin() + static_cast<ptrdiff_t>(begin + layout.m_columns));
    return rows;
}

TermOutcome loadTexts(const std::vector<std::string>& texts, const HowToLoad& how = {}) {
    const TemporaryDirectory directory;
    MemoryOutputStream rows;
    const FileLoader::Settings reading{how.m_numberOfThreads, how.m_isLenient, "http://base/", how.m_blockSize};
    TestLoad load(reading, {how.m_order, &rows, how.m_rowLayout, how.m_blankNodes});
    for (size_t number = 1; number <= texts.size(); ++number)
        load.load(directory.addFile(std::to_string(number), texts[number - 1]), how.m_format);
    TermOutcome outcome{load.getJournal().getExitCode(),
                        load.getErrorOutput(),
                        load.getJournal().getCounts(),
                        {},
                        toRows(rows.getBytes(), how.m_rowLayout),
                        {}};
    const std::string folder = directory.getPathOf("");
    for (size_t found = outcome.m_errorOutput.find(folder); found != std::string::npos;
         found = outcome.m_errorOutput.find(folder))
        outcome.m_errorOutput.erase(found, folder.size());
    const Dictionary& dictionary = load.getDictionary();
    for (uint64_t resourceID = 1; resourceID < dictionary.getNextResourceID(); ++resourceID)
        dictionary.appendTurtleLiteral(resourceID, outcome.m_terms.emplace_back());
    MemoryOutputStream saved;
    DictionaryFile::write(dictionary, saved);
    outcome.m_savedBytes = saved.getBytes();
    return outcome;
}

using Terms = std::vector<std::string>;

TEST(FileLoaderTermsTest, termsGetIDsInTheOrderOfTheirFirstAppearance) {
    const TermOutcome outcome = loadTexts({"<a:s> <a:p> \"x\" <a:g> .\n"
                                           "_:b <a:p> <a:s> .\n"
                                           "<a:s> <a:q> \"x\"@en _:b .\n"
                                           "<a:s> <a:q> \"x\"@EN <a:g> .\n"
                                           "<a:s> <a:q> \"01\"^^<a:int> <a:g> .\n"
                                           "<a:s> <a:q> \"1\"^^<a:int> <a:g> .\n"
                                           "<a:s> <a:q> \"x\"@en--ltr <a:g> .\n"
                                           "<a:s> <a:q> \"x\"^^<http://www.w3.org/2001/XMLSchema#string> <a:g> .\n"
                                           "<a:s> <a:q> <<( <a:s> <a:q> \"x\" )>> .\n"
                                           "<a:s> <a:q> \"\\u0078\" .\n"});
    EXPECT_EQ("", outcome.m_errorOutput);
    EXPECT_EQ((Terms{"<a:s>", "<a:p>", "\"x\"", "<a:g>", "_:b", "<a:q>", "\"x\"@en", "\"x\"@EN", "\"01\"^^<a:int>",
                     "\"1\"^^<a:int>", "\"x\"@en--ltr", "<<( <a:s> <a:q> \"x\" )>>"}),
              outcome.m_terms);
    EXPECT_EQ((Rows{{1, 2, 3, 4},
                    {5, 2, 1, 0},
                    {1, 6, 7, 5},
                    {1, 6, 8, 4},
                    {1, 6, 9, 4},
                    {1, 6, 10, 4},
                    {1, 6, 11, 4},
                    {1, 6, 3, 4},
                    {1, 6, 12, 0},
                    {1, 6, 3, 0}}),
              outcome.m_rows);
    EXPECT_EQ(10u, outcome.m_counts.m_statements);
    EXPECT_EQ(4u, outcome.m_counts.m_strings) << "that within the triple term, too";
    EXPECT_EQ(2u, outcome.m_counts.m_plainLiterals);
    EXPECT_EQ(2u, outcome.m_counts.m_otherLiterals);
    EXPECT_EQ(1u, outcome.m_counts.m_directionalStrings);
    EXPECT_EQ(1u, outcome.m_counts.m_tripleTerms);
    EXPECT_EQ(2u, outcome.m_counts.m_blankNodes);
    EXPECT_EQ(26u, outcome.m_counts.m_iris);
}

TEST(FileLoaderTermsTest, aStringWithinTripleTermsHasAnIDAfterItsStatement) {
    const TermOutcome outcome =
        loadTexts({"<a:s> <a:p> <<( <a:t> <a:q> <<( _:b <a:r> \"in\"@en )>> )>> <a:g> .\n<a:s> <a:p> \"next\" .\n"});
    EXPECT_EQ(
        (Terms{"<a:s>", "<a:p>", "<<( <a:t> <a:q> <<( _:b <a:r> \"in\"@en )>> )>>", "<a:g>", "\"in\"@en", "\"next\""}),
        outcome.m_terms);
    EXPECT_EQ((Rows{{1, 2, 3, 4}, {1, 2, 6, 0}}), outcome.m_rows);
}

TEST(FileLoaderTermsTest, labelsBelongToTheirDocumentsUnlessTheyAreShared) {
    const std::vector<std::string> texts{"_:b <a:p> _:b .\n_:doc2-b <a:p> _:b .\n",
                                         "_:b <a:p> <<( _:b <a:p> _:c )>> _:g .\n"};
    const TermOutcome scoped = loadTexts(texts);
    EXPECT_EQ((Terms{"_:b", "<a:p>", "_:doc_2-b", "_:doc2-b", "<<( _:doc2-b <a:p> _:doc2-c )>>", "_:doc2-g"}),
              scoped.m_terms);
    const TermOutcome later = loadTexts(texts, {.m_blankNodes = {Mode::DOCUMENTS, 7}});
    EXPECT_EQ((Terms{"_:doc7-b", "<a:p>", "_:doc7-doc2-b", "_:doc8-b", "<<( _:doc8-b <a:p> _:doc8-c )>>", "_:doc8-g"}),
              later.m_terms);
    const TermOutcome shared = loadTexts(texts, {.m_blankNodes = {Mode::SHARED, 7}});
    EXPECT_EQ((Terms{"_:b", "<a:p>", "_:doc_2-b", "<<( _:b <a:p> _:c )>>", "_:g"}), shared.m_terms);
    EXPECT_EQ((Rows{{1, 2, 1, 0}, {3, 2, 1, 0}, {1, 2, 4, 5}}), shared.m_rows);
}

TEST(FileLoaderTermsTest, theNextDocumentIsOneThatNoBlankNodeBelongsTo) {
    const auto getNextDocument = [](const std::vector<std::string>& labels, const std::string& tripleTerm = "") {
        Dictionary dictionary({.m_memoryLimit = TestLoad::MEMORY_LIMIT, .m_maximumNumberOfResources = 1000});
        {
            DictionaryThread thread(dictionary);
            for (const std::string& label : labels)
                dictionary.resolveResource(thread, label, D_BLANK_NODE);
            dictionary.resolveResource(thread, "doc99-x", D_XSD_STRING);
            if (!tripleTerm.empty())
                dictionary.resolveResource(thread, tripleTerm, D_TRIPLE_TERM);
        }
        return FileLoader::getNextDocument(dictionary);
    };
    EXPECT_EQ(1u, getNextDocument({}));
    EXPECT_EQ(2u, getNextDocument({"b"}));
    EXPECT_EQ(2u, getNextDocument({"doc_5-b"}));
    EXPECT_EQ(18u, getNextDocument({"b", "doc17-b", "doc3-b"}));
    EXPECT_EQ(1u, getNextDocument({}, "<<( <a:s> <a:p> <a:o> )>>"));
    EXPECT_EQ(2u, getNextDocument({}, "<<( <a:s> <a:p> _:b )>>"));
    EXPECT_EQ(2u, getNextDocument({}, "<<( _:b <a:_:doc7-p> \" _:doc8-b \\\" _:doc9-b\" )>>")) << "no labels but one";
    EXPECT_EQ(BlankNodeScope::LARGEST_DOCUMENT,
              getNextDocument({"doc" + std::to_string(BlankNodeScope::LARGEST_DOCUMENT - 1) + "-b"}));
    for (const char* const label : {"doc9223372036854775807-b", "doc18446744073709551615-b"})
        EXPECT_THROW(getNextDocument({label}), ToolFailure) << "whose numbers the next files would have";
    EXPECT_EQ(6u, getNextDocument({"doc2-b"}, "<<( _:doc4-b <a:p> <<( _:doc5-b <a:p> _:b )>> )>>"));
    std::vector<std::string> many; // so they share the text before the label
    for (int number = 0; number < 50; ++number)
        many.push_back("doc12-" + std::to_string(number));
    EXPECT_EQ(13u, getNextDocument(many));
}

TEST(FileLoaderTermsTest, rowsHaveTheRequestedLayout) {
    const std::vector<std::string> texts{"<a:s> <a:p> \"x\" .\n"};
    for (const size_t width : {RowLayout::NARROW, RowLayout::WIDE}) {
        EXPECT_EQ((Rows{{1, 2, 3}}),
                  loadTexts(texts, {.m_format = RdfFormat::N_TRIPLES, .m_rowLayout = {3, width}}).m_rows);
        EXPECT_EQ((Rows{{1, 2, 3, 0}}),
                  loadTexts(texts, {.m_format = RdfFormat::N_TRIPLES, .m_rowLayout = {4, width}}).m_rows);
    }
}

TEST(FileLoaderTermsConcurrentTest, inputOrderGivesTheSameBytesWithAnyNumberOfThreads) {
    for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::N_QUADS, RdfFormat::TURTLE, RdfFormat::TRIG}) {
        const std::vector<std::string> texts{makeStatements(format, 6000), makeStatements(format, 500),
                                             makeStatements(format, 7000)};
        HowToLoad how{.m_format = format};
        const TermOutcome expected = loadTexts(texts, how);
        EXPECT_EQ("", expected.m_errorOutput);
        EXPECT_EQ(13500u, expected.m_rows.size());
        EXPECT_LT(5000u, expected.m_terms.size());
        for (const size_t numberOfThreads : std::initializer_list<size_t>{2, 7, 20})
            for (const size_t blockSize : std::initializer_list<size_t>{700, 30'000}) {
                how.m_numberOfThreads = numberOfThreads;
                how.m_blockSize = blockSize;
                const TermOutcome outcome = loadTexts(texts, how);
                EXPECT_EQ("", outcome.m_errorOutput);
                EXPECT_EQ(expected.m_terms, outcome.m_terms);
                EXPECT_EQ(expected.m_rows, outcome.m_rows);
                EXPECT_TRUE(expected.m_savedBytes == outcome.m_savedBytes) << numberOfThreads << " threads";
            }
    }
}

TEST(FileLoaderTermsConcurrentTest, anyOrderGivesTheSameStatementsInTheirOrder) {
    const auto getStatements = [](const TermOutcome& outcome) {
        std::vector<std::string> statements;
        for (const std::vector<uint64_t>& row : outcome.m_rows) {
            statements.emplace_back();
            for (const uint64_t resourceID : row)
                statements.back() += resourceID == 0 ? "-" : outcome.m_terms.at(resourceID - 1) + ' ';
        }
        return statements;
    };
    for (const RdfFormat format : {RdfFormat::N_QUADS, RdfFormat::TRIG}) {
        const std::vector<std::string> texts{makeStatements(format, 5000)};
        const std::vector<std::string> expected = getStatements(loadTexts(texts, {.m_format = format}));
        for (const size_t numberOfThreads : std::initializer_list<size_t>{1, 2, 7}) {
            const TermOutcome outcome = loadTexts(
                texts,
                {.m_format = format, .m_numberOfThreads = numberOfThreads, .m_blockSize = 1000, .m_order = Order::ANY});
            EXPECT_EQ("", outcome.m_errorOutput);
            EXPECT_EQ(expected, getStatements(outcome));
        }
    }
}

TEST(FileLoaderTermsConcurrentTest, aRefusedLiteralCostsItsStatementAndNoOther) {
    const std::string refused =
        "<a:new> <a:other> \"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .\n";
    const std::string within =
        "<a:new> <a:other> <<( <a:t> <a:q> \"x@a-\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> )>> .\n";
    const std::string malformed = "<a:new> <a:other> \"\\q\" .\n";
    std::string text;
    for (int number = 0; number < 300; ++number)
        text += "<a:s> <a:p> \"" + std::to_string(number) + "\" .\n" +
                (number % 10 == 3   ? refused
                 : number % 10 == 5 ? within
                 : number % 10 == 7 ? malformed
                                    : "");
    for (const RdfFormat format : {RdfFormat::N_QUADS, RdfFormat::TRIG}) {
        const TermOutcome expected = loadTexts({text}, {.m_format = format, .m_isLenient = true});
        EXPECT_EQ(300u, expected.m_rows.size());
        EXPECT_EQ(300u, expected.m_counts.m_statements);
        EXPECT_EQ(302u, expected.m_terms.size()) << "nothing of a refused statement has an ID";
        EXPECT_EQ(90, std::count(expected.m_errorOutput.begin(), expected.m_errorOutput.end(), '\n'));
        EXPECT_EQ(0u,
                  expected.m_errorOutput.find("1:5: Lexical form 'x' is invalid for datatype rdf:PlainLiteral because "
                                              "it does not contain the '@' character.\n1:8: Lexical form 'x@a-'"));
        for (const size_t numberOfThreads : std::initializer_list<size_t>{2, 7}) {
            HowToLoad how{
                .m_format = format, .m_numberOfThreads = numberOfThreads, .m_isLenient = true, .m_blockSize = 300};
            const TermOutcome outcome = loadTexts({text}, how);
            EXPECT_EQ(expected.m_errorOutput, outcome.m_errorOutput);
            EXPECT_EQ(expected.m_terms, outcome.m_terms);
            EXPECT_EQ(expected.m_rows, outcome.m_rows);
            how.m_isLenient = false;
            const TermOutcome strict = loadTexts({text}, how);
            EXPECT_EQ(ExitCode::BAD_DATA, strict.m_exitCode);
            EXPECT_EQ(expected.m_errorOutput.substr(0, expected.m_errorOutput.find('\n') + 1), strict.m_errorOutput);
        }
    }
}

TEST(FileLoaderTermsConcurrentTest, aLimitOfTheDictionaryEndsTheLoad) {
    for (const Order order : {Order::INPUT, Order::ANY})
        for (const size_t numberOfThreads : std::initializer_list<size_t>{1, 2, 7}) {
            const TemporaryDirectory directory;
            const std::string fileName = directory.addFile("1", makeStatements(RdfFormat::N_QUADS, 3000));
            MemoryOutputStream rows;
            TestLoad load({numberOfThreads, true, "", 500}, {.m_order = order, .m_rowStream = &rows},
                          TestLoad::MEMORY_LIMIT, 100);
            load.load(fileName, RdfFormat::N_QUADS);
            EXPECT_EQ(ExitCode::FAILURE, load.getJournal().getExitCode());
            EXPECT_EQ(1u, load.getJournal().getNumberOfErrors());
            EXPECT_EQ(100u, load.getDictionary().getNextResourceID() - 1);
        }
}

/// Simulates a disk that is full after some bytes.
class FullDisk final : public OutputStream {
public:
    const std::string& getName() const override { return m_name; }
    void write(const void*, const size_t numberOfBytes) override {
        if (m_room < numberOfBytes)
            throw std::runtime_error("no room");
        m_room -= numberOfBytes;
    }
    void flush() override {}

private:
    const std::string m_name = "disk";
    size_t m_room = 50'000;
};

TEST(FileLoaderTermsConcurrentTest, rowsThatCannotBeWrittenEndTheLoad) {
    for (const size_t numberOfThreads : std::initializer_list<size_t>{1, 2, 7}) {
        const TemporaryDirectory directory;
        const std::string fileName = directory.addFile("1", makeStatements(RdfFormat::N_QUADS, 5000));
        FullDisk disk;
        TestLoad load({numberOfThreads, true, "", 1000}, {.m_rowStream = &disk});
        load.load(fileName, RdfFormat::N_QUADS);
        EXPECT_EQ(ExitCode::FAILURE, load.getJournal().getExitCode());
        EXPECT_NE(std::string::npos, load.getErrorOutput().find("no room"));
    }
}

} // namespace
