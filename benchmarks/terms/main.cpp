#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermBatch.h"
#include "Engine/core/data-store/terms/TermChunk.h"
#include "Engine/core/data-store/terms/TermColumn.h"
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
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

using namespace melnar;

// Resolves the IRIs of an RDF file, with repetitions and in the order of the file, as IRIs and as strings, in batches,
// on one thread. Nanoseconds of processor time per IRI: iri_build and string_build with an empty dictionary, iri_re and
// string_re when all exist; ratio_build and ratio_re are the times of IRIs over those of strings. Bytes over those of
// the text of the distinct IRIs: chunks and shared (the texts that IRIs share), stored (both), string_stored (of
// strings); all and string_all (everything that the dictionary has allocated).
//
// Then the same with all terms of the file except triple terms, in columns of the size of a batch: column_build and
// column_re, compared with a TermBatch that is filled (batch_build, batch_re) and single calls (single_build,
// single_re); column_get, batch_get and single_get read the terms back.

namespace {

constexpr size_t MEMORY_LIMIT = size_t(1) << 36;
constexpr size_t BATCH_SIZE = 2048;

void require(const bool condition, const char* const objection) {
    if (!condition)
        throw std::runtime_error(objection);
}

/// The contents of a file; the parts of a term are consecutive texts.
struct FileTerms {
    /// The terms refer to the texts.
    std::vector<Term> makeColumn() const {
        std::vector<Term> terms;
        for (size_t index = 0; index < m_kinds.size(); ++index)
            terms.push_back({.m_kind = m_kinds[index],
                             .m_direction = m_directions[index],
                             .m_text = m_parts[3 * index],
                             .m_language = m_parts[3 * index + 1],
                             .m_datatype = m_parts[3 * index + 2]});
        return terms;
    }

    TextList m_iris;
    TextList m_parts;
    std::vector<Term::Kind> m_kinds;
    std::vector<Term::Direction> m_directions;
};

class TermCollector : public Rdf::StatementSink {
public:
    void takeStatement(const Rdf::Statement& statement) final {
        for (const Rdf::Term* const term :
             {&statement.m_subject, &statement.m_predicate, &statement.m_object, &statement.m_graph})
            takeTerm(*term);
    }

    void takeError(const Rdf::SyntaxError& error) final { throw std::runtime_error(error.format("the file")); }

