#include "tools/melnar-dict/input/InputFiles.h"

#include "tests/support/CaughtException.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/melnar-dict/shell/CommandLine.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

namespace {

InputFiles read(const std::vector<std::string>& arguments, const InputFormats formats = InputFormats::ALL) {
    VerbDescription verb{"read", "", "", "", {}};
    InputFiles files;
    addInputFiles(verb, formats, files);
    readCommandLine(verb, arguments);
    return files;
}

std::string messageOf(const std::vector<std::string>& arguments, const InputFormats formats = InputFormats::ALL) {
    const auto failure = catchException<ToolFailure>([&] { read(arguments, formats); });
    EXPECT_EQ(ExitCode::USAGE, failure.getExitCode());
    return failure.what();
}

TEST(InputFilesTest, tellTheirFormatsByTheirNames) {
    EXPECT_EQ((InputFiles{{"a.nt", RdfFormat::N_TRIPLES}, {"b.trig.gz", RdfFormat::TRIG}}),
              read({"a.nt", "b.trig.gz"}));
}

TEST(InputFilesTest, allHaveTheOnlyGivenFormatAtAnyPosition) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--format", "trig", "a.nt", "b", "-"},
                                                      {"a.nt", "--format=trig", "b", "-"},
                                                      {"a.nt", "b", "-", "--format", "trig"}})
        EXPECT_EQ((InputFiles{{"a.nt", RdfFormat::TRIG}, {"b", RdfFormat::TRIG}, {"-", RdfFormat::TRIG}}),
                  read(arguments));
}

TEST(InputFilesTest, haveTheLastFormatBeforeThem) {
    EXPECT_EQ((InputFiles{{"a", RdfFormat::TURTLE},
                          {"b", RdfFormat::TURTLE},
                          {"c", RdfFormat::N_QUADS},
                          {"d.nt", RdfFormat::N_TRIPLES}}),
              read({"a", "--format", "turtle", "b", "--format", "nq", "c", "--format", "auto", "d.nt"}));
    EXPECT_EQ((InputFiles{{"a.ttl", RdfFormat::TURTLE}, {"b", RdfFormat::N_TRIPLES}}),
              read({"--format=auto", "a.ttl", "--format=nt", "b"}));
}

TEST(InputFilesTest, areRefusedWithoutAFormat) {
    EXPECT_EQ("the name 'a.rdf' does not indicate a format; give it with --format", messageOf({"a.nt", "a.rdf"}));
    EXPECT_EQ("the name 'b' does not indicate a format; give it with --format",
              messageOf({"--format", "nt", "a", "--format", "auto", "b"}));
    EXPECT_EQ("standard input needs --format", messageOf({"-"}));
    EXPECT_EQ("option --format needs ntriples, nquads, turtle, trig or auto, not 'n3'",
              messageOf({"a", "--format", "n3"}));
}

TEST(InputFilesTest, areRefusedInAFormatThatTheVerbDoesNotRead) {
    EXPECT_EQ((InputFiles{{"a.nt", RdfFormat::N_TRIPLES}, {"b.nq", RdfFormat::N_QUADS}}),
              read({"a.nt", "b.nq"}, InputFormats::LINES));
    EXPECT_EQ("with these options read reads N-Triples and N-Quads, and 'a.ttl' is neither",
              messageOf({"a.ttl"}, InputFormats::LINES));
    EXPECT_EQ("option --format needs ntriples, nquads or auto, not 'turtle'",
              messageOf({"a.nt", "--format", "turtle"}, InputFormats::LINES));
}

/// With the option --own, files belong to the verb.
InputFiles readOwn(const std::vector<std::string>& arguments) {
    VerbDescription verb{"read", "", "", "", {}};
    InputFiles files;
    bool isOwn = false;
    addInputFiles(verb, InputFormats::LINES, files,
                  [&isOwn] { return isOwn ? InputFormats::NONE : InputFormats::LINES; });
    verb.addFlag("--own", "", isOwn);
    readCommandLine(verb, arguments);
    return files;
}

TEST(InputFilesTest, areTakenByAnyNameIfAnyOptionStatesThatTheyAreNoRdf) {
    const TemporaryDirectory directory;
    const std::string folder = directory.getPathOf("");
    const InputFiles files = readOwn({"a.npy", "-", folder, "--own", "b.ttl"});
    ASSERT_EQ(4u, files.size());
    for (size_t index = 0; index < files.size(); ++index)
        EXPECT_EQ((std::vector<std::string>{"a.npy", "-", folder, "b.ttl"}[index]), files[index].first);
    EXPECT_EQ((InputFiles{{"a.nt", RdfFormat::N_TRIPLES}}), readOwn({"a.nt"}));
    const auto messageOf = [](const std::vector<std::string>& arguments) -> std::string {
        return catchException<ToolFailure>([&] { readOwn(arguments); }).what();
    };
    EXPECT_EQ("the name 'a.npy' does not indicate a format; give it with --format", messageOf({"a.npy"}));
    EXPECT_EQ("with these options read reads no RDF and takes no --format",
              messageOf({"--format", "nt", "a.npy", "--own"}));
    EXPECT_EQ("standard input can be read only once", messageOf({"--own", "-", "-"}));
}

TEST(InputFilesTest, haveStandardInputOnlyOnce) {
    EXPECT_EQ("standard input can be read only once", messageOf({"--format", "nt", "-", "a.nt", "-"}));
    EXPECT_EQ("read needs a file", messageOf({}));
    EXPECT_EQ("read needs a file", messageOf({"--format", "nt"}));
}

TEST(InputFilesTest, haveGraphsIfOneOfThemHas) {
    EXPECT_FALSE(haveGraphs({}));
    EXPECT_FALSE(haveGraphs({{"a", RdfFormat::TURTLE}, {"b", RdfFormat::N_TRIPLES}}));
    EXPECT_TRUE(haveGraphs({{"a", RdfFormat::TURTLE}, {"b", RdfFormat::N_QUADS}}));
}

TEST(InputFilesTest, haveATotalSizeOnlyIfAllOfThemTellTheirs) {
    const TemporaryDirectory directory;
    const InputFiles files{{directory.addFile("a", "12345"), RdfFormat::N_TRIPLES},
                           {directory.addFile("b", "123"), RdfFormat::N_TRIPLES}};
    EXPECT_EQ(8u, getTotalBytes(files));
    InputFiles withEmptyFile = files;
    withEmptyFile.emplace_back(directory.addFile("empty", ""), RdfFormat::N_TRIPLES);
    EXPECT_EQ(8u, getTotalBytes(withEmptyFile));
    for (const std::string& unknown : {directory.getPathOf("absent"), std::string("/dev/null")}) {
        InputFiles others = files;
        others.emplace_back(unknown, RdfFormat::N_TRIPLES);
        EXPECT_EQ(0u, getTotalBytes(others)) << unknown;
    }
}

} // namespace
