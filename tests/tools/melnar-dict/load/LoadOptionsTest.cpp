#include "tools/melnar-dict/load/LoadOptions.h"

#include "tests/support/CaughtException.h"
#include "tools/melnar-dict/shell/CommandLine.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

LoadOptions parse(const std::vector<std::string>& arguments) {
    LoadOptions options;
    EXPECT_EQ(Request::WORK, readCommandLine(describeLoad(options), arguments));
    return options;
}

std::string messageOf(const std::vector<std::string>& arguments) {
    LoadOptions options;
    const auto failure = catchException<ToolFailure>([&] { readCommandLine(describeLoad(options), arguments); });
    EXPECT_EQ(ExitCode::USAGE, failure.getExitCode());
    return failure.what();
}

TEST(LoadOptionsTest, needsNothingButAFile) {
    const LoadOptions options = parse({"a.nt"});
    ASSERT_EQ(1u, options.m_files.size());
    EXPECT_EQ(std::make_pair(std::string("a.nt"), RdfFormat::N_TRIPLES), options.m_files[0]);
    EXPECT_EQ(std::thread::hardware_concurrency(), options.m_numberOfThreads);
    EXPECT_EQ(MemoryLimit::getDefault(), options.m_memoryLimit);
    EXPECT_EQ(std::nullopt, options.m_maximumNumberOfResources);
    EXPECT_EQ(1u << 30, options.m_maximumLine);
    EXPECT_EQ("", options.m_base);
    EXPECT_FALSE(options.m_isLenient || options.m_asksForJson);
    EXPECT_FALSE(options.m_output.m_waits || options.m_output.m_isForced);
    EXPECT_FALSE(options.m_feedback.m_isQuiet || options.m_feedback.m_asksForProgress);
    EXPECT_EQ(20u, options.m_numberOfErrorsShown);
    EXPECT_EQ("", options.m_rejectedName);
    EXPECT_FALSE(options.m_loadsOnlyStrings || options.m_rows.m_asksForQuads);
    EXPECT_EQ("", options.m_idsName);
    EXPECT_EQ(std::nullopt, options.m_rows.m_idWidth);
    EXPECT_EQ(std::nullopt, options.m_order);
    EXPECT_EQ(BlankNodeScope::Mode::DOCUMENTS, options.m_blankNodes.m_mode);
    EXPECT_TRUE(options.m_lookups.empty());
}

TEST(LoadOptionsTest, takesEveryOptionBeforeAndAfterTheFiles) {
    const LoadOptions options = parse({"--threads",        "3",         "a.ttl",
                                       "--lenient",        "--json",    "--base=http://b/",
                                       "--memory-limit",   "1M",        "--max-line=3K",
                                       "--max-resources",  "7",         "--query",
                                       "'text'@en",        "--get",     "9",
                                       "--query=\"text\"", "b.trig.gz", "--wait",
                                       "--force",          "--errors",  "0",
                                       "--rejected",       "r",         "--quiet",
                                       "--progress"});
    ASSERT_EQ(2u, options.m_files.size());
    EXPECT_EQ(RdfFormat::TURTLE, options.m_files[0].second);
    EXPECT_EQ(RdfFormat::TRIG, options.m_files[1].second);
    EXPECT_EQ(3u, options.m_numberOfThreads);
    EXPECT_TRUE(options.m_isLenient && options.m_asksForJson && options.m_output.m_waits &&
                options.m_output.m_isForced);
    EXPECT_TRUE(options.m_feedback.m_isQuiet && options.m_feedback.m_asksForProgress);
    EXPECT_EQ(0u, options.m_numberOfErrorsShown);
    EXPECT_EQ("r", options.m_rejectedName);
    EXPECT_EQ("http://b/", options.m_base);
    EXPECT_EQ(1u << 20, options.m_memoryLimit);
    EXPECT_EQ(3072u, options.m_maximumLine);
    EXPECT_EQ(7u, options.m_maximumNumberOfResources);
    ASSERT_EQ(3u, options.m_lookups.size()) << "in the order given";
    EXPECT_EQ("'text'@en", options.m_lookups[0].m_question);
    EXPECT_EQ(9u, options.m_lookups[1].m_resourceID);
    EXPECT_EQ("\"text\"", options.m_lookups[2].m_question);
}

TEST(LoadOptionsTest, savesTheExtendedDictionaryInPlaceUnlessThereIsAnOutput) {
    EXPECT_EQ("d", parse({"a.nt", "--into", "d"}).m_output.m_outputName);
    EXPECT_EQ("o", parse({"a.nt", "--into", "d", "-o", "o"}).m_output.m_outputName);
    EXPECT_EQ("", parse({"a.nt"}).m_output.m_outputName);
}

