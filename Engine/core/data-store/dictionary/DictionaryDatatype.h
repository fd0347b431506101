#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/dictionary/DataPool.h"
#include "Engine/core/data-store/dictionary/DictionaryCommitPoint.h"
#include "Engine/core/data-store/dictionary/DictionaryCompactionState.h"
#include "Engine/core/data-store/dictionary/ResourceValue.h"
#include "Engine/core/data-store/dictionary/TableProfile.h"
#include "Engine/core/platform/ComponentInfo.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/InputStream.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "Engine/core/platform/stream/UntrustedInputStream.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class DictionaryThreadContext;

/// Maps the lexical forms of one family of datatypes to resource IDs and back, for one dictionary.
///
/// Units      Resource IDs count from 1; 0 means no resource. Sizes are bytes.
/// Ownership  The dictionary owns the counter, the two regions and the pool; they outlive the datatype. It may fill or
///            load them before or after it initialises or loads the datatype.
/// Lifecycle  After construction, call initialize, initializeForSnapshot or load before anything else.
/// Threads    Any threads concurrently: resolveResource and resolveResources, tryResolveResource and
///            tryResolveResources, getResource and getResources, findResources and createResources, getChunkSize,
///            getComponentInfo and getFingerprintBytes; also restoreResource, of different IDs, and
///            deleteUncommittedResourceID, of resources whose creation has returned. A context is used by one thread at
///            a time. save, addDetailedComponentInfo and getTableProfiles: any threads, while no thread resolves,
///            restores or deletes. Everything else: alone.
/// Errors     As each operation states: exceptions of the MelnarException family, or std::bad_alloc.
/// Chunks     A resource has one chunk of the data pool. It contains the resource's data and a terminating zero byte,
///            since readers get pointers to the data. The rest of the format is private to the datatype: the dictionary
///            moves chunks as bytes, and prepareCompact or getChunkSize give their sizes.
///
/// A resource becomes visible by its ID with the datatype byte, and then by its literal with the bucket. Chunk and
/// offset are written before both. Both are stored with release order, so a thread that sees either one may read chunk
/// and offset.
class MELNAR_EXPORT DictionaryDatatype : private Unmovable {
public:
    /// Makes a resolve operation give a new resource the next ID of the dictionary's counter.
    struct GetNextResourceID {};

    /// Makes a resolve operation give a new resource an ID that the caller chose.
    struct GetTargetResourceID {
        uint64_t m_targetResourceID; ///< the ID
    };

    /// Makes a datatype of a dictionary, whose shared storage it gets; it must be initialised or loaded before use.
    DictionaryDatatype(melnar::Atomic<uint64_t>& nextResourceID, MemoryRegion<uint64_t>& resourceDataOffsets,
                       MemoryRegion<melnar::Atomic<uint8_t>>& resourceFlags, DataPool& dataPool) noexcept;

    virtual ~DictionaryDatatype();

    /// Prepares an empty datatype. `initialSize` is stored, saved and loaded; only the dictionary gives it a meaning.
    virtual void initialize(size_t initialSize) = 0;

    /// Prepares an empty datatype with room for the given numbers of resources. `resourceCounts` is indexed by datatype
    /// ID and has an entry for every ID that the datatype serves.
    virtual void initializeForSnapshot(const std::vector<uint64_t>& resourceCounts) = 0;

    /// Returns how many records a compaction needs beside those that prepareCompact appends. Dictionary has room for
    /// those of prepareCompact only, so its datatypes must return 0.
    virtual size_t getNumberOfMappableEntriesInCompaction() = 0;

    /// Appends the record of a resource that survives a compaction; returns the size of its chunk. The state must have
    /// room for the record.
    virtual size_t prepareCompact(size_t resourceID, size_t newResourceID, DictionaryCompactionState& state) = 0;

    /// Takes over new IDs and offsets. The records are sorted by datatype ID, and the chunks are already at their new
    /// offsets.
    virtual void finishCompact(const DictionaryCompactionState& state) = 0;

    /// Withdraws a resource that was never committed. Its chunk, offset and datatype byte stay as they are.
    virtual void deleteUncommittedResourceID(uint64_t resourceID, uint8_t datatypeID) = 0;

