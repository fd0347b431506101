#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/load/TestLoad.h"
#include "tools/melnar-dict/pieces/TermText.h"

#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "Reader/Utf8.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

using namespace melnar;

namespace {

constexpr const char* PLAIN_LITERAL = "^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral>";

void replaceAll(std::string& text, const std::string_view what, const std::string_view replacement) {
    for (size_t found = text.find(what); found != std::string::npos; found = text.find(what, found)) {
        text.replace(found, what.size(), replacement);
        found += replacement.size();
    }
}

/// Makes objects with a character, raw or escaped, in each place that allows one.
std::vector<std::string> makeObjects(const uint32_t character) {
    std::array<char, 4> bytes{};
    const std::string raw(bytes.data(), Rdf::Utf8::encode(character, bytes.data()));
    std::array<char, 11> escaped{};
    static_cast<void>(std::snprintf(escaped.data(), escaped.size(), "\\U%08X", character));
    std::vector<std::string> objects;
    for (const char* const pattern : {"<a:C>", "<C>", "_:C", "_:xC", "_:xCx", "\"C\"", "\"x\"^^<a:C>", "\"^^C\"^^<a:b>",
                                      "\"@C\"@en--ltr", "\"x\"@enC", "\"@C\"@en", "\"--C\"@en-C", "\"C\"@en--ltrC"})
        for (const std::string& text : {raw, std::string(escaped.data())}) {
            objects.emplace_back(pattern);
            replaceAll(objects.back(), "C", text);
        }
    return objects;
}

/// Makes every character below U+0400, and those at the limits of the ranges in the grammars.
std::vector<uint32_t> makeCharacters() {
    std::vector<uint32_t> characters;
    for (uint32_t character = 0; character < 0x400; ++character)
        characters.push_back(character);
    for (const uint32_t edge : {0x2000u, 0x200Cu, 0x200Du, 0x2028u, 0x203Fu,  0x2040u,  0x2070u,  0x218Fu,
                                0x2C00u, 0x2FEFu, 0x3001u, 0xD7FFu, 0xE000u,  0xF900u,  0xFDCFu,  0xFDF0u,
                                0xFEFFu, 0xFFFDu, 0xFFFEu, 0xFFFFu, 0x10000u, 0xEFFFFu, 0xF0000u, 0x10FFFFu})
        for (const uint32_t character : {edge - 1, edge, edge + 1})
            if ((character < 0xD800 || character > 0xDFFF) && character <= 0x10FFFF)
                characters.push_back(character);
    return characters;
}

/// Loads objects leniently, each in its own statement and within a triple term: the dictionary must take those that the
/// reader takes, and it must be possible to write them.
void expectAgreement(const std::vector<std::string>& objects, const Rdf::Version version) {
    std::string text;
    for (const std::string& object : objects)
        text += "<a:s> <a:p> " + object + " .\n<a:s> <a:p> <<( <a:s> <a:p> " + object + " )>> .\n<a:s> <a:p> <<( " +
                object + " <a:p> <a:o> )>> .\n";
    const TemporaryDirectory directory;
    MemoryOutputStream rows;
    const RowLayout layout{3, RowLayout::NARROW};
    FileLoader::Settings reading{.m_numberOfThreads = 1, .m_isLenient = true};
    reading.m_version = version;
    TestLoad load(reading, {.m_rowStream = &rows, .m_rowLayout = layout});
    load.load(directory.addFile("in.nt", text), RdfFormat::N_TRIPLES);
    ASSERT_EQ(ExitCode::DONE, load.getJournal().getExitCode());
    const uint64_t statements = load.getJournal().getCounts().m_statements;
    EXPECT_LT(objects.size() / 3, statements);
    EXPECT_EQ(statements, rows.getBytes().size() / layout.getRowSize()) << "read, and not resolved";
    const Dictionary& dictionary = load.getDictionary();
    dictionary.verify();
    std::string form;
    for (uint64_t resourceID = 1; resourceID < dictionary.getNextResourceID(); ++resourceID) {
        const uint8_t datatypeID = dictionary.getResource(resourceID, form);
        const char* const flaw = findTermFlaw(form, datatypeID);
        EXPECT_EQ(nullptr, flaw) << testing::PrintToString(form) << ": " << (flaw == nullptr ? "" : flaw);
    }
}

TEST(AcceptedTermsTest, aDictionaryTakesEveryCharacterWhereTheReaderDoes) {
    std::vector<std::string> objects;
    for (const uint32_t character : makeCharacters())
        for (std::string& object : makeObjects(character))
            objects.push_back(std::move(object));
    for (const Rdf::Version version : {Rdf::Version::RDF_1_1, Rdf::Version::RDF_1_2})
        expectAgreement(objects, version);
}

TEST(AcceptedTermsTest, aDictionaryTakesEveryFormOfLiteralsThatTheReaderDoes) {
    const std::string plain = PLAIN_LITERAL;
    expectAgreement({"\"\"", "\"@\"@en", "\"x@en\"" + plain, "\"x@\"" + plain, "\"@en\"" + plain, "\"@\"" + plain,
                     "\"x@y@en-GB\"" + plain, "\"x@abcdefghi\"" + plain, "\"x@en-abcdefghi\"" + plain, "\"x\"@en--ltr",
                     "\"--ltr\"@en--rtl", "\"x@en--ltr\"", "\"x\"@en-1-a",
                     "\"x\"^^<http://www.w3.org/2001/XMLSchema#string>", "\"^^\"^^<a:b>", "\"x\\\\\"^^<a:b>"},
                    Rdf::Version::RDF_1_2);
    expectAgreement({"\"x\"@abcdefghij", "\"x\"@en-abcdefghij",
                     "\"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#langString>",
                     "\"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#dirLangString>"},
                    Rdf::Version::RDF_1_1);
}

} // namespace
