#pragma once

#include "tools/melnar-dict-mpi/PieceQueue.h"
#include "tools/melnar-dict-mpi/SlicePlan.h"

#include "tools/melnar-dict/pieces/BlankNodeOptions.h"

#include "Engine/core/platform/Unmovable.h"
#include "Reader/ReaderOptions.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>

/// Reads the slices of a rank, one after the other in the order of the input, and puts their pieces into a queue, in a
/// thread of its own, from construction to the end of the slices or its own.
///
/// An error in an input becomes an error of the piece where it is found. A file that has become shorter is such an
/// error.
///
/// Ownership  Refers to all of its arguments, which outlive it. Its end stops the queue.
/// Threads    One at a time.
/// Errors     Errors other than those of the inputs go to the queue.
class SliceReader : private Unmovable {
public:
    struct Settings {
        bool m_isLenient = false;
        bool m_keepsRejected = false;
        size_t m_maximumLine = DEFAULT_MAXIMUM_LINE;
        std::string m_base{};
        Rdf::Version m_version = Rdf::Version::RDF_1_2;
        BlankNodeOptions m_blankNodes{};
    };

    /// `bytesRead` counts the bytes of files, compressed or not.
    SliceReader(const SlicePlan& plan, uint32_t rank, Settings settings, std::atomic<uint64_t>& bytesRead,
                PieceQueue& queue);
    ~SliceReader();

    /// Returns the slice of the next piece that will be queued, or the number of slices.
    uint64_t getNextSlice() const noexcept { return m_nextSlice.load(std::memory_order_relaxed); }

private:
    class Pieces;

    void run() noexcept;
    bool readInput(size_t inputIndex);
    bool readSlices(size_t inputIndex);
    bool readWhole(size_t inputIndex);

    const SlicePlan& m_plan;
    const uint32_t m_rank;
    const Settings m_settings;
    std::atomic<uint64_t>& m_bytesRead;
    PieceQueue& m_queue;
    std::atomic<uint64_t> m_nextSlice = 0; // only decides whether to wait for it: relaxed accesses suffice
    std::thread m_thread;
};