    /// Reads a resource, which must exist. The value points into the data pool.
    virtual void getResource(uint64_t resourceID, uint8_t datatypeID, ResourceValue& resourceValue) const = 0;

    /// Reads a resource, which must exist. Replaces the whole content of `lexicalForm`.
    virtual void getResource(uint64_t resourceID, uint8_t datatypeID, std::string& lexicalForm) const = 0;

    /// Returns the ID of a literal that the commit point covers, or 0. The value must have been validated by a factory.
    virtual uint64_t tryResolveResource(DictionaryCommitPoint commitPoint,
                                        const ResourceValue& resourceValue) const = 0;

    /// The same for a lexical form. Throws MelnarException if the datatype does not allow it.
    virtual uint64_t tryResolveResource(DictionaryCommitPoint commitPoint, const char* lexicalForm,
                                        size_t lexicalFormLength, uint8_t datatypeID) const = 0;

    /// Returns the ID of a literal; creates the resource if there is none. The value must have been validated by a
    /// factory. The context may be null. Throws what newResourceIDAndDataChunk throws, and the failures of a table's
    /// growth.
    virtual uint64_t resolveResource(DictionaryThreadContext* threadContext, const ResourceValue& resourceValue) = 0;

    /// The same for a lexical form. Also throws MelnarException if the datatype does not allow it.
    virtual uint64_t resolveResource(DictionaryThreadContext* threadContext, const char* lexicalForm,
                                     size_t lexicalFormLength, uint8_t datatypeID) = 0;

    /// Creates a resource under a given ID and returns the ID. The literal must not exist: if it does, the call waits
    /// until it is deleted, possibly forever.
    virtual uint64_t restoreResource(DictionaryThreadContext* threadContext, uint64_t resourceID,
                                     const ResourceValue& resourceValue) = 0;

    /// Writes the contents.
    virtual void save(OutputStream& outputStream) const = 0;

    /// Replaces the contents by saved ones of the same bucket width. After a throw the datatype must be initialised or
    /// loaded again.
    virtual void load(InputStream& inputStream) = 0;

    /// Returns statistics. Reads counters that other threads may be changing; takes no lock.
    virtual std::unique_ptr<ComponentInfo> getComponentInfo() const = 0;

    /// Adds statistics that require a pass over all resources to those of the dictionary, as children. While no thread
    /// resolves or deletes. The default adds none.
    virtual void addDetailedComponentInfo(ComponentInfo& dictionary) const;

    /// Resolves the literals of a batch, of any size. New literals get their IDs in the order of the entries.
    ///
    /// The entries of a group are all looked up, in no defined order, before the first one is created. So each answer
    /// is one that resolveResource could have given at some moment of the call; while other threads withdraw literals,
    /// two equal entries may get different IDs. Each literal becomes visible atomically, but the batch does not: other
    /// threads may see a part of it. Finding a literal that exists before the call needs no quota for an insertion, so
    /// it works even if the table cannot grow.
    ///
    /// A literal that resolveResource would refuse, or for which there is no memory, does not affect the others: its
    /// entry gets ID 0, and a failure is appended. Failures come in ascending order of their entries. Throws
    /// std::bad_alloc when there is no memory for a failure; a part of the batch is resolved then.
    virtual void resolveResources(DictionaryThreadContext* threadContext, std::span<BatchEntry> entries,
                                  std::vector<BatchFailure>& failures);

    /// Looks up the literals of a batch, in no defined order: each answer is one that tryResolveResource could have
    /// given at some moment of the call. Failures are as above.
    virtual void tryResolveResources(DictionaryCommitPoint commitPoint, std::span<BatchEntry> entries,
                                     std::vector<BatchFailure>& failures) const;

    /// Reads the resources of a batch, which must exist, into the entries' lexical forms. Their datatype IDs are given
    /// and belong to this object; an entry with D_INVALID has no resource and is left alone.
    virtual void getResources(std::span<BatchEntry> entries) const;

