#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/ToolProcess.h"
#include "tests/tools/melnar-dict/load/RdfFacts.h"
#include "tests/tools/melnar-dict/rewrite/TermDictionary.h"
#include "tools/melnar-dict/rows/NpyHeader.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::string unpack(const std::filesystem::path& path) {
    const gzFile file = ::gzopen(path.c_str(), "rb");
    if (file == nullptr)
        throw std::runtime_error("cannot open " + path.string());
    std::string text;
    std::vector<char> buffer(size_t(1) << 20);
    int numberOfBytes;
    while ((numberOfBytes = ::gzread(file, buffer.data(), static_cast<unsigned>(buffer.size()))) > 0)
        text.append(buffer.data(), static_cast<size_t>(numberOfBytes));
    ::gzclose(file);
    return text;
}

/// Returns the canonical form of statements that are canonical except for blank lines, unescaped tabs and form feeds,
/// and xsd:string, like those of the data sets.
std::string canonicalise(const std::string_view text) {
    constexpr std::string_view XSD_STRING_SUFFIX = "\"^^<http://www.w3.org/2001/XMLSchema#string>";
    std::string canonical;
    canonical.reserve(text.size());
    for (size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '\\') {
            if (text[index + 1] == 'u' || text[index + 1] == 'U')
                throw std::runtime_error("an escape that is not expected");
            canonical.append(text, index++, 2);
        } else if (text[index] == '"' && text.substr(index).starts_with(XSD_STRING_SUFFIX)) {
            canonical += '"';
            index += XSD_STRING_SUFFIX.size() - 1;
        } else if (text[index] == '\t' || text[index] == '\f')
            canonical += text[index] == '\t' ? "\\t" : "\\f";
        else if (text[index] != '\n' || (!canonical.empty() && canonical.back() != '\n'))
            canonical += text[index];
    }
    return canonical;
}

class RewriteDataSetsSlowTest : public testing::TestWithParam<const char*> {};

TEST_P(RewriteDataSetsSlowTest, decodingWhatWasEncodedGivesTheStatementsBack) {
    const char* const data = std::getenv("MELNAR_DATA");
    if (data == nullptr)
        GTEST_SKIP() << "MELNAR_DATA names no folder with data sets";
    std::vector<std::filesystem::path> files;
    const std::filesystem::path set = std::filesystem::path(data) / GetParam();
    if (std::filesystem::is_directory(set)) {
        for (const auto& entry : std::filesystem::directory_iterator(set))
            if (entry.path().string().ends_with(".nq.gz"))
                files.push_back(entry.path());
    } else
        files.push_back(set);
    ASSERT_FALSE(files.empty());
    for (const std::filesystem::path& path : files) {
        const TemporaryDirectory directory;
        const std::string extension = path.stem().extension().string();
        const std::string dictionary = directory.getPathOf("d");
        const std::string encoded = directory.getPathOf("encoded" + extension);
        const std::string decoded = directory.getPathOf("decoded" + extension);
        ASSERT_EQ(0, runToolProcess({"load", path.string(), "-o", dictionary}).m_exitCode) << path;
        ASSERT_EQ(0,
                  runToolProcess({"encode", "--as", "iri", path.string(), "-d", dictionary, "-o", encoded}).m_exitCode)
            << path;
        ASSERT_EQ(0, runToolProcess({"decode", "--as", "iri", encoded, "-d", dictionary, "-o", decoded}).m_exitCode)
            << path;
        const std::string expected = canonicalise(unpack(path));
        EXPECT_TRUE(expected == TemporaryDirectory::getContentsOf(decoded)) << path;
        ASSERT_EQ(0, runToolProcess({"verify", dictionary}).m_exitCode) << path;

        const std::string terms = directory.getPathOf("terms");
        const std::string rows = directory.getPathOf("T.npy");
        saveTermDictionary({path.string()}, terms);
        for (const char* const threads : {"1", "2", "7"}) {
            ASSERT_EQ(
                0, runToolProcess({"encode", path.string(), "-d", terms, "-o", rows, "--threads", threads}).m_exitCode)
                << path;
            ASSERT_EQ(0, runToolProcess({"decode", rows, "-d", terms, "-o", decoded, "--threads", threads}).m_exitCode)
                << path;
            EXPECT_TRUE(expected == TemporaryDirectory::getContentsOf(decoded)) << path;
        }
    }
}

/// Compares with the numbers of all terms of a set in order of first appearance, computed by another program.
TEST(RowFactsSlowTest, rowsAreThoseOfTheFacts) {
    const std::optional<std::string> data = getDataFolder();
    if (!data)
        GTEST_SKIP() << "MELNAR_DATA names no folder with data sets";
    const auto facts = nlohmann::json::parse(TemporaryDirectory::getContentsOf(*data + "/facts-terms.json"));
    ASSERT_EQ(6u, facts["sets"].size());
    for (const auto& [name, set] : facts["sets"].items()) {
        std::vector<std::string> arguments{"encode"};
        for (const std::string fileName : set["files"])
            for (const char* const folder : {"/", "/schemaorg-30.0/", "/vocabularies/"})
                if (std::filesystem::exists(*data + folder + fileName))
                    arguments.push_back(*data + folder + fileName);
        ASSERT_EQ(set["files"].size() + 1, arguments.size()) << name;
        const TemporaryDirectory directory;
        const std::string dictionary = directory.getPathOf("d");
        const std::string rows = directory.getPathOf("T.npy");
        saveTermDictionary(std::vector(arguments.begin() + 1, arguments.end()), dictionary);
        arguments.insert(arguments.end(), {"-d", dictionary, "-o", rows});
        ASSERT_EQ(0, runToolProcess(arguments).m_exitCode) << name;
        const std::string bytes = TemporaryDirectory::getContentsOf(rows);
        const NpyHeader header = NpyHeader::parse(bytes.substr(10, NpyHeader::SIZE - 10));
        EXPECT_EQ(set["statements"], header.m_numberOfRows) << name;
        EXPECT_EQ((RowLayout{set["columns"], 4}), header.m_layout) << name;
        EXPECT_EQ(set["sha256_rows_uint32_le"], hashBytes(std::string_view(bytes).substr(NpyHeader::SIZE))) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(All, RewriteDataSetsSlowTest,
                         testing::Values("wordnet31.nt.gz", "cldr-annotations.nt.gz", "long-texts.nt.gz",
                                         "schemaorg-30.0/schemaorg-all-https.nt.gz",
                                         "schemaorg-30.0/schemaorg-all-https.nq.gz", "vocabularies"),
                         [](const testing::TestParamInfo<const char*>& parameterInfo) {
                             std::string name(parameterInfo.param);
                             std::replace_if(
                                 name.begin(), name.end(), [](const char c) { return !std::isalnum(c); }, '_');
                             return name;
                         });

} // namespace
