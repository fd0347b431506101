#include "tests/Reader/W3cManifest.h"

#include "Reader/SyntaxReader.h"
#include "Reader/Vocabulary.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <utility>

namespace {

constexpr const char* MANIFEST = "http://www.w3.org/2001/sw/DataAccess/tests/test-manifest#";

/// The objects by subject and predicate; the relevant properties of manifests have one object.
class Properties : public Rdf::StatementSink {
public:
    void takeStatement(const Rdf::Statement& statement) final {
        if (statement.m_subject.m_kind != Rdf::TermKind::TRIPLE && statement.m_object.m_kind != Rdf::TermKind::TRIPLE)
            m_objects[{std::string(statement.m_subject.m_text), std::string(statement.m_predicate.m_text)}] =
                statement.m_object.m_text;
        if (statement.m_predicate.m_text == std::string(MANIFEST) + "entries")
            m_entries = statement.m_object.m_text;
    }
    void takeError(const Rdf::SyntaxError& error) final { ADD_FAILURE() << error.format("manifest.ttl"); }

    std::string get(const std::string& subject, const std::string& predicate) const {
        const auto found = m_objects.find({subject, predicate});
        return found == m_objects.end() ? "" : found->second;
    }

    std::map<std::pair<std::string, std::string>, std::string> m_objects;
    std::string m_entries;
};

} // namespace

std::string readWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::pair<std::string, Rdf::Syntax>> findTurtleFiles(const std::string& folder) {
    std::vector<std::pair<std::string, Rdf::Syntax>> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (const std::string extension = entry.path().extension(); extension == ".ttl" || extension == ".trig")
            files.emplace_back(entry.path(), extension == ".ttl" ? Rdf::Syntax::TURTLE : Rdf::Syntax::TRIG);
    return files;
}

std::vector<W3cTest> readW3cManifest(const std::string& folder, const std::string& base) {
    Properties properties;
    Rdf::ReaderOptions options;
    options.m_syntax = Rdf::Syntax::TURTLE;
    options.m_base = base;
    const std::string text = readWholeFile(folder + "manifest.ttl");
    Rdf::SyntaxReader::make(options, properties)->read(text, true);
    std::vector<W3cTest> tests;
    for (std::string entry = properties.m_entries; !entry.empty() && entry != Rdf::Vocabulary::RDF_NIL;
         entry = properties.get(entry, std::string(Rdf::Vocabulary::RDF_REST))) {
        const std::string test = properties.get(entry, std::string(Rdf::Vocabulary::RDF_FIRST));
        const std::string type = properties.get(test, std::string(Rdf::Vocabulary::RDF_TYPE));
        const std::string action = properties.get(test, std::string(MANIFEST) + "action");
        const std::string result = properties.get(test, std::string(MANIFEST) + "result");
        tests.push_back({test.substr(test.find('#') + 1), type.substr(type.find('#') + 1), action,
                         folder + action.substr(base.size()),
                         result.empty() ? "" : folder + result.substr(base.size())});
    }
    return tests;
}