TEST(LoadOptionsTest, refusesWhatItCannotDo) {
    EXPECT_EQ("load needs a file", messageOf({}));
    EXPECT_EQ("load needs a file", messageOf({"--json"}));
    EXPECT_EQ("unknown option --thread; did you mean '--threads'?", messageOf({"a.nt", "--thread", "2"}));
    EXPECT_EQ("option --threads needs a number from 1 to 1024, not '0'", messageOf({"a.nt", "--threads", "0"}));
    EXPECT_EQ("option --threads needs a number from 1 to 1024, not '1025'", messageOf({"a.nt", "--threads", "1025"}));
    EXPECT_EQ("option --max-resources needs a number from 1 to 8796093022208, not '0'",
              messageOf({"a.nt", "--max-resources", "0"}));
    EXPECT_EQ("option --memory-limit needs a number of bytes, such as 4096, 512M or 16G, not 'lots'",
              messageOf({"a.nt", "--memory-limit", "lots"}));
    EXPECT_EQ("option --get needs a number from 0 to 18446744073709551615, not 'x'", messageOf({"a.nt", "--get", "x"}));
    EXPECT_EQ("--max-resources is for a new dictionary, not one given with --into",
              messageOf({"a.nt", "--into", "d", "--max-resources", "3"}));
    EXPECT_EQ("the value of option --output is empty", messageOf({"a.nt", "-o", ""}));
    for (const char* const base :
         {"x", "/x", "http://a b/", "http://<x>", "", "//host/", "1a:b", "http://\xFF", "a:\\u0041"})
        EXPECT_EQ("option --base needs an absolute IRI, such as http://example.org/, not '" + std::string(base) + "'",
                  messageOf({"a.nt", "--base", base}));
    EXPECT_EQ("option --query needs a value", messageOf({"a.nt", "--query"}));
    EXPECT_EQ("option --lenient takes no value", messageOf({"a.nt", "--lenient=yes"}));
}

TEST(LoadOptionsTest, labelsAreSharedInNTriplesAndNQuadsAlone) {
    EXPECT_EQ(BlankNodeScope::Mode::SHARED, parse({"a.nt", "--blank-nodes", "shared", "b.nq"}).m_blankNodes.m_mode);
    for (const std::string file : {"a.ttl", "a.trig"})
        EXPECT_EQ(0u,
                  messageOf({"--blank-nodes", "shared", "a.nt", file}).find("--blank-nodes shared is for N-Triples "));
}

TEST(LoadOptionsTest, takesWhatRowsAndTermsAreToBe) {
    const LoadOptions options = parse(
        {"a.nt", "-o", "d", "--ids", "T.npy", "--id-width", "4", "--quads", "--order=any", "--blank-nodes", "shared"});
    EXPECT_EQ("T.npy", options.m_idsName);
    EXPECT_EQ(4u, options.m_rows.m_idWidth);
    EXPECT_TRUE(options.m_rows.m_asksForQuads);
    EXPECT_EQ(TermResolver::Order::ANY, options.m_order);
    EXPECT_EQ(BlankNodeScope::Mode::SHARED, options.m_blankNodes.m_mode);
    EXPECT_EQ(8u, parse({"a.nt", "--ids", "-", "--id-width=8"}).m_rows.m_idWidth);
    EXPECT_EQ(std::nullopt, parse({"a.nt", "--ids", "-", "--id-width", "8", "--id-width", "auto"}).m_rows.m_idWidth);
    EXPECT_EQ(TermResolver::Order::INPUT, parse({"a.nt", "--order", "input"}).m_order);
    EXPECT_TRUE(parse({"a.nt", "--strings-only"}).m_loadsOnlyStrings);
    EXPECT_EQ("T.npy", parse({"a.nt", "--into", "d", "--ids", "T.npy"}).m_idsName);
}

TEST(LoadOptionsTest, refusesRowsAndTermsThatContradictEachOther) {
    EXPECT_EQ("--ids needs -o or --into, to save the dictionary of the IDs", messageOf({"a.nt", "--ids", "T.npy"}));
    for (const std::vector<std::string>& option :
         {std::vector<std::string>{"--json"}, {"--query", "'x'"}, {"--get", "1"}}) {
        std::vector<std::string> arguments{"a.nt", "--ids", "-"};
        arguments.insert(arguments.end(), option.begin(), option.end());
        EXPECT_EQ("--ids - excludes --json, --query and --get, which also print to standard output",
                  messageOf(arguments));
    }
    EXPECT_EQ("--id-width and --quads need --ids", messageOf({"a.nt", "-o", "d", "--id-width", "8"}));
    EXPECT_EQ("--id-width and --quads need --ids", messageOf({"a.nt", "-o", "d", "--quads"}));
    EXPECT_EQ("--strings-only excludes --ids and --order",
              messageOf({"a.nt", "-o", "d", "--ids", "T.npy", "--strings-only"}));
    EXPECT_EQ("--strings-only excludes --ids and --order", messageOf({"a.nt", "--order", "any", "--strings-only"}));
    EXPECT_NE("", messageOf({"a.nt", "--ids", "-", "--id-width", "2"}));
    EXPECT_NE("", messageOf({"a.nt", "--ids", "-", "--id-width", ""}));
    EXPECT_NE("", messageOf({"a.nt", "--order", "none"}));
    EXPECT_NE("", messageOf({"a.nt", "--blank-nodes", "none"}));
    EXPECT_EQ("the value of option --ids is empty", messageOf({"a.nt", "-o", "d", "--ids", ""}));
}

TEST(LoadOptionsTest, keepsRejectedBytesOnlyWhenLenient) {
    EXPECT_EQ("--rejected needs --lenient; nothing is skipped without it", messageOf({"a.nt", "--rejected", "r"}));
}

} // namespace
