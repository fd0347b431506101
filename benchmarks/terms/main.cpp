#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermChunk.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Reader/StreamReader.h"
#include "Reader/SyntaxReader.h"
#include "benchmarks/data/TextList.h"
#include "benchmarks/pages/PagePool.h"
#include "benchmarks/program/BenchmarkProgram.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <fstream>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// Resolves the IRIs of an RDF file, each as often as it stands there and in that order, as IRIs and as strings, in
// batches, on one thread. Nanoseconds of processor time an IRI: iri_build and string_build with an empty dictionary,
// iri_re and string_re when all are there; ratio_build and ratio_re are those of IRIs over those of strings. Bytes over
// those of the text of the different IRIs: chunks and shared (the texts that IRIs share), stored (both), string_stored
// (of strings); all and string_all (everything that the dictionary has asked for).

namespace {

constexpr size_t MEMORY_LIMIT = size_t(1) << 36;
constexpr size_t BATCH_SIZE = 2048;

void require(const bool condition, const char* const objection) {
    if (!condition)
        throw std::runtime_error(objection);
}

class IriCollector : public Rdf::StatementSink {
public:
    void takeStatement(const Rdf::Statement& statement) final {
        for (const Rdf::Term* const term :
             {&statement.m_subject, &statement.m_predicate, &statement.m_object, &statement.m_graph})
            if (term->m_kind == Rdf::TermKind::IRI)
                m_iris.append(term->m_text);
    }

    void takeError(const Rdf::SyntaxError& error) final { throw std::runtime_error(error.format("the file")); }

