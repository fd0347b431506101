#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/saved/HarmlessText.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

/// Dictionaries whose terms no RDF file can contain, and files that try to control the terminal.
class ForgedDictionaryTest : public testing::Test {
protected:
    /// Runs the tool; whatever it prints must be harmless.
    ToolResult run(const std::vector<std::string>& arguments, const std::string& input = "") const {
        ToolInput toolInput;
        toolInput.m_input = input;
        toolInput.m_workingDirectory = m_directory.getPathOf("");
        ToolResult result = runToolProcess(arguments, toolInput);
        EXPECT_TRUE(isHarmless(result.m_output)) << arguments.front() << ": " << result.m_output;
        EXPECT_TRUE(isHarmless(result.m_errorOutput)) << arguments.front() << ": " << result.m_errorOutput;
        return result;
    }

    /// Saves as "d" a dictionary as a program that embeds the library may make it: with any bytes.
    void saveBytes() const {
        Dictionary dictionary({.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 1000});
        {
            DictionaryThread thread(dictionary);
            dictionary.resolveResource(thread, "sound", D_XSD_STRING);
            dictionary.resolveResource(thread, "\xFF\x1B[2J", D_XSD_STRING);
            dictionary.resolveResource(thread, "cut \xC3@en", D_RDF_PLAIN_LITERAL);
            dictionary.resolveResource(thread,
                                       "\x1B[2J \xC2\x9B"
                                       "2J",
                                       D_XSD_STRING);
        }
        dictionary.commit();
        dictionary.save(m_directory.getPathOf("d"));
    }

    /// Saves as "d" a file with correct checksums and an invalid tag: six bytes with '@' and text.
    void saveTag(const std::string& form) {
        Dictionary dictionary({.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 1000});
        {
            DictionaryThread thread(dictionary);
            dictionary.resolveResource(thread, "abc@en", D_RDF_PLAIN_LITERAL);
            dictionary.resolveResource(thread, "sound", D_XSD_STRING);
        }
        dictionary.commit();
        ForgedDictionaryFile file(dictionary);
        file.m_sections[ForgedDictionaryFile::DATA_POOL].replace(1, 6, form);
        m_directory.addFile("d", file.getBytes());
    }

    TemporaryDirectory m_directory;
};

/// Terms that the library takes and no RDF file can contain, and their faults.
const std::vector<std::tuple<std::string, uint8_t, std::string>> UNWRITABLE_TERMS{
    {"x", D_IRI, "it is not an absolute IRI"},
    {"a:b\x1B[2J", D_IRI, "it is not an absolute IRI"},
    {"a:> <b", D_IRI, "it is not an absolute IRI"},
    {"a:\xFF\x1B", D_IRI, "its text is not UTF-8"},
    {"a\xC2\x9B", D_BLANK_NODE, "it is not a blank node label"},
    {"a\xFF", D_BLANK_NODE, "its text is not UTF-8"},
    {"\x1B^^t", D_TYPED_LITERAL, "its datatype is not an absolute IRI, or is that of a string"},
    {"\x1B^^a:\x1B]", D_TYPED_LITERAL, "its datatype is not an absolute IRI, or is that of a string"},
    {"\xFF^^a:t", D_TYPED_LITERAL, "its text is not UTF-8"},
    {"\xFF@en--ltr", D_DIRECTIONAL_STRING, "its text is not UTF-8"},
    {"<<( <s> <a:p> <a:o> )>>", D_TRIPLE_TERM, "it is not a triple term in canonical form"},
    {"<<( _:\xC2\x9B <a:p> <a:o> )>>", D_TRIPLE_TERM, "it is not a triple term in canonical form"},
    {"<<( _:s <a:p> \"\xFF\" )>>", D_TRIPLE_TERM, "its text is not UTF-8"}};

