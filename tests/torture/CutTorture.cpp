#include "tests/torture/CutTorture.h"

#include "tests/judge/ReaderVerdict.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tests/tools/melnar-dict/input/PackedText.h"
#include "tests/torture/Findings.h"
#include "tests/torture/SnippetMaker.h"
#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <random>

using Rdf::Syntax;
using Rdf::Version;

namespace {

constexpr size_t SMALLEST_FILE = 250;
constexpr size_t LARGEST_FILE = 900;
constexpr size_t NUMBER_OF_THREADS = 2;

class CutTorture {
public:
    CutTorture(const size_t numberOfCuts, const uint32_t seed, const std::string& folder, std::ostream& output,
               const ReadPackedFile& read)
        : m_numberOfCuts(numberOfCuts), m_seed(seed), m_folder(folder), m_read(read), m_findings(output),
          m_random(seed) {}

    bool run() {
        while (m_cuts < m_numberOfCuts)
            for (const Syntax syntax : {Syntax::N_TRIPLES, Syntax::N_QUADS, Syntax::TURTLE, Syntax::TRIG}) {
                const Snippet first = makeFile(syntax);
                cutPlain(first);
                const std::string second = makeFile(syntax).m_text;
                cutPacked("a.gz", gzip(first.m_text), gzip(second), first.m_text, second);
                cutPacked("a.bz2", bzip2(first.m_text), bzip2(second), first.m_text, second);
                cutPacked("a.xz", xz(first.m_text), xz(second), first.m_text, second);
                cutPacked("a.zst", zstd(first.m_text), zstd(second), first.m_text, second);
            }
        return m_findings.finish(m_cuts, "cuts", "none silently short",
                                 " (" + withCommas(m_plainCuts) + " of plain files, of which " +
                                     withCommas(m_validCuts) + " left a valid one; " +
                                     withCommas(m_cuts - m_plainCuts) + " of packed files, of which " +
                                     withCommas(m_cutsBetweenStreams) + " between streams)");
    }

private:
    /// Makes a file that is accepted, from several derivations, which may follow each other in all syntaxes.
    Snippet makeFile(const Syntax syntax) {
        Snippet file{syntax, Version::RDF_1_2, "http://b.example/", ""};
        while (file.m_text.size() < SMALLEST_FILE) {
            Snippet longer = file;
            longer.m_text += m_maker.makeSound(syntax, file.m_version, m_random) + "\n";
            if (longer.m_text.size() <= LARGEST_FILE && m_maker.judge(longer).m_refusal.empty())
                file = longer;
        }
        return file;
    }

    bool canCut() const { return m_cuts < m_numberOfCuts; }

    void cutPlain(const Snippet& file) {
        for (size_t length = 0; length < file.m_text.size() && canCut(); ++length) {
            Snippet cut = file;
            cut.m_text.resize(length);
            const ReaderVerdict verdict = readStrictly(cut.m_text, cut.getOptions());
            const Judgement judgement = m_maker.judge(cut);
            if (verdict.m_error.empty() != judgement.m_refusal.empty() ||
                verdict.m_statements != judgement.m_statements)
                m_findings.add(describeSeed() + cut.describe() + "\n  the reader: '" + verdict.m_error +
                               "', the judge: '" + judgement.m_refusal + "'");
            ++m_cuts;
            ++m_plainCuts;
            m_validCuts += judgement.m_refusal.empty();
        }
    }

    void cutPacked(const std::string& name, const std::string& first, const std::string& second,
                   const std::string& firstText, const std::string& secondText) {
        const std::string packed = first + second;
        if (readBytes(name, packed) != firstText + secondText)
            m_findings.add(describeSeed() + name + " is not read even whole: " + quoteBytes(packed));
        for (size_t length = 0; length < packed.size() && canCut(); ++length) {
            const std::optional<std::string> text = readBytes(name, packed.substr(0, length));
            const bool isBetween = length == first.size();
            if (text != (isBetween ? std::optional(firstText) : std::nullopt))
                m_findings.add(describeSeed() + name + " cut after " + std::to_string(length) + " bytes is " +
                               (text ? "read as " + quoteBytes(*text) : "an error") + ": " + quoteBytes(packed));
            ++m_cuts;
            m_cutsBetweenStreams += isBetween;
        }
    }

    /// Each file is a new one, since some systems flush a file that is overwritten.
    std::optional<std::string> readBytes(const std::string& name, const std::string& bytes) const {
        const std::string path = m_folder + "/" + name;
        std::ofstream(path, std::ios::binary) << bytes;
        std::optional<std::string> text = m_read(path);
        std::filesystem::remove(path);
        return text;
    }

    std::string describeSeed() const { return "MELNAR_SEED=" + std::to_string(m_seed) + " cut: "; }

    const size_t m_numberOfCuts;
    const uint32_t m_seed;
    const std::string m_folder;
    const ReadPackedFile m_read;
    Findings m_findings;
    std::mt19937 m_random;
    SnippetMaker m_maker;
    size_t m_cuts = 0;
    size_t m_plainCuts = 0;
    size_t m_validCuts = 0;
    size_t m_cutsBetweenStreams = 0;
};

} // namespace

std::optional<std::string> readPackedFile(const std::string& path) {
    try {
        const std::unique_ptr<ByteSource> source = openInputFile(path, NUMBER_OF_THREADS);
        std::string text;
        std::array<char, 4096> buffer;
        while (const size_t size = source->read(buffer.data(), buffer.size()))
            text.append(buffer.data(), size);
        return text;
    } catch (const ToolFailure&) {
        return std::nullopt;
    }
}

bool tortureCuts(const size_t numberOfCuts, const uint32_t seed, const std::string& folder, std::ostream& output,
                 const ReadPackedFile& read) {
    return CutTorture(numberOfCuts, seed, folder, output, read).run();
}
