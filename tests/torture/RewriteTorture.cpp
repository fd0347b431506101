#include "tests/torture/RewriteTorture.h"

#include "tests/support/TemporaryDirectory.h"
#include "tests/torture/Findings.h"
#include "tests/torture/SnippetMaker.h"
#include "tests/torture/StartTool.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

using Rdf::Syntax;
using Rdf::Version;

namespace {

constexpr size_t SMALLEST_FILE = 5000;

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

    int run(const std::vector<std::string>& arguments) const {
        return waitForTool(startTool(m_executable, arguments, m_folder));
    }

    /// Of statements that the judge accepts.
    Snippet makeFile() {
        Snippet file{m_random() % 2 == 0 ? Syntax::N_TRIPLES : Syntax::N_QUADS, Version::RDF_1_2, "", ""};
        while (file.m_text.size() < SMALLEST_FILE) {
            Snippet part = file;
            part.m_text = m_maker.makeSound(file.m_syntax, file.m_version, m_random) + "\n";
            if (m_maker.judge(part).m_refusal.empty())
                file.m_text += part.m_text;
        }
        return file;
    }

    void checkMade(const size_t number) {
        const Snippet file = makeFile();
        const std::string extension = file.m_syntax == Syntax::N_TRIPLES ? ".nt" : ".nq";
        std::ofstream(pathOf("made" + extension), std::ios::binary) << file.m_text;
        const std::string name = "MELNAR_SEED=" + std::to_string(m_seed) + " file " + std::to_string(number);
        std::string fault = findFault(pathOf("made" + extension), extension);
        Snippet decoded = file;
        if (fault.empty()) {
            decoded.m_text = TemporaryDirectory::getContentsOf(pathOf("decoded" + extension));
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
            if (path.ends_with(".nt") || path.ends_with(".nq") || path.ends_with(".nt.gz") || path.ends_with(".nq.gz"))
                paths.push_back(path);
        }
        std::sort(paths.begin(), paths.end());
        for (const std::string& path : paths) {
            // The suites have files that are to be refused.
            if (run({"check", path}) != 0)
                continue;
            const bool hasGraphs = path.ends_with(".nq") || path.ends_with(".nq.gz");
            const std::string fault = findFault(path, hasGraphs ? ".nq" : ".nt");
            if (!fault.empty())
                m_findings.add(path + ": " + fault);
        }
    }

    /// What is wrong about encoding and decoding a file; nothing if all is right.
    std::string findFault(const std::string& path, const std::string& extension) {
        ++m_files;
        const std::string encoded = "encoded" + extension;
        const std::string decoded = "decoded" + extension;
        const std::string canonical = "canonical" + extension;
        for (const std::vector<std::string>& arguments :
             std::vector<std::vector<std::string>>{{"load", path, "-o", "d", "--force"},
                                                   {"encode", "--as", "iri", path, "-d", "d", "-o", encoded},
                                                   {"decode", "--as", "iri", encoded, "-d", "d", "-o", decoded},
                                                   {"canonical", path, "-o", canonical},
                                                   {"canonical", decoded, "-o", "again" + extension}})
            if (run(arguments) != 0)
                return "the tool fails to " + arguments.front();
        const std::string expected = TemporaryDirectory::getContentsOf(pathOf(canonical));
        const std::string found = TemporaryDirectory::getContentsOf(pathOf(decoded));
        const auto isSameLetter = [](const unsigned char left, const unsigned char right) {
            return std::tolower(left) == std::tolower(right);
        };
        const bool isSame = TemporaryDirectory::getContentsOf(pathOf("again" + extension)) == expected &&
                            std::equal(found.begin(), found.end(), expected.begin(), expected.end(), isSameLetter);
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