    FileTerms m_terms;

private:
    void takeTerm(const Rdf::Term& term) {
        if (term.m_kind == Rdf::TermKind::NONE || term.m_kind == Rdf::TermKind::TRIPLE)
            return;
        if (term.m_kind == Rdf::TermKind::IRI)
            m_terms.m_iris.append(term.m_text);
        for (const std::string_view part : {term.m_text, term.m_tag, term.m_datatype})
            m_terms.m_parts.append(part);
        m_terms.m_kinds.push_back(term.m_kind == Rdf::TermKind::IRI       ? Term::Kind::IRI
                                  : term.m_kind == Rdf::TermKind::LITERAL ? Term::Kind::LITERAL
                                                                          : Term::Kind::BLANK_NODE);
        m_terms.m_directions.push_back(term.m_direction == Rdf::Direction::NONE ? Term::Direction::NONE
                                       : term.m_direction == Rdf::Direction::LEFT_TO_RIGHT
                                           ? Term::Direction::LEFT_TO_RIGHT
                                           : Term::Direction::RIGHT_TO_LEFT);
    }
};

/// Reads a file of N-Triples or N-Quads.
FileTerms readTerms(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    require(file.is_open(), "the file of --strings cannot be read");
    TermCollector collector;
    Rdf::ReaderOptions options;
    options.m_syntax = fileName.ends_with(".nq") ? Rdf::Syntax::N_QUADS : Rdf::Syntax::N_TRIPLES;
    const std::unique_ptr<Rdf::SyntaxReader> reader = Rdf::SyntaxReader::make(options, collector);
    Rdf::StreamReader stream(*reader);
    std::vector<char> piece(1 << 16);
    while (file.read(piece.data(), static_cast<std::streamsize>(piece.size())).gcount() != 0)
        stream.feed({piece.data(), static_cast<size_t>(file.gcount())});
    stream.finish();
    require(collector.m_terms.m_iris.getSize() != 0, "there are no IRIs");
    return std::move(collector.m_terms);
}

double getProcessorSeconds() {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Resolves all texts; returns the seconds of processor time that this took. Leaves the IDs in `resourceIDs`.
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

/// Checks that only equal texts have equal IDs, and that each ID gives its text.
void requireTexts(const Dictionary& dictionary, const TextList& texts, const std::vector<uint64_t>& resourceIDs,
                  const uint8_t datatypeID) {
    std::string form;
    for (size_t index = 0; index < texts.getSize(); ++index)
        require(dictionary.getResource(resourceIDs[index], form) == datatypeID && form == texts[index],
                "an ID is not that of its text");
    dictionary.verify(); // no text has two IDs
}

/// Resolves the texts twice, the first time with an empty dictionary. Repeats this, and sums the times.
void measure(const TextList& texts, const uint8_t datatypeID, const bool isLast, Figures& figures) {
    PagePool::get().reset();
    {
        Dictionary dictionary(
            {.m_memoryLimit = MEMORY_LIMIT,
             .m_maximumNumberOfResources = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS});
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

/// Returns the bytes of all parts of a term.
size_t getSize(const Term& term) noexcept {
    return term.m_text.size() + term.m_language.size() + term.m_datatype.size();
}

// The ways to process a piece of a column. Each reads terms back by their IDs and returns their bytes.

struct ByColumn {
    void resolve(Dictionary& dictionary, DictionaryThread& thread, const std::span<const Term> terms,
                 const std::span<uint64_t> resourceIDs) {
        dictionary.resolveTerms(thread, terms, resourceIDs, m_failures);
    }

    size_t read(const Dictionary& dictionary, const std::span<const uint64_t> resourceIDs) {
        dictionary.getTerms(resourceIDs, m_column);
        size_t bytes = 0;
        for (const Term& term : m_column.getTerms())
            bytes += getSize(term);
        return bytes;
    }

    std::vector<BatchFailure> m_failures;
    TermColumn m_column;
};

struct ByBatch {
    void resolve(Dictionary& dictionary, DictionaryThread& thread, const std::span<const Term> terms,
                 const std::span<uint64_t> resourceIDs) {
        m_batch.clear();
        for (const Term& term : terms)
            m_batch.add(term);
        const std::span<BatchEntry> entries = m_batch.getEntries();
        dictionary.resolveResources(thread, entries, m_failures);
        std::ranges::transform(entries, resourceIDs.begin(), &BatchEntry::m_resourceID);
    }

    size_t read(const Dictionary& dictionary, const std::span<const uint64_t> resourceIDs) {
        m_entries.clear();
        for (const uint64_t resourceID : resourceIDs)
            m_entries.push_back({{}, resourceID});
        dictionary.getResources(m_entries);
        size_t bytes = 0;
        for (const BatchEntry& entry : m_entries) {
            m_form.clear();
            dictionary.appendLexicalForm(entry, m_form);
            bytes += getSize(Term::parse(entry.m_datatypeID, m_form));
        }
        return bytes;
    }

    std::vector<BatchFailure> m_failures;
    TermBatch m_batch;
    std::vector<BatchEntry> m_entries;
    std::string m_form;
};

struct BySingleCalls {
    void resolve(Dictionary& dictionary, DictionaryThread& thread, const std::span<const Term> terms,
                 const std::span<uint64_t> resourceIDs) {
        std::ranges::transform(terms, resourceIDs.begin(),
                               [&](const Term& term) { return dictionary.resolveTerm(thread, term); });
    }

    size_t read(const Dictionary& dictionary, const std::span<const uint64_t> resourceIDs) {
        size_t bytes = 0;
        for (const uint64_t resourceID : resourceIDs)
            bytes += getSize(dictionary.getTerm(resourceID, m_form));
        return bytes;
    }

    std::vector<BatchFailure> m_failures; // stays empty: failures throw
    std::string m_form;
};

/// Calls `answer(begin, size)` for each piece; returns the seconds of processor time that this took.
template<class Answer>
double measurePieces(const size_t numberOfTerms, const Answer& answer) {
    const double start = getProcessorSeconds();
    for (size_t begin = 0; begin < numberOfTerms; begin += BATCH_SIZE)
        answer(begin, std::min(BATCH_SIZE, numberOfTerms - begin));
    return getProcessorSeconds() - start;
}

/// Measures one way with empty dictionaries; adds to the counters `name`_build, _re and _get. Returns the bytes read.
template<class Way>
size_t measureWay(benchmark::State& state, const std::string& name, const std::span<const Term> terms,
                  const size_t numberOfRounds) {
    double build = 0;
    double again = 0;
    double get = 0;
    size_t bytes = 0;
    for (size_t round = 0; round < numberOfRounds; ++round) {
        PagePool::get().reset();
        Dictionary dictionary(
            {.m_memoryLimit = MEMORY_LIMIT,
             .m_maximumNumberOfResources = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS});
        DictionaryThread thread(dictionary);
        std::vector<uint64_t> resourceIDs(terms.size());
        std::vector<uint64_t> resourceIDsAgain(terms.size());
        Way way;
        const auto resolveAllInto = [&](std::vector<uint64_t>& answers) {
            return measurePieces(terms.size(), [&](const size_t begin, const size_t size) {
                way.resolve(dictionary, thread, terms.subspan(begin, size), std::span(answers).subspan(begin, size));
            });
        };
        build += resolveAllInto(resourceIDs);
        again += resolveAllInto(resourceIDsAgain);
        bytes = 0;
        get += measurePieces(terms.size(), [&](const size_t begin, const size_t size) {
            bytes += way.read(dictionary, std::span(resourceIDs).subspan(begin, size));
        });
        require(way.m_failures.empty(), "a term is refused");
        require(resourceIDs == resourceIDsAgain, "a term has got another ID");
        TermColumn column;
        dictionary.getTerms(resourceIDs, column);
        dictionary.tryResolveTerms(DictionaryCommitPoint::ALL, column.getTerms(), resourceIDsAgain, way.m_failures);
        require(resourceIDs == resourceIDsAgain, "a term is read as another");
    }
    for (const auto& [quantity, seconds] : {std::pair("_build", build), {"_re", again}, {"_get", get}})
        state.counters[name + quantity] = seconds * 1e9 / static_cast<double>(terms.size() * numberOfRounds);
    state.SetIterationTime(build);
    return bytes;
}

void runColumns(benchmark::State& state, const std::span<const Term> terms, const size_t numberOfRounds) {
    measureWay<ByBatch>(state, "batch", terms, 1); // touches the pages; its figures are replaced
    const size_t bytes = measureWay<BySingleCalls>(state, "single", terms, numberOfRounds);
    require(bytes == measureWay<ByBatch>(state, "batch", terms, numberOfRounds) &&
                bytes == measureWay<ByColumn>(state, "column", terms, numberOfRounds),
            "the ways read different terms");
}

} // namespace

int main(int argc, char** argv) {
    FileTerms fileTerms;
    std::vector<Term> column;
    return runBenchmarkProgram(argc, argv, [&](const BenchmarkOptions& options) {
        fileTerms = readTerms(options.m_source);
        column = fileTerms.makeColumn();
        const TextList& texts = fileTerms.m_iris;
        const auto getNumberOfRounds = [&options](const size_t numberOfTerms) {
            return (options.m_textsPerMeasurement + numberOfTerms - 1) / numberOfTerms;
        };
        registerBenchmark("iris/threads:1", [&texts, numberOfRounds = getNumberOfRounds(texts.getSize()),
                                             isWarm = false](benchmark::State& state) mutable {
            if (!isWarm) { // touches the pages
                Figures figures;
                measure(texts, D_IRI, false, figures);
                measure(texts, D_XSD_STRING, false, figures);
            }
            isWarm = true;
            for (auto _ : state)
                run(state, texts, numberOfRounds);
        });
        registerBenchmark("columns/threads:1",
                          [&column, numberOfRounds = getNumberOfRounds(column.size())](benchmark::State& state) {
                              for (auto _ : state)
                                  runColumns(state, column, numberOfRounds);
                          });
        return texts.getSize();
    });
}
