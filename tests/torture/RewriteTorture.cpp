#include "tests/torture/RewriteTorture.h"

#include "tests/support/TemporaryDirectory.h"
#include "tests/torture/Findings.h"
#include "tests/torture/SnippetMaker.h"
#include "tests/torture/StartTool.h"
#include "tools/melnar-dict/input/RdfFormat.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

using Rdf::Syntax;
using Rdf::Version;

namespace {

constexpr size_t SMALLEST_FILE_OF_LINES = 5000;
constexpr size_t SMALLEST_FILE_OF_STATEMENTS = 1500; // all of which are judged again with each added one

constexpr const char* DECODED_FROM_ROWS = "decoded-rows.nq";
constexpr const char* DECODED_FROM_IRIS = "decoded-iris.nq";

bool isLineSyntax(const Syntax syntax) noexcept {
    return syntax == Syntax::N_TRIPLES || syntax == Syntax::N_QUADS;
}

const char* getExtension(const Syntax syntax) noexcept {
    constexpr std::array EXTENSIONS{".nt", ".nq", ".ttl", ".trig"};
    return EXTENSIONS[static_cast<size_t>(syntax)];
}

class RewriteTorture {
public:
    RewriteTorture(const uint32_t seed, const std::string& folder, std::ostream& output, const std::string& executable)
        : m_seed(seed), m_executable(executable), m_folder(std::filesystem::absolute(folder) / "rewritten"),
          m_findings(output), m_random(seed) {
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directory(m_folder);
    }

    bool run(const size_t numberOfFiles) {
        for (size_t number = 0; number < numberOfFiles; ++number)
            checkMade(number);
        if (const char* const data = std::getenv("MELNAR_DATA"))
            checkData(data);
        return m_findings.finish(m_files, "files encoded and decoded", "each as canonical writes it",
                                 " (" + withCommas(numberOfFiles) + " made, " + withCommas(m_files - numberOfFiles) +
                                     " real ones; " + withCommas(m_bytes) + " bytes)");
    }

private:
    std::string pathOf(const std::string& name) const { return m_folder + "/" + name; }

    std::string getContentsOf(const std::string& name) const { return TemporaryDirectory::getContentsOf(pathOf(name)); }

    int run(const std::vector<std::string>& arguments) const {
        return waitForTool(startTool(m_executable, arguments, m_folder));
    }

    /// Makes a file of statements that the judge accepts, which may follow each other in all syntaxes.
    Snippet makeFile() {
        constexpr std::array SYNTAXES{Syntax::N_TRIPLES, Syntax::N_QUADS, Syntax::TURTLE, Syntax::TRIG};
        Snippet file{SYNTAXES[m_random() % SYNTAXES.size()], Version::RDF_1_2, "", ""};
        const size_t size = isLineSyntax(file.m_syntax) ? SMALLEST_FILE_OF_LINES : SMALLEST_FILE_OF_STATEMENTS;
        while (file.m_text.size() < size) {
            const std::string part = m_maker.makeSound(file.m_syntax, file.m_version, m_random) + "\n";
            Snippet judged = file;
            judged.m_text = isLineSyntax(file.m_syntax) ? part : file.m_text + part;
            if (m_maker.judge(judged).m_refusal.empty())
                file.m_text += part;
        }
        return file;
    }

    void checkMade(const size_t number) {
        const Snippet file = makeFile();
        const std::string path = pathOf(std::string("made") + getExtension(file.m_syntax));
        std::ofstream(path, std::ios::binary) << file.m_text;
        const std::string name = "MELNAR_SEED=" + std::to_string(m_seed) + " file " + std::to_string(number);
        std::string fault = findFault(path, isLineSyntax(file.m_syntax));
        if (fault.empty() && isLineSyntax(file.m_syntax)) // others have nodes without labels
            for (const char* const decodedName : {DECODED_FROM_ROWS, DECODED_FROM_IRIS}) {
                Snippet decoded = file;
                decoded.m_text = getContentsOf(decodedName);
                if (m_maker.judge(decoded).m_statements != m_maker.judge(file).m_statements)
                    fault = "it has other statements afterwards";
            }
        if (!fault.empty())
            m_findings.add(name + ": " + fault + ": " + file.describe());
    }

    void checkData(const std::string& folder) {
        std::vector<std::string> paths;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            const std::string path = entry.path();
            if (const auto format = formatOfFile(path); format && isLineFormat(*format))
                paths.push_back(path);
        }
        std::sort(paths.begin(), paths.end());
        for (const std::string& path : paths) {
            // The suites have files that must be refused.
            if (run({"check", path}) != 0)
                continue;
            const std::string fault = findFault(path, true);
            if (!fault.empty())
                m_findings.add(path + ": " + fault);
        }
    }

    /// Returns the fault in encoding and decoding a file; empty if there is none. A file with one statement per line is
    /// also encoded with IRIs.
    std::string findFault(const std::string& path, const bool hasLines) {
        ++m_files;
        std::vector<std::vector<std::string>> runs{{"load", path, "-o", "d", "--ids", "loaded.npy", "--force"},
                                                   {"encode", path, "-d", "d", "-o", "encoded.npy"},
                                                   {"decode", "loaded.npy", "-d", "d", "-o", DECODED_FROM_ROWS},
                                                   {"canonical", path, "-o", "canonical.nq"},
                                                   {"canonical", DECODED_FROM_ROWS, "-o", "again.nq"}};
        if (hasLines) {
            runs.push_back({"encode", "--as", "iri", path, "-d", "d", "-o", "encoded.nq"});
            runs.push_back({"decode", "--as", "iri", "encoded.nq", "-d", "d", "-o", DECODED_FROM_IRIS});
        }
        for (const std::vector<std::string>& arguments : runs)
            if (run(arguments) != 0)
                return "the tool fails to " + arguments.front();
        if (getContentsOf("loaded.npy") != getContentsOf("encoded.npy"))
            return "load and encode write other rows";
        const std::string expected = getContentsOf("canonical.nq");
        const std::string found = getContentsOf(DECODED_FROM_ROWS);
        const auto isSameLetter = [](const unsigned char left, const unsigned char right) {
            return std::tolower(left) == std::tolower(right);
        };
        const bool isSame = getContentsOf("again.nq") == expected &&
                            std::equal(found.begin(), found.end(), expected.begin(), expected.end(), isSameLetter) &&
                            (!hasLines || getContentsOf(DECODED_FROM_IRIS) == found);
        m_bytes += expected.size();
        return isSame ? "" : "it is decoded to something else";
    }

    const uint32_t m_seed;
    const std::string m_executable;
    const std::string m_folder;
    Findings m_findings;
    std::mt19937 m_random;
    SnippetMaker m_maker;
    size_t m_files = 0;
    size_t m_bytes = 0;
};

} // namespace

bool tortureByRewriting(const size_t numberOfFiles, const uint32_t seed, const std::string& folder,
                        std::ostream& output, const std::string& executable) {
    return RewriteTorture(seed, folder, output, executable).run(numberOfFiles);
}
