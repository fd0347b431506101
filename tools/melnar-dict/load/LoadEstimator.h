#pragma once

#include "tools/melnar-dict/input/ByteSource.h"
#include "tools/melnar-dict/input/InputFiles.h"
#include "tools/melnar-dict/load/DictionaryResolver.h"
#include "tools/melnar-dict/load/LoadEstimate.h"
#include "tools/melnar-dict/load/SampleParser.h"
#include "tools/melnar-dict/load/UnitCounts.h"
#include "tools/melnar-dict/pieces/BlankNodeOptions.h"
#include "tools/melnar-dict/rows/RowLayout.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/Unmovable.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// Estimates the cost of a load from samples of the files, which it loads into a dictionary of its own.
///
/// Small input is read completely. Of larger input, units are read that are spread evenly over all files. Compressed
/// files are decompressed, but not beyond a limit; of a pipe, the beginning is read.
///
/// Threads  One at a time, except getBytesRead.
/// Errors   Faulty statements are not counted. Otherwise a ToolFailure for a file, and those of the dictionary.
class LoadEstimator : private Unmovable {
public:
    struct Settings {
        uint64_t m_numberOfThreads = 1; // that will load
        uint64_t m_memoryLimit = 0;     // of the estimator's dictionary
        bool m_loadsOnlyStrings = false;
        bool m_makesShards = false;
        BlankNodeOptions m_blankNodes{};
        uint64_t m_sampleBytes = uint64_t(64) << 20;  // are read for their terms, or slightly more
        uint64_t m_unpackedBytes = uint64_t(1) << 30; // of a compressed file are decompressed at most
        uint64_t m_unitBytes = uint64_t(256) << 10;
    };

    explicit LoadEstimator(const Settings& settings);

    /// Called once.
    LoadEstimate estimate(const InputFiles& files);

    /// Returns how many bytes of the files, compressed or not, have been read so far. For any thread at any time.
    uint64_t getBytesRead() const noexcept { return m_bytesRead.load(std::memory_order_relaxed); }

private:
    /// The known properties of a file before it is sampled.
    struct File {
        std::string m_name;
        RdfFormat m_format;
        bool m_isPlain = false;      // not compressed, so that single units can be read
        uint64_t m_bytes = 0;        // on the disk; 0 for a pipe
        double m_unpackedBytes = 0;  // estimated
        double m_secondsOfAByte = 0; // of decompression
    };

    File examine(const std::string& fileName, RdfFormat format);
    std::unique_ptr<StatementConsumer> makeConsumer(size_t fileIndex);
    void sample(const File& file, size_t fileIndex);
    void sampleUnits(const File& file, SampleParser& parser, StatementConsumer& consumer);
    void sampleStream(const File& file, SampleParser& parser, StatementConsumer& consumer);
    void startUnit(uint64_t sampledBytes);
    void feed(SampleParser& parser, StatementConsumer& consumer, std::string_view text);
    void finish(SampleParser& parser, StatementConsumer& consumer);
    void resolve(StatementConsumer& consumer);
    double getShare() const;
    DictionaryContents extrapolateTerms(LoadEstimate& estimate) const;
    LoadEstimate extrapolate(const RowLayout& rowLayout) const;

    const Settings m_settings;
    std::atomic<uint64_t> m_bytesRead = 0;
    Dictionary m_dictionary;
    std::optional<DictionaryResolver> m_resolver; // nothing for string literals only
    ParsedPiece m_piece;
    UnitCounts m_units;
    double m_stride = 1;        // one of so many units is sampled
    double m_nextPosition = 0;  // of a unit, in all plain files as if they were one
    double m_plainBytes = 0;    // of the plain files so far
    double m_inputBytes = 0;    // of all files so far, decompressed
    double m_sampledBytes = 0;  // of them
    double m_unpackSeconds = 0; // that decompression will take
    double m_sampleSeconds = 0; // that the samples took
    StatementCounts m_counts;   // of the samples
    uint64_t m_spillBytes = 0;  // that would be spilled if no term of the samples was known
    bool m_isWholeInput = true;
};
