#include "Reader/LineTerms.h"

#include "Reader/CanonicalWriter.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using namespace Rdf;

/// Returns a term in canonical form and the text after it, or "expected a term" if there is none, or the error.
std::string read(const std::string_view text) {
    TextWindow window(Version::RDF_1_2);
    window.open(text.data() + text.size(), TextWindow::Beyond::NOTHING);
    LineTerms::Triples triples(2);
    Term term;
    const char* const end = LineTerms::readObject(window, text.data(), term, triples, "a term");
    if (end == nullptr)
        return window.takeFailure();
    std::string result;
    CanonicalWriter::appendTerm(term, result, CanonicalWriter::Tags::AS_WRITTEN);
    return result.append("|").append(end, window.getEnd());
}

TEST(LineTermsTest, aTermOfAnyKindCanStandAlone) {
    EXPECT_EQ("<a:b>|", read("<a:b>"));
    EXPECT_EQ("_:b.c|. <", read("_:b.c. <"));
    EXPECT_EQ("\"x\"@EN--ltr|", read("\"x\" @EN--ltr"));
    EXPECT_EQ("\"5\"^^<a:t>| .", read("\"\\u0035\"^^<a:t> ."));
    EXPECT_EQ("<<( _:s <a:p> <<( <a:s> <a:p> \"x\\n\"@EN )>> )>>|)",
              read("<<(_:s<a:p><<(<a:s><a:p>\"x\\n\"@EN)>>)>>)"));
}

TEST(LineTermsTest, errorsNameTheTermThatWasExpected) {
    EXPECT_EQ("expected a term, found 'x'", read("x"));
    EXPECT_EQ("expected a term, found the end of the text", read(""));
    EXPECT_EQ("expected a term, found '<'", read("<<a:b>"));
    EXPECT_EQ("expected an absolute IRI, found '<b>'", read("<b>"));
    EXPECT_EQ("expected a subject, found '\"'", read("<<( \"s\" <a:p> <a:o> )>>"));
    EXPECT_EQ("expected a predicate, found '_:p'", read("<<( <a:s> _:p <a:o> )>>"));
    EXPECT_EQ("expected an object, found ')'", read("<<( <a:s> <a:p> )>>"));
    EXPECT_EQ("this '<<(' is not closed: expected ')>>', found the end of the text", read("<<( <a:s> <a:p> <a:o>"));
    EXPECT_EQ("expected at most 2 brackets within each other, found one more",
              read("<<( _:s <a:p> <<( _:s <a:p> <<( _:s <a:p> _:o )>> )>> )>>"));
}

} // namespace