TEST_F(ForgedDictionaryTest, termsThatNoRdfFileCanHoldAreNamedAndLeftOut) {
    std::string expected;
    std::vector<std::string> get{"get", "d"};
    {
        Dictionary dictionary({.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 1000});
        DictionaryThread thread(dictionary);
        for (const auto& [form, datatypeID, flaw] : UNWRITABLE_TERMS) {
            const std::string id = std::to_string(dictionary.resolveResource(thread, form, datatypeID));
            expected += "melnar-dict: resource " + id + " cannot be written: " + flaw + '\n';
            get.push_back(id);
        }
        dictionary.resolveResource(thread, "sound", D_XSD_STRING);
        get.push_back("14");
        dictionary.commit();
        dictionary.save(m_directory.getPathOf("d"));
    }
    for (const bool asJson : {false, true})
        for (std::vector<std::string> arguments : {{"dump", "d"}, get}) {
            if (asJson)
                arguments.insert(arguments.begin() + 1, "--json");
            const ToolResult result = run(arguments);
            EXPECT_EQ(1, result.m_exitCode);
            EXPECT_EQ(expected, result.m_errorOutput);
            EXPECT_TRUE(result.m_output.starts_with(asJson ? "{\"id\":14," : "14\t\"sound\"\n")) << result.m_output;
        }
    const ToolResult verify = run({"verify", "d"});
    EXPECT_EQ(1, verify.m_exitCode);
    EXPECT_EQ("melnar-dict: resource 1: it is not an absolute IRI\n", verify.m_errorOutput);
    m_directory.addFile("empty.nt", "");
    const ToolResult load = run({"load", "empty.nt", "--into", "d", "--get", "1", "--get", "14"});
    EXPECT_EQ(1, load.m_exitCode);
    EXPECT_TRUE(load.m_output.ends_with("\n14\t\"sound\"\n")) << load.m_output;
    EXPECT_EQ("melnar-dict: resource 1 cannot be written: it is not an absolute IRI\n", load.m_errorOutput);
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"stats", "d"}, {"stats", "d", "--json"}, {"stats", "d", "--html", "-"}, {"compact", "d"}})
        EXPECT_EQ(0, run(arguments).m_exitCode) << arguments.front();
}

TEST_F(ForgedDictionaryTest, aFormThatIsNoneOfItsFamilyIsNeverPrinted) {
    for (const auto& [form, forgedForm, datatypeID] :
         std::vector<std::tuple<std::string, std::string, uint8_t>>{{"a:b", "a\x1B ", D_IRI},
                                                                    {"a:b", "\xFF\xFF\xFF", D_IRI},
                                                                    {"b0", "\x1B]", D_BLANK_NODE},
                                                                    {"5^^", "5\x1B^", D_TYPED_LITERAL},
                                                                    {"text", "te@1", D_DIRECTIONAL_STRING},
                                                                    {"_:o )>>", "_:o )>\n", D_TRIPLE_TERM},
                                                                    {"_:o )>>", ")>> )>>", D_TRIPLE_TERM}}) {
        Dictionary dictionary({.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 1000});
        {
            DictionaryThread thread(dictionary);
            dictionary.resolveResource(thread,
                                       datatypeID == D_TYPED_LITERAL        ? form + "a:t"
                                       : datatypeID == D_DIRECTIONAL_STRING ? form + "@en--ltr"
                                       : datatypeID == D_TRIPLE_TERM        ? "<<( _:s <a:p> " + form
                                                                            : form,
                                       datatypeID);
            dictionary.resolveResource(thread, "sound", D_XSD_STRING);
        }
        dictionary.commit();
        ForgedDictionaryFile file(dictionary);
        std::string& pool = file.m_sections[ForgedDictionaryFile::DATA_POOL];
        const size_t place = pool.find(form);
        ASSERT_NE(std::string::npos, place) << form;
        pool.replace(place, form.size(), forgedForm);
        m_directory.addFile("d", file.getBytes());
        const bool isWritable = datatypeID == D_DIRECTIONAL_STRING; // another '@' belongs to the text
        EXPECT_EQ(3, run({"verify", "d"}).m_exitCode) << "not found by its hash";
        for (const std::vector<std::string>& arguments :
             std::vector<std::vector<std::string>>{{"get", "d", "1", "2"}, {"dump", "d"}}) {
            const ToolResult result = run(arguments);
            EXPECT_EQ(isWritable ? 0 : 1, result.m_exitCode) << form;
            EXPECT_EQ(isWritable ? "1\t\"te@1\"@en--ltr\n2\t\"sound\"\n" : "2\t\"sound\"\n", result.m_output);
            EXPECT_EQ(isWritable, result.m_errorOutput.empty()) << result.m_errorOutput;
        }
        EXPECT_EQ(0, run({"stats", "d"}).m_exitCode);
        EXPECT_EQ(0, run({"stats", "d", "--html", "-"}).m_exitCode);
        EXPECT_EQ(0, run({"compact", "d", "-o", "compacted", "--force"}).m_exitCode);
    }
}

TEST_F(ForgedDictionaryTest, getPrintsWhatItCanAndReportsTheRest) {
    saveBytes();
    const ToolResult result = run({"get", "d", "1", "2", "3", "4"});
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ("1\t\"sound\"\n4\t\"\\u001B[2J \\u009B2J\"\n", result.m_output);
    EXPECT_EQ("melnar-dict: resource 2 cannot be written: its text is not UTF-8\n"
              "melnar-dict: resource 3 cannot be written: its text is not UTF-8\n",
              result.m_errorOutput);
}

