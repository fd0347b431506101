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
#include "Engine/core/platform/system/MemoryRegion.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class DictionaryThreadContext;

/// A family of literal datatypes of one dictionary: maps lexical forms to resource IDs and back.
///
/// Units      Resource IDs count from 1; 0 means no resource. Sizes are bytes.
/// Ownership  The dictionary owns the counter, the two regions and the pool, and they outlive the datatype. It may fill
///            or load them before or after it initialises or loads the datatype.
/// Lifecycle  After construction one of initialize, initializeForSnapshot and load comes before anything else.
/// Threads    resolveResource and resolveResources, tryResolveResource and tryResolveResources, getResource and
///            getResources, findResources and createResources, getChunkSize, getComponentInfo and getFingerprintBytes:
///            any threads concurrently. So are restoreResource, of different IDs, and deleteUncommittedResourceID, of
///            resources whose creation has returned. A context is used by one thread at a time. save,
///            addDetailedComponentInfo and getTableProfiles: any threads, while nobody resolves, restores or deletes.
///            Everything else: alone.
/// Errors     As each operation states; all are of the MelnarException family or std::bad_alloc.
///
/// CHUNKS  A resource has one chunk of the data pool. It holds the resource's data, followed by a terminating zero byte,
/// as readers get pointers to them. The rest of its format is the datatype's own: the dictionary moves chunks as bytes,
/// and asks prepareCompact or getChunkSize how many there are.
///
/// A resource becomes visible by its ID with its datatype byte, and then by its literal with its bucket. The chunk and
/// the offset are written before both, and both are stored with release order, so a thread that sees either one may read
/// chunk and offset.
class MELNAR_EXPORT DictionaryDatatype : private Unmovable {
public:
    /// How a resolve operation gets the ID of a resource that it inserts: the next one of the dictionary's counter.
    struct GetNextResourceID {};

    /// The same: an ID that the caller chose.
    struct GetTargetResourceID {
        uint64_t m_targetResourceID;
    };

    DictionaryDatatype(std::atomic<uint64_t>& nextResourceID, MemoryRegion<uint64_t>& resourceDataOffsets,
                       MemoryRegion<std::atomic<uint8_t>>& resourceFlags, DataPool& dataPool) noexcept;

    virtual ~DictionaryDatatype();

    /// Prepares an empty datatype. `initialSize` is kept, saved and loaded; what it means is the dictionary's business.
    virtual void initialize(size_t initialSize) = 0;

    /// Prepares an empty datatype for as many resources as `resourceCounts` says, which is indexed by datatype ID and
    /// has an entry for every ID that the datatype serves.
    virtual void initializeForSnapshot(const std::vector<uint64_t>& resourceCounts) = 0;

    virtual size_t getNumberOfMappableEntriesInCompaction() = 0;

    /// Appends the record of a resource that survives a compaction; returns the size of its chunk. The state must have
    /// room for the record.
    virtual size_t prepareCompact(size_t resourceID, size_t newResourceID, DictionaryCompactionState& state) = 0;

    /// Takes over new IDs and offsets. The records are sorted by datatype ID and the chunks lie where they say.
    virtual void finishCompact(const DictionaryCompactionState& state) = 0;

    /// Withdraws a resource that was never committed. Its chunk, offset and datatype byte stay as they are.
    virtual void deleteUncommittedResourceID(uint64_t resourceID, uint8_t datatypeID) = 0;

    /// Reads a resource that the caller knows to exist. The value points into the data pool.
    virtual void getResource(uint64_t resourceID, uint8_t datatypeID, ResourceValue& resourceValue) const = 0;

    /// The same; replaces the whole content of `lexicalForm`.
    virtual void getResource(uint64_t resourceID, uint8_t datatypeID, std::string& lexicalForm) const = 0;

    /// The ID of a literal that the commit point covers, or 0. The value must have been validated by a factory.
    virtual uint64_t tryResolveResource(DictionaryCommitPoint commitPoint,
                                        const ResourceValue& resourceValue) const = 0;

    /// The same for a lexical form. Throws MelnarException when it is not one of the datatype.
    virtual uint64_t tryResolveResource(DictionaryCommitPoint commitPoint, const char* lexicalForm,
                                        size_t lexicalFormLength, uint8_t datatypeID) const = 0;

    /// The ID of a literal, created when it has none. The value must have been validated by a factory. The context may
    /// be null. Throws what newResourceIDAndDataChunk throws, and the failures of a table's growth.
    virtual uint64_t resolveResource(DictionaryThreadContext* threadContext, const ResourceValue& resourceValue) = 0;

    /// The same for a lexical form. Throws also MelnarException when it is not one of the datatype.
    virtual uint64_t resolveResource(DictionaryThreadContext* threadContext, const char* lexicalForm,
                                     size_t lexicalFormLength, uint8_t datatypeID) = 0;

    /// Creates a resource under a given ID and returns the ID. The literal must not exist: the call waits until it is
    /// deleted, for ever if it never is.
    virtual uint64_t restoreResource(DictionaryThreadContext* threadContext, uint64_t resourceID,
                                     const ResourceValue& resourceValue) = 0;

    virtual void save(OutputStream& outputStream) const = 0;

    /// Replaces the contents by saved ones of the same bucket width. After a throw the datatype must be initialised or
    /// loaded again.
    virtual void load(InputStream& inputStream) = 0;

    /// Statistics. Reads counters that other threads may be changing; takes no lock.
    virtual std::unique_ptr<ComponentInfo> getComponentInfo() const = 0;

