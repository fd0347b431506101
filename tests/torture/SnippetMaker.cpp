#include "tests/torture/SnippetMaker.h"

#include "tests/Reader/DamagedText.h"
#include "tests/torture/Findings.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

using Rdf::Syntax;
using Rdf::Version;

namespace {

constexpr std::array<const char*, 4> EXTENSIONS{".nt", ".nq", ".ttl", ".trig"};
constexpr uintmax_t LARGEST_FILE = 2000; // of files that are damaged

} // namespace

Rdf::ReaderOptions Snippet::getOptions() const {
    Rdf::ReaderOptions options;
    options.m_syntax = m_syntax;
    options.m_version = m_version;
    options.m_base = m_base;
    return options;
}

std::string Snippet::describe() const {
    return std::string(EXTENSIONS[static_cast<size_t>(m_syntax)]) + (m_version == Version::RDF_1_1 ? " 1.1" : " 1.2") +
           " base '" + m_base + "' " + quoteBytes(m_text);
}

SnippetMaker::SnippetMaker(const std::string_view otherRules) {
    for (size_t syntax = 0; syntax < NUMBER_OF_SYNTAXES; ++syntax)
        for (const Version version : {Version::RDF_1_1, Version::RDF_1_2}) {
            Grammar& grammar = m_grammars[syntax][static_cast<size_t>(version)];
            grammar.m_judge = std::make_unique<Judge>(static_cast<Syntax>(syntax), version, otherRules);
            grammar.m_source = std::make_unique<Judge>(static_cast<Syntax>(syntax), version);
            grammar.m_maker = std::make_unique<TextMaker>(grammar.m_source->getRules(), syntax >= 2);
        }
    const char* const data = std::getenv("MELNAR_DATA");
    for (const char* const suites : {"w3c-rdf11-tests", "w3c-rdf12-tests"})
        if (data != nullptr && std::filesystem::is_directory(std::string(data) + "/" + suites)) {
            std::vector<std::filesystem::path> paths;
            for (const auto& entry : std::filesystem::recursive_directory_iterator(std::string(data) + "/" + suites))
                if (entry.is_regular_file() && entry.file_size() <= LARGEST_FILE)
                    paths.push_back(entry.path());
            std::sort(paths.begin(), paths.end()); // so that a seed has the same result everywhere
            for (const std::filesystem::path& path : paths) {
                const auto* const extension = std::find(EXTENSIONS.begin(), EXTENSIONS.end(), path.extension());
                if (extension == EXTENSIONS.end())
                    continue;
                std::stringstream text;
                text << std::ifstream(path, std::ios::binary).rdbuf();
                m_texts[static_cast<size_t>(extension - EXTENSIONS.begin())].push_back(text.str());
            }
        }
}

const SnippetMaker::Grammar& SnippetMaker::getGrammar(const Syntax syntax, const Version version) const {
    return m_grammars[static_cast<size_t>(syntax)][static_cast<size_t>(version)];
}

std::string SnippetMaker::makeSound(const Syntax syntax, const Version version, std::mt19937& random) const {
    return getGrammar(syntax, version).m_maker->make(random);
}

Snippet SnippetMaker::make(std::mt19937& random) const {
    Snippet snippet;
    snippet.m_syntax = static_cast<Syntax>(random() % NUMBER_OF_SYNTAXES);
    snippet.m_version = random() % 3 == 0 ? Version::RDF_1_1 : Version::RDF_1_2;
    snippet.m_base = random() % 16 == 0 ? "" : "http://b.example/c/d?e";
    const std::vector<std::string>& texts = m_texts[static_cast<size_t>(snippet.m_syntax)];
    const size_t kind = random() % 8;
    if (kind == 0)
        snippet.m_text = TEXTS_TO_DAMAGE[random() % TEXTS_TO_DAMAGE.size()];
    else if (kind == 1 && !texts.empty())
        snippet.m_text = texts[random() % texts.size()];
    else
        snippet.m_text = makeSound(snippet.m_syntax, snippet.m_version, random);
    if (kind < 5)
        damageSnippet(snippet.m_text, random);
    return snippet;
}

Judgement SnippetMaker::judge(const Snippet& snippet) {
    return getGrammar(snippet.m_syntax, snippet.m_version).m_judge->judge(snippet.m_text, snippet.m_base);
}