TEST_F(ForgedDictionaryTest, dumpLeavesOutNothingSilently) {
    saveBytes();
    const ToolResult result = run({"dump", "d"});
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ("1\t\"sound\"\n4\t\"\\u001B[2J \\u009B2J\"\n", result.m_output);
    EXPECT_EQ("melnar-dict: resource 2 cannot be written: its text is not UTF-8\n"
              "melnar-dict: resource 3 cannot be written: its text is not UTF-8\n",
              result.m_errorOutput);
}

TEST_F(ForgedDictionaryTest, loadAnswersWhatItCanAndReportsTheRest) {
    saveBytes();
    m_directory.addFile("empty.nt", "");
    const ToolResult text = run({"load", "empty.nt", "--into", "d", "--get", "2", "--get", "1"});
    EXPECT_EQ(1, text.m_exitCode);
    EXPECT_TRUE(text.m_output.ends_with("\n1\t\"sound\"\n")) << text.m_output;
    EXPECT_EQ("melnar-dict: resource 2 cannot be written: its text is not UTF-8\n", text.m_errorOutput);
    const ToolResult json = run({"load", "empty.nt", "--into", "d", "--get", "2", "--json"});
    EXPECT_EQ(1, json.m_exitCode);
    EXPECT_TRUE(nlohmann::json::parse(json.m_output)["lookups"][0]["literal"].is_null());
    EXPECT_EQ(text.m_errorOutput, json.m_errorOutput);
    EXPECT_EQ(2, run({"load", "empty.nt", "--into", "d", "--query", "\xFF\x1B[2J"}).m_exitCode);
}

TEST_F(ForgedDictionaryTest, decodeRefusesTheStatementAndNamesTheID) {
    saveBytes();
    m_directory.addFile("encoded.nt", "<urn:s> <urn:p> <melnar:4> .\n<urn:s> <urn:p> <melnar:3> .\n");
    const ToolResult result = run({"decode", "--as", "iri", "encoded.nt", "-d", "d", "-o", "decoded.nt"});
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ("encoded.nt:2: resource 3 cannot be written: its text is not UTF-8\n", result.m_errorOutput);
}

TEST_F(ForgedDictionaryTest, verifyNamesTheFirstTextThatIsNotUtf8) {
    saveBytes();
    const ToolResult result = run({"verify", "d"});
    EXPECT_EQ(1, result.m_exitCode);
    EXPECT_EQ("", result.m_output);
    EXPECT_EQ("melnar-dict: resource 2: its text is not UTF-8\n", result.m_errorOutput);
}

TEST_F(ForgedDictionaryTest, aTagThatIsNoneIsNeverPrinted) {
    m_directory.addFile("encoded.nt", "<urn:s> <urn:p> <melnar:1> .\n");
    for (const std::string form : {"a@\x1B[2J", "abc@e\n", "abc@\xC2\x9B", "abc@\xFF!", "no tag", "abcde@"}) {
        saveTag(form);
        EXPECT_EQ(3, run({"verify", "d"}).m_exitCode) << form;
        for (const std::vector<std::string>& arguments :
             std::vector<std::vector<std::string>>{{"get", "d", "1", "2"},
                                                   {"dump", "d"},
                                                   {"decode", "--as", "iri", "encoded.nt", "-d", "d", "-o", "-"}}) {
            const ToolResult result = run(arguments);
            EXPECT_EQ(1, result.m_exitCode) << arguments.front() << form;
            EXPECT_EQ(arguments.front() == "decode" ? "" : "2\t\"sound\"\n", result.m_output);
            EXPECT_NE(std::string::npos, result.m_errorOutput.find("resource 1 cannot be written: its "));
        }
        const ToolResult text = run({"stats", "d"});
        EXPECT_EQ(0, text.m_exitCode);
        EXPECT_NE(std::string::npos, text.m_output.find("Languages\n        (malformed): 1\n")) << text.m_output;
        const ToolResult json = run({"stats", "d", "--json"});
        EXPECT_FALSE(nlohmann::json::parse(json.m_output).empty());
        EXPECT_EQ(0, run({"compact", "d", "-o", "compacted", "--force"}).m_exitCode);
        EXPECT_EQ(1, run({"lookup", "d", "\"abc\"@en"}).m_exitCode);
    }
}