    /// Adds statistics that take a walk over everything to those of the dictionary, as children. While nobody resolves
    /// or deletes. The default adds none.
    virtual void addDetailedComponentInfo(ComponentInfo& dictionary) const;

    /// Resolves the literals of a batch, of any size. New literals get their IDs in the order of the entries. All of a
    /// group of entries are looked up, in no defined order, before the first one is created: so an answer is one that
    /// resolveResource could have given at some moment of the call, and while other threads withdraw literals, two
    /// equal entries may get different ones. Each literal appears atomically, the batch as a whole does not: other
    /// threads may see a part of it. A literal that resolveResource would refuse, or for which there is no memory,
    /// spoils no other: its entry is answered with 0, and a failure is appended. Failures come in ascending order of
    /// their entries. Literals that exist before the call are found without quota for an insertion, and so even where
    /// the table cannot grow. Throws std::bad_alloc when there is no memory for a failure; a part is resolved then.
    virtual void resolveResources(DictionaryThreadContext* threadContext, std::span<BatchEntry> entries,
                                  std::vector<BatchFailure>& failures);

    /// Looks the literals of a batch up, in no defined order: each answer is one that tryResolveResource could have given
    /// at some moment of the call. Failures as above.
    virtual void tryResolveResources(DictionaryCommitPoint commitPoint, std::span<BatchEntry> entries,
                                     std::vector<BatchFailure>& failures) const;

    /// Reads the resources of a batch, which the caller knows to exist, into the entries' lexical forms. Their datatype
    /// IDs are given, all of them this object's; an entry with D_INVALID stands for no resource and is left alone.
    virtual void getResources(std::span<BatchEntry> entries) const;

    /// Returns the size of a resource's chunk, or 0 unless a whole chunk lies at the resource's offset within the data
    /// pool. Trusts neither offset nor chunk: both may come from a damaged file. Any threads, as getResource. The
    /// default is for chunks in the format of StringChunk.
    virtual size_t getChunkSize(uint64_t resourceID) const noexcept;

    /// Loads a stream that nobody vouches for, as load does, but checks every number before anything acts upon it, and
    /// reports damage to the stream. The dictionary has loaded counter, regions and data pool before, and has checked
    /// that every resource has a datatype and a whole chunk. The default calls load, and so trusts the stream.
    virtual void loadUntrusted(UntrustedInputStream& inputStream);

    /// Keeps a byte of hash for each bucket from now on, which makes resolving and lookups faster and changes no answer;
    /// see Fingerprints. They take memory that the memory manager can have back while operations run out of it, but for
    /// initialize and load: so this is called after those. Off until it is called. Alone.
    virtual void enableFingerprints();

    /// Bytes that the fingerprints take, beside those that getComponentInfo tells of. Any time.
    virtual size_t getFingerprintBytes() const;

    /// Refuses new literals from now on, with HashCollisionException, that collide in the hash table with more than
    /// so many others: against strings whose hashes collide on purpose, with which time grows with the square of
    /// their number. Without limit until this is called. Alone.
    virtual void limitCollisions(size_t largestNumberOfCollisions);

    /// How entries lie in each hash table, which is cut into `numberOfSegments`: a power of two, at most 1024. Walks the
    /// tables. While nobody resolves or deletes. The default knows of no table.
    virtual std::vector<TableProfile> getTableProfiles(size_t numberOfSegments) const;

    /// The text of a resource that getResources has read which is no part of its entry's form. By default there is
    /// none.
    virtual std::string_view getAffix(const BatchEntry& entry) const noexcept;

    /// Appends the whole form of a resource that getResources has read.
    virtual void appendLexicalForm(const BatchEntry& entry, std::string& output) const;

    /// Whether it may have resources. One that has none takes no part in saving and in statistics, and is initialised
    /// where it is not loaded. True by default.
    virtual bool isInUse() const noexcept;

    /// The first half of resolveResources, for batches that several objects serve: answers the literals that are there,
    /// committed or not, and all other entries with 0. Fills `hashes`, one for each entry, for the second half. The
    /// default looks the literals up and fills nothing.
    virtual void findResources(std::span<BatchEntry> entries, uint64_t* hashes) const;

    /// The second half: resolves the entries whose ID is 0, in their order. They are this object's, each with the hash
    /// that the first half gave; entries with an ID are left alone. Failures are as those of resolveResources. A slot is
    /// held for all of these entries at most, which the caller chooses few enough. The default resolves each by itself.
    virtual void createResources(DictionaryThreadContext* threadContext, std::span<BatchEntry> entries,
                                 const uint64_t* hashes, std::vector<BatchFailure>& failures);

protected:
    /// Returns the size of the StringChunk at an offset, or 0 unless a whole one lies there within the data pool.
    size_t getStringChunkSize(uint64_t dataOffset) const noexcept;

    /// Takes `chunkSize` bytes of the data pool; returns their offset. The context may be null.
    uint64_t newDataChunk(DictionaryThreadContext* threadContext, size_t chunkSize);

    /// Takes a fresh resource ID and `chunkSize` bytes; returns (resource ID, offset). Both regions can be written at
    /// the ID. Takes nothing when it throws: MelnarException when the dictionary is full, else as newDataChunk.
    std::pair<uint64_t, uint64_t> newResourceIDAndDataChunk(DictionaryThreadContext* threadContext, size_t chunkSize);

    size_t m_initialSize;
    std::atomic<uint64_t>& m_nextResourceID;
    MemoryRegion<uint64_t>& m_resourceDataOffsets;
    MemoryRegion<std::atomic<uint8_t>>& m_resourceFlags;
    DataPool& m_dataPool;

private:
    uint64_t newResourceID();
    void ensureResourceID(uint64_t resourceID);
};
