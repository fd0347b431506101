#include "tests/Reader/ReadText.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using namespace Rdf;

const std::vector<std::string> TEXTS{
    "<a:s> <a:p> \"\\u00E4\xC3\xA4\"@en-GB <a:g> . # \xF0\x9F\x98\x80\r\n_:b.c <a:p> <<( <a:s> <a:p> \"x\"^^<a:d> )>> "
    ".\n"
    "VERSION \"1.2\"\n<a:\\u0061><a:p>\"\"@ar--rtl.\n",
    "@prefix : <u:> . # \xC3\xA4\n@base <v:/x/> .\r\n:s a 'a', \"b\"@en--ltr ; :p 1.5, 1. :s :p true, -.5e3.\n",
    "PREFIX : <u:> [ :p :a.b ; :q (1 [] ()) ] . <<:s :p :o ~ :r>> :p <<( :s :p '''l\\n\"o\"ng''' )>> .\n"
    ":s :p :o ~ {| :a :b |} . :s :p \"\"\"a\"\"b\"\"\" . PREFIX x: <y> x:a x:b\\-c x:d%41 .\n",
    "@prefix : <u:> . { :s :p :o } :g { :s :p 1 . :s :p 2. } GRAPH _:g { :s :p <../x> } [] { :s :p :o ~ {| :a :b |} }"};

const std::vector<std::string> PIECES{".",
                                      ";",
                                      ",",
                                      "[",
                                      "]",
                                      "(",
                                      ")",
                                      "{",
                                      "}",
                                      "{|",
                                      "|}",
                                      "<<",
                                      "<<(",
                                      ">>",
                                      ")>>",
                                      "~",
                                      "\"",
                                      "\"\"\"",
                                      "'",
                                      "'''",
                                      "\\",
                                      "\\u",
                                      "\\uD800",
                                      "@en",
                                      "@",
                                      "^^",
                                      "<",
                                      ">",
                                      ":",
                                      "_:",
                                      "#",
                                      "\n",
                                      "\r",
                                      " ",
                                      "a",
                                      "true",
                                      "1",
                                      "1.e",
                                      "-",
                                      "@prefix ",
                                      "PREFIX ",
                                      "BASE ",
                                      "%4",
                                      "\xFF",
                                      "\xC3",
                                      "\xC3\xA4",
                                      "\xED\xA0\x80",
                                      "\xEF\xBB\xBF",
                                      "GRAPH ",
                                      "x:y",
                                      "VERSION",
                                      "--",
                                      std::string(1, '\0')};

void damage(std::string& text, std::mt19937& random) {
    for (size_t count = 1 + random() % 4; count != 0; --count) {
        const size_t place = random() % (text.size() + 1);
        const size_t length = random() % 6;
        switch (random() % 4) {
        case 0:
            text.insert(place, PIECES[random() % PIECES.size()]);
            break;
        case 1:
            text.erase(place, length);
            break;
        case 2:
            text.replace(place, std::min(length, text.size() - place), PIECES[random() % PIECES.size()]);
            break;
        default:
            text.insert(place, text.substr(random() % (text.size() + 1), random() % 40));
        }
    }
}

void check(const std::string& text, const ReaderOptions& options, const size_t pieceSize) {
    const ReadResult whole = readText(text, options);
    ASSERT_EQ(whole, readInPieces(text, pieceSize, options)) << pieceSize;
    ASSERT_LE(whole.m_bytesExamined, 8 * text.size() + 8);
    const ReadResult again = readText(whole.m_statements, strict(Syntax::N_QUADS, options.m_version));
    ASSERT_EQ(whole.m_statements, again.m_statements);
    ASSERT_EQ(std::vector<std::string>(), again.m_errors);
    uint64_t end = 0;
    for (const std::string& skipped : whole.m_skipped) {
        ASSERT_GE(std::stoul(skipped), end) << "what is skipped does not overlap";
        end = std::stoul(skipped.substr(skipped.find('-') + 1));
        ASSERT_LE(end, text.size());
    }
}

TEST(ReaderFuzzTest, damagedTextsDoNoHarmAndWhatIsReadIsSound) {
    for (const uint32_t seed : getTestSeeds(4)) {
        std::mt19937 random(seed);
        for (int round = 0; round < 2'500; ++round) {
            std::string text = TEXTS[random() % TEXTS.size()];
            damage(text, random);
            ReaderOptions options = lenient(static_cast<Syntax>(random() % 4));
            options.m_version = random() % 4 == 0 ? Version::RDF_1_1 : Version::RDF_1_2;
            options.m_isLenient = random() % 4 != 0;
            SCOPED_TRACE(text + "\n" + describeSeed(seed) + " syntax " +
                         std::to_string(static_cast<int>(options.m_syntax)));
            check(text, options, 1 + random() % 20);
            if (HasFatalFailure())
                return;
        }
    }
}

} // namespace
