#include "tools/melnar-dict/pieces/BlankNodeOptions.h"

#include "tests/support/CaughtException.h"
#include "tools/melnar-dict/shell/CommandLine.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

BlankNodeOptions read(const std::vector<std::string>& arguments,
                      const InputFiles& files = {{"a.nt", RdfFormat::N_TRIPLES}, {"b.nq", RdfFormat::N_QUADS}}) {
    BlankNodeOptions options;
    VerbDescription verb{"verb", "", "", "", {}};
    addBlankNodes(verb, files, options);
    addDocument(verb, options);
    readCommandLine(verb, arguments);
    return options;
}

TEST(BlankNodeOptionsTest, filesAreDocumentsInTheirOrderUnlessLabelsAreShared) {
    EXPECT_EQ(1u, read({}).getDocument(0));
    EXPECT_EQ(3u, read({}).getDocument(2));
    EXPECT_EQ(3u, read({"--blank-nodes", "documents"}).getDocument(2));
    EXPECT_EQ(7u, read({"--document", "5"}).getDocument(2));
    EXPECT_EQ(1u, read({"--blank-nodes", "shared"}).getDocument(2));
    EXPECT_EQ(1u, read({"--blank-nodes", "shared", "--document", "1"}).getDocument(2));
}

TEST(BlankNodeOptionsTest, whatContradictsItselfIsRefused) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--blank-nodes", "all"},
                                               {"--document", "0"},
                                               {"--document", "18446744073709551615"},
                                               {"--document", "2", "--blank-nodes", "shared"}})
        EXPECT_EQ(ExitCode::USAGE, catchException<ToolFailure>([&] { read(arguments); }).getExitCode())
            << arguments.back();
}

TEST(BlankNodeOptionsTest, labelsThatTheReaderMakesAreNotShared) {
    const std::vector<std::string> shared{"--blank-nodes", "shared"};
    for (const RdfFormat format : {RdfFormat::TURTLE, RdfFormat::TRIG}) {
        const InputFiles files{{"a.nt", RdfFormat::N_TRIPLES}, {"b", format}};
        EXPECT_EQ(ExitCode::USAGE, catchException<ToolFailure>([&] { read(shared, files); }).getExitCode());
        EXPECT_EQ(2u, read({}, files).getDocument(1));
    }
}

} // namespace