    TextList m_iris;
};

/// Reads a file of N-Triples or N-Quads.
TextList readIris(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    require(file.is_open(), "the file of --strings cannot be read");
    IriCollector collector;
    Rdf::ReaderOptions options;
    options.m_syntax = fileName.ends_with(".nq") ? Rdf::Syntax::N_QUADS : Rdf::Syntax::N_TRIPLES;
    const std::unique_ptr<Rdf::SyntaxReader> reader = Rdf::SyntaxReader::make(options, collector);
    Rdf::StreamReader stream(*reader);
    std::vector<char> piece(1 << 16);
    while (file.read(piece.data(), static_cast<std::streamsize>(piece.size())).gcount() != 0)
        stream.feed({piece.data(), static_cast<size_t>(file.gcount())});
    stream.finish();
    require(collector.m_iris.getSize() != 0, "there are no IRIs");
    return std::move(collector.m_iris);
}

double getProcessorSeconds() {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Resolves all texts; returns the seconds of processor time that it took. The IDs are left in `resourceIDs`.
double resolveAll(Dictionary& dictionary, const TextList& texts, const uint8_t datatypeID,
                  std::vector<uint64_t>& resourceIDs) {
    DictionaryThread thread(dictionary);
    std::vector<BatchEntry> entries(BATCH_SIZE);
    std::vector<BatchFailure> failures;
    const double start = getProcessorSeconds();
    for (size_t begin = 0; begin < texts.getSize(); begin += BATCH_SIZE) {
        const size_t number = std::min(BATCH_SIZE, texts.getSize() - begin);
        for (size_t index = 0; index < number; ++index)
            entries[index] = {texts[begin + index], 0, datatypeID};
        dictionary.resolveResources(thread, {entries.data(), number}, failures);
        for (size_t index = 0; index < number; ++index)
            resourceIDs[begin + index] = entries[index].m_resourceID;
    }
    const double seconds = getProcessorSeconds() - start;
    if (!failures.empty())
        failures.front().throwException();
    return seconds;
}

struct Figures {
    // Seconds.
    double m_build = 0;
    double m_again = 0;

    // Bytes.
    size_t m_chunks = 0;
    size_t m_shared = 0;
    size_t m_all = 0;
    size_t m_text = 0;
};

void measureMemory(const Dictionary& dictionary, const uint8_t datatypeID, Figures& figures) {
    std::unordered_map<uint32_t, size_t> affixLengths;
    std::array<BatchEntry, 1> entry;
    for (uint64_t resourceID = 1; resourceID < dictionary.getNextResourceID(); ++resourceID) {
        entry[0].m_resourceID = resourceID;
        dictionary.getResources(entry);
        const size_t ownLength = entry[0].m_lexicalForm.size();
        figures.m_chunks += datatypeID == D_XSD_STRING ? StringChunk::getChunkSizeFor(ownLength)
                                                       : TermChunk::getChunkSizeFor(entry[0].m_affixNumber, ownLength);
        affixLengths[entry[0].m_affixNumber] = dictionary.getAffix(entry[0]).size();
    }
    figures.m_shared = std::accumulate(affixLengths.begin(), affixLengths.end(), size_t(0),
                                       [](const size_t sum, const auto& affix) { return sum + affix.second; });
    figures.m_all = dictionary.getMemoryInUse();
    figures.m_text = dictionary.getTextBytes(datatypeID);
}

/// Checks that equal texts alone have equal IDs, and that each leads back to its text.
void requireTexts(const Dictionary& dictionary, const TextList& texts, const std::vector<uint64_t>& resourceIDs,
                  const uint8_t datatypeID) {
    std::string form;
    for (size_t index = 0; index < texts.getSize(); ++index)
        require(dictionary.getResource(resourceIDs[index], form) == datatypeID && form == texts[index],
                "an ID is not that of its text");
    dictionary.verify(); // no text has two IDs
}

/// Resolves the texts twice with an empty dictionary, and that as often as told, in sum.
void measure(const TextList& texts, const uint8_t datatypeID, const bool isLast, Figures& figures) {
    PagePool::get().reset();
    {
        Dictionary dictionary(MEMORY_LIMIT, Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS);
        std::vector<uint64_t> resourceIDs(texts.getSize());
        std::vector<uint64_t> resourceIDsAgain(texts.getSize());
        figures.m_build += resolveAll(dictionary, texts, datatypeID, resourceIDs);
        figures.m_again += resolveAll(dictionary, texts, datatypeID, resourceIDsAgain);
        if (isLast) {
            require(resourceIDs == resourceIDsAgain, "a text has got another ID");
            requireTexts(dictionary, texts, resourceIDs, datatypeID);
            measureMemory(dictionary, datatypeID, figures);
        }
    }
}

void run(benchmark::State& state, const TextList& texts, const size_t numberOfRounds) {
    Figures iris;
    Figures strings;
    for (size_t round = 0; round < numberOfRounds; ++round) {
        measure(texts, D_IRI, round + 1 == numberOfRounds, iris);
        measure(texts, D_XSD_STRING, round + 1 == numberOfRounds, strings);
    }
    const auto perText = [&](const double seconds) {
        return seconds * 1e9 / static_cast<double>(texts.getSize() * numberOfRounds);
    };
    const auto perTextByte = [&](const size_t bytes) {
        return static_cast<double>(bytes) / static_cast<double>(iris.m_text);
    };
    state.SetIterationTime(iris.m_build);
    state.counters["iri_build"] = perText(iris.m_build);
    state.counters["string_build"] = perText(strings.m_build);
    state.counters["ratio_build"] = iris.m_build / strings.m_build;
    state.counters["iri_re"] = perText(iris.m_again);
    state.counters["string_re"] = perText(strings.m_again);
    state.counters["ratio_re"] = iris.m_again / strings.m_again;
    state.counters["text_bytes"] = static_cast<double>(iris.m_text);
    state.counters["chunks"] = perTextByte(iris.m_chunks);
    state.counters["shared"] = perTextByte(iris.m_shared);
    state.counters["stored"] = perTextByte(iris.m_chunks + iris.m_shared);
    state.counters["string_stored"] = perTextByte(strings.m_chunks);
    state.counters["all"] = perTextByte(iris.m_all);
    state.counters["string_all"] = perTextByte(strings.m_all);
}

} // namespace

int main(int argc, char** argv) {
    TextList texts;
    return runBenchmarkProgram(argc, argv, [&](const BenchmarkOptions& options) {
        texts = readIris(options.m_source);
        const size_t numberOfRounds = (options.m_textsPerMeasurement + texts.getSize() - 1) / texts.getSize();
        registerBenchmark("iris/threads:1", [&texts, numberOfRounds, isWarm = false](benchmark::State& state) mutable {
            if (!isWarm) { // touches the pages
                Figures figures;
                measure(texts, D_IRI, false, figures);
                measure(texts, D_XSD_STRING, false, figures);
            }
            isWarm = true;
            for (auto _ : state)
                run(state, texts, numberOfRounds);
        });
        return texts.getSize();
    });
}