    /// Returns the size of a resource's chunk, or 0 unless a complete chunk is at the resource's offset within the data
    /// pool. Does not trust the offset or the chunk: both may come from a damaged file. Threads as for getResource. The
    /// default reads chunks in the format of StringChunk.
    virtual size_t getChunkSize(uint64_t resourceID) const noexcept;

    /// Loads an untrusted stream, as load does, but checks every number before it is used, and reports damage to the
    /// stream. The dictionary has already loaded counter, regions and data pool, and has checked that every resource
    /// has a datatype and a complete chunk. The default calls load, and so trusts the stream.
    virtual void loadUntrusted(UntrustedInputStream& inputStream);

    /// Keeps one byte of hash per bucket from now on, which makes resolving and lookups faster and changes no answer;
    /// see Fingerprints. The memory manager can take back the memory of fingerprints when operations need it, but not
    /// during initialize and load, so call this after those. Off by default. Alone.
    virtual void enableFingerprints();

    /// Returns how many bytes the fingerprints take, which getComponentInfo does not include. Any thread, any time.
    virtual size_t getFingerprintBytes() const;

    /// From now on refuses, with HashCollisionException, new literals that collide with more than this number of others
    /// in the hash table. Protects against strings that were made to collide, for which time grows with the square of
    /// their number. No limit by default. Alone.
    virtual void limitCollisions(size_t largestNumberOfCollisions);

    /// Returns how entries are distributed in each hash table, which is divided into `numberOfSegments`: a power of
    /// two, at most 1024. Reads the whole tables. While no thread resolves or deletes. The default returns no table.
    virtual std::vector<TableProfile> getTableProfiles(size_t numberOfSegments) const;

    /// Returns the part of a resource's form that its entry of getResources does not contain. Empty by default.
    virtual std::string_view getAffix(const BatchEntry& entry) const noexcept;

    /// Appends the whole form of a resource that getResources has read.
    virtual void appendLexicalForm(const BatchEntry& entry, std::string& output) const;

    /// Returns whether the datatype may have resources. One that has none is not saved and not counted in statistics,
    /// and is initialised instead of loaded. True by default.
    virtual bool isInUse() const noexcept;

    /// The first half of resolveResources, for batches that several objects serve. Gives the entries of existing
    /// literals their IDs, committed or not, and all other entries 0. Fills `hashes`, one per entry, for the second
    /// half. The default looks up the literals and fills nothing.
    virtual void findResources(std::span<BatchEntry> entries, uint64_t* hashes) const;

    /// The second half: resolves the entries whose ID is 0, in their order. They belong to this object, and have their
    /// hashes from the first half; entries with an ID are left alone. Failures are as in resolveResources. A thread may
    /// hold one slot for all these entries, so the caller limits their number. The default resolves each entry
    /// separately.
    virtual void createResources(DictionaryThreadContext* threadContext, std::span<BatchEntry> entries,
                                 const uint64_t* hashes, std::vector<BatchFailure>& failures);

protected:
    /// Returns the size of the StringChunk at an offset, or 0 unless a complete one is there within the data pool.
    size_t getStringChunkSize(uint64_t dataOffset) const noexcept;

    /// Takes `chunkSize` bytes of the data pool; returns their offset. The context may be null.
    uint64_t newDataChunk(DictionaryThreadContext* threadContext, size_t chunkSize);

    /// Takes a new resource ID and `chunkSize` bytes; returns (resource ID, offset). Both regions can be written at the
    /// ID. Throws MelnarException when the dictionary is full, otherwise what newDataChunk throws; nothing is taken
    /// then.
    std::pair<uint64_t, uint64_t> newResourceIDAndDataChunk(DictionaryThreadContext* threadContext, size_t chunkSize);

    size_t m_initialSize;                                   ///< that of initialize
    melnar::Atomic<uint64_t>& m_nextResourceID;             ///< the dictionary's counter
    MemoryRegion<uint64_t>& m_resourceDataOffsets;          ///< of the chunks in the data pool, by ID
    MemoryRegion<melnar::Atomic<uint8_t>>& m_resourceFlags; ///< the datatype bytes, by ID
    DataPool& m_dataPool;                                   ///< with the chunks

private:
    uint64_t newResourceID();
    void ensureResourceID(uint64_t resourceID);
};