TEST_F(ForgedDictionaryTest, whatFilesAndArgumentsSayInMessagesIsHarmless) {
    const std::string attack = "\x1B]0;title\a\x1B[2J\xC2\x9B"
                               "31m\xFF";
    const std::string attackInUtf8 = attack.substr(0, attack.size() - 1);
    saveBytes();
    const std::vector<std::string> lines = {attack,
                                            attackInUtf8,
                                            "<urn:s> <urn:p> \"" + attack + "\" .",
                                            "<urn:s> <urn:p> \"" + attackInUtf8 + "\"@" + attackInUtf8 + " .",
                                            "<urn:\xC2\x9B> <urn:p> <urn:o> . x",
                                            "<melnar:\xC2\x9B> <urn:p> <urn:o> .",
                                            "<\xC2\x9B> <urn:p> <urn:o> .",
                                            "<urn:s> <urn:p> \"\\u001B\\u009B\\u0000\\n\" .",
                                            "<urn:s> <urn:p> \"\\u001B\\u009B\\n\"^^"
                                            "<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral> .",
                                            "_:" + attackInUtf8 + " <urn:p> <urn:o> ."};
    for (const std::string& line : lines)
        for (const std::string format : {"nt", "ttl"}) {
            const std::string fileName = attackInUtf8 + "." + format;
            m_directory.addFile(fileName, line + "\n");
            run({"load", fileName});
            run({"load", fileName, "--lenient"});
            run({"load", "-", "--format", format}, line);
            run({"encode", "--as", "iri", fileName, "--format", "nt", "-d", "d", "-o", "out.nt"});
            run({"decode", "--as", "iri", fileName, "--format", "nt", "-d", "d", "-o", "out.nt"});
        }
    run({"load", "missing" + attack});
    run({"load", attack + ".nt", "-o", attack});
    run({attack});
    for (const char* const verb : {"get", "lookup", "dump", "stats", "verify", "compact"})
        run({verb, attack, "1"});
    run({"get", "d", attack});
    run({"get", "d", "--" + attack});
    for (const std::string& line : lines)
        run({"lookup", "d", line, "-"}, line + "\n" + "\"" + attackInUtf8 + "\"\n");
    m_directory.addFile("other" + attackInUtf8, "not a dictionary");
    EXPECT_EQ(3, run({"get", "other" + attackInUtf8, "1"}).m_exitCode);
    m_directory.addFile(attackInUtf8, TemporaryDirectory::getContentsOf(m_directory.getPathOf("d")));
    EXPECT_EQ(1, run({"verify", attackInUtf8}).m_exitCode);
}

/// Runs the tool under a limit of address space, in KiB, which the shell sets.
int runWithin(const size_t limit, const std::string& arguments) {
    const std::string command =
        "ulimit -v " + std::to_string(limit) + " && exec " MELNAR_DICT_EXECUTABLE " " + arguments + " >/dev/null 2>&1";
    return std::system(command.c_str()); // NOLINT(concurrency-mt-unsafe,cert-env33-c): the shell sets the limit
}

TEST(AddressSpaceTest, readingASmallDictionaryTakesLittle) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer takes address space of its own";
#endif
    constexpr size_t KIB_OF_ADDRESS_SPACE = 64 * 1024; // 12 MiB are enough for strings, 48 MiB for terms of all kinds
    const TemporaryDirectory directory;
    const std::string dictionary = directory.getPathOf("d");
    const std::string file = directory.addFile("in.nt", "<urn:s> <urn:p> \"abc\" .\n"
                                                        "_:b <urn:p> \"abc\"@en .\n"
                                                        "<urn:s> <urn:p> \"1\"^^<urn:int> .\n"
                                                        "<urn:s> <urn:p> \"abc\"@en--ltr .\n"
                                                        "<urn:s> <urn:p> <<( _:b <urn:p> \"abc\" )>> .\n");
    for (const bool hasAllKinds : {false, true}) {
        const std::string form = hasAllKinds ? "npy" : "iri";
        if (hasAllKinds) {
            ASSERT_EQ(0, runToolProcess({"load", file, "-o", dictionary}).m_exitCode);
        } else
            makeSampleDictionary(uint64_t(1) << 32)->save(dictionary);
        for (const std::string& arguments :
             {"get " + dictionary + " 1", "lookup " + dictionary + " '\"abc\"'", "dump " + dictionary,
              "stats " + dictionary, "verify " + dictionary,
              "encode --as " + form + ' ' + file + " -d " + dictionary + " -o " + directory.getPathOf("e") +
                  " --threads 1",
              "decode --as " + form + ' ' + directory.getPathOf("e") + (hasAllKinds ? "" : " --format nt") + " -d " +
                  dictionary + " -o - --threads 1",
              "compact " + dictionary})
            EXPECT_EQ(0, runWithin(KIB_OF_ADDRESS_SPACE, arguments)) << arguments;
        EXPECT_NE(0, runWithin(KIB_OF_ADDRESS_SPACE, "load " + file + " --into " + dictionary))
            << "what may grow reserves for it, so the limit is one";
    }
}

} // namespace
