#include "tools/melnar-dict/saved/ResourceRows.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace {

class ResourceRowsTest : public testing::Test {
protected:
    /// Returns the rows that `print` prints.
    template<class Print>
    std::string rowsOf(const bool asJson, const Print& print) {
        const std::string fileName = m_directory.addFile("rows", "");
        const int fileDescriptor = ::open(fileName.c_str(), O_WRONLY);
        StandardOutput output(fileDescriptor);
        ResourceRows rows(asJson, output, m_errorOutput);
        print(rows);
        output.flush();
        ::close(fileDescriptor);
        return TemporaryDirectory::getContentsOf(fileName);
    }

    static BatchEntry entryOf(const uint64_t resourceID, const std::string_view form, const uint8_t datatypeID) {
        BatchEntry entry;
        entry.m_resourceID = resourceID;
        entry.m_lexicalForm = form;
        entry.m_datatypeID = datatypeID;
        return entry;
    }

    const TemporaryDirectory m_directory;
    std::ostringstream m_errorOutput;
};

TEST_F(ResourceRowsTest, areLinesOfText) {
    EXPECT_EQ("1\t\"a\\\"b\"\n2\t\"a@b\"@en\nnot found\t3\nnot found\t\"c\"\n", rowsOf(false, [](ResourceRows& rows) {
                  rows.print(entryOf(1, "a\"b", D_XSD_STRING));
                  rows.print(entryOf(2, "a@b@en", D_RDF_PLAIN_LITERAL));
                  rows.printMissingResource(3);
                  rows.printMissingTerm(entryOf(0, "c", D_XSD_STRING));
              }));
}

TEST_F(ResourceRowsTest, areJsonWithNothingOfTheRowBefore) {
    EXPECT_EQ(
        R"({"id":2,"literal":"\"a@b\"@en","text":"a@b","language":"en","type":"literal","value":"a@b","datatype":null,"direction":null}
{"id":1,"literal":"\"a\\\"b@\"","text":"a\"b@","language":null,"type":"literal","value":"a\"b@","datatype":null,"direction":null}
{"id":3,"literal":null,"text":null,"language":null,"type":null,"value":null,"datatype":null,"direction":null}
{"id":2,"literal":"\"x\"@ar--rtl","text":"x","language":"ar","type":"literal","value":"x","datatype":null,"direction":"rtl"}
{"id":null,"literal":"\"c\"^^<a:t>","text":"c","language":null,"type":"literal","value":"c","datatype":"a:t","direction":null}
{"id":4,"literal":null,"text":null,"language":null,"type":"iri","value":"a:b","datatype":null,"direction":null}
{"id":5,"literal":"\"\"","text":"","language":null,"type":"literal","value":"","datatype":null,"direction":null}
)",
        rowsOf(true, [](ResourceRows& rows) {
            rows.print(entryOf(2, "a@b@en", D_RDF_PLAIN_LITERAL));
            rows.print(entryOf(1, "a\"b@", D_XSD_STRING));
            rows.printMissingResource(3);
            rows.print(entryOf(2, "x@ar--rtl", D_DIRECTIONAL_STRING));
            rows.printMissingTerm(entryOf(0, "c^^a:t", D_TYPED_LITERAL));
            rows.print(entryOf(4, "a:b", D_IRI));
            rows.print(entryOf(5, "", D_XSD_STRING));
        }));
}

TEST_F(ResourceRowsTest, leaveOutWhatCannotBeWrittenAndNameIt) {
    for (const bool asJson : {false, true}) {
        m_errorOutput.str("");
        EXPECT_EQ("", rowsOf(asJson, [](ResourceRows& rows) {
                      EXPECT_FALSE(rows.print(entryOf(1, "a\xFF\x1B", D_XSD_STRING)));
                      EXPECT_FALSE(rows.print(entryOf(2, "a@\x1B", D_RDF_PLAIN_LITERAL)));
                  }));
        EXPECT_TRUE(m_errorOutput.str().starts_with("melnar-dict: resource 1 cannot be written: ")) << asJson;
        EXPECT_NE(std::string::npos, m_errorOutput.str().find("\nmelnar-dict: resource 2 cannot be written: "));
    }
}

} // namespace
