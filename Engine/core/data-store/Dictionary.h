#pragma once

#include "Engine/core/data-store/DictionaryHistory.h"
#include "Engine/core/data-store/DictionaryIterator.h"
#include "Engine/core/data-store/DictionaryOptions.h"
#include "Engine/core/data-store/RunningOperations.h"
#include "Engine/core/data-store/dictionary/ArrowColumn.h"
#include "Engine/core/data-store/dictionary/ArrowStrings.h"
#include "Engine/core/data-store/dictionary/DataPool.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/DictionaryCommitPoint.h"
#include "Engine/core/data-store/dictionary/DictionaryDatatype.h"
#include "Engine/core/data-store/dictionary/DictionaryDatatypeFactory.h"
#include "Engine/core/data-store/dictionary/ResourceValue.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/platform/ComponentInfo.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class DictionaryThread;
class FileLock;
class TermColumn;
namespace melnar {
class DictionaryFile;
} // namespace melnar

/// The dictionary of an in-memory store. It gives every literal a numeric ID, the resource ID, and returns the literal
/// of an ID. IRIs, blank nodes, triple terms and literals of all datatypes count as literals here. Each family is a
/// datatype with its own ID: DatatypeIDs.h lists those of strings, TermFamily.h the others, with their lexical forms.
///
/// IDs        Count from 1 in the order of creation; 0 means no resource. Threads that create resources concurrently
///            get their IDs in any order. A failed creation uses no ID.
/// Units      Sizes are bytes.
/// Ownership  Owns everything it holds. All its DictionaryThreads must be destroyed before it.
/// Addresses  Data that getResource, getLexicalForm and decode point to does not move until a compaction, or until the
///            dictionary is destroyed.
/// Threads    Any threads concurrently: the functions that create resources (each thread with a DictionaryThread that
///            it made), and, without a DictionaryThread, the lookups, the get functions, decode, appendTurtleLiteral
///            and iterators. commit and rollback: while no thread resolves; lookups and reads may run. save and verify:
///            while no thread resolves, commits or rolls back. Construction, compact and destruction: alone.
/// Errors     MelnarException for a literal that its datatype does not allow, for a datatype or a resource that does
///            not exist, and when the largest number of resources is reached; HashCollisionException for a new literal
///            that collides with too many others (see DictionaryOptions); MemoryExhaustedException at the memory limit;
///            SystemCallException when the system has no more memory; std::bad_alloc for memory that an operation needs
///            outside of the dictionary, which the memory limit does not count. None of them changes the dictionary.
///            getKind tells them apart (FailureKind). All functions that take a DictionaryThread throw MelnarException
///            of kind MISUSE if it is not the caller's, or belongs to another dictionary.
/// Checks     A library that is compiled with MELNAR_CHECKED refuses operations that must not run concurrently, with
///            MelnarException of kind MISUSE (RunningOperations). The destructor cannot refuse: it ends the process.
///
/// MEMORY ORDERS   of the commit point
///   #   operation                          order    pairs with   makes visible                        checked by
///   C1  commit, store                      release  C2           every resource below it              schedules
///   C2  read it, load                      acquire  C1                                                schedules
///   C3  compact, store                     release  -            nothing: it runs alone               argued
///   C4  rollback, withdrawn + 1            release  C5           that the next ID is larger           schedules
///   C5  size, load withdrawn               acquire  C4                                                schedules
/// Schedules and argued: as in ParallelHashTable.h. ThreadSanitizer finds no race with relaxed orders, since the bucket
/// (O3) orders what a lookup reads, and the datatype byte (D2) what a read of a resource reads. Only C1 guarantees that
/// a lookup misses nothing below the commit point.
class MELNAR_EXPORT Dictionary : private Unmovable {
public:
    /// No dictionary holds more resources than this, whatever the memory limit. With 9 bytes for each, they and the
    /// largest data pool fit into the 2^47 bytes of address space of a process.
    static constexpr uint64_t LARGEST_MAXIMUM_NUMBER_OF_RESOURCES = uint64_t(1) << 43;

    /// The largest number of resources for which hash tables need 4 bytes per bucket instead of 8.
    static constexpr uint64_t LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS = 0xFFFFFFFD;

    /// Makes an empty dictionary. Unless the options say otherwise, it reserves address space: 9 bytes per resource,
    /// and one byte per byte of the memory limit. Memory is committed as it is needed.
    explicit Dictionary(const DictionaryOptions& options);
    ~Dictionary();

    /// Returns the ID of a literal; creates the resource if there is none. For D_RDF_PLAIN_LITERAL the lexical form is
    /// text, '@' and language tag; with an empty tag it means the D_XSD_STRING before the '@'.
    uint64_t resolveResource(DictionaryThread& thread, std::string_view lexicalForm, uint8_t datatypeID);

    /// Returns the ID of a literal that the commit point covers, or 0. Checks the form as resolveResource does.
    [[nodiscard]] uint64_t tryResolveResource(DictionaryCommitPoint commitPoint, std::string_view lexicalForm,
                                              uint8_t datatypeID) const;

    /// Resolves the literals of a batch, of any size and mixture of datatypes. This is several times faster than one
    /// call for each. Creating them takes about a quarter longer if several datatype objects serve the batch; all
    /// strings have one object. New literals get their IDs in the order of the entries.
    ///
    /// The entries of a group are looked up, in no defined order, before the first one of the group is created. So each
    /// answer is one that resolveResource could have given at some moment of the call. Each literal becomes visible
    /// atomically, but the batch does not: other threads may see a part of it. A literal that exists before the call is
    /// found even if there is no memory for its hash table to grow, where resolveResource fails.
    ///
    /// A literal that resolveResource would refuse does not affect the others: its entry gets ID 0, and a failure is
    /// appended, which refers to the form (BatchFailure). Failures come in ascending order of their entries. Throws
    /// only std::bad_alloc, when there is no memory for a failure; some literals are resolved then.
    void resolveResources(DictionaryThread& thread, std::span<BatchEntry> entries, std::vector<BatchFailure>& failures);

    /// Looks up the literals of a batch, in no defined order: each answer is one that tryResolveResource could have
    /// given at some moment of the call. Failures are as above.
    void tryResolveResources(DictionaryCommitPoint commitPoint, std::span<BatchEntry> entries,
                             std::vector<BatchFailure>& failures) const;

    /// Reads the resources of a batch by their IDs, committed or not, into the entries' datatype IDs and lexical forms.
    /// An ID without a resource gives D_INVALID and an empty form. A term that is no string may share a part of its
    /// form with others: then the entry has the rest, and getAffix returns the shared part. Does not throw.
    void getResources(std::span<BatchEntry> entries) const;

    /// Returns the part of a lexical form that an entry of getResources leaves out: the front of an IRI or of a blank
    /// node's label, the end of any other built-in form (TermFamily::m_affixPlace). Valid until a compaction, or until
    /// the dictionary is destroyed.
    [[nodiscard]] std::string_view getAffix(const BatchEntry& entry) const noexcept;

    /// Appends the whole lexical form of an entry of getResources.
    void appendLexicalForm(const BatchEntry& entry, std::string& output) const;

    /// Returns the ID of a term; creates the resource if there is none. For batches of terms see TermBatch; columns are
    /// below.
    uint64_t resolveTerm(DictionaryThread& thread, const Term& term);

    /// Returns the ID of a term that the commit point covers, or 0.
    [[nodiscard]] uint64_t tryResolveTerm(DictionaryCommitPoint commitPoint, const Term& term) const;

    /// Returns the ID of an rdf:langString, a text and its language tag; creates the resource if there is none. An
    /// empty tag means xsd:string. Throws MelnarException for a malformed tag, such as one with '@'.
    uint64_t resolveLangString(DictionaryThread& thread, std::string_view text, std::string_view languageTag);

    /// Returns the ID of an rdf:langString that the commit point covers, or 0. Checks the tag as resolveLangString
    /// does.
    [[nodiscard]] uint64_t tryResolveLangString(DictionaryCommitPoint commitPoint, std::string_view text,
                                                std::string_view languageTag) const;

    /// Returns the term of a resource, committed or not. Replaces the content of `lexicalForm`, to which the term
    /// refers.
    [[nodiscard]] Term getTerm(uint64_t resourceID, std::string& lexicalForm) const;

    /// Resolves a column of terms: `resourceIDs[n]` becomes the ID of `terms[n]`, or 0 if there is a failure for it.
    /// The guarantees are those of resolveResources; new terms get their IDs in the order of the column. Memory outside
    /// of the dictionary grows with the failures only, not with the column. A failure refers to nothing but the text of
    /// its term: if the text is not the whole form, the exception of a refused term is made immediately.
    ///
    /// Throws MelnarException if the spans differ in length, and then does nothing. Throws std::bad_alloc when there is
    /// no memory for a form or a failure; some terms are resolved then, and each of `resourceIDs` is right or 0.
    void resolveTerms(DictionaryThread& thread, std::span<const Term> terms, std::span<uint64_t> resourceIDs,
                      std::vector<BatchFailure>& failures);

    /// Looks up a column of terms, as tryResolveResources does; 0 also stands for a term that does not exist. Failures
    /// and exceptions are as above.
    void tryResolveTerms(DictionaryCommitPoint commitPoint, std::span<const Term> terms,
                         std::span<uint64_t> resourceIDs, std::vector<BatchFailure>& failures) const;

    /// Replaces the content of `column` by the terms of resources, committed or not. An ID without a resource gives a
    /// term of kind NONE. Throws only std::bad_alloc; the column then has the terms of the first IDs, or none.
    void getTerms(std::span<const uint64_t> resourceIDs, TermColumn& column) const;

    /// Resolves a column of strings: `resourceIDs[n]` becomes the ID of `texts[n]`, or 0 if that is a null in the sense
    /// of Arrow. The strings are xsd:strings, or all have the given language tag. Texts may be any bytes, including
    /// zeros. The guarantees are those of resolveResources; new strings get their IDs in the order of the column.
    /// Memory outside of the dictionary does not grow with the column.
    ///
    /// Throws ColumnException for the first entry that fails; it has the index of the entry, and the entry's failure as
    /// its cause. Throws std::bad_alloc when memory is short. In both cases some of the other entries are resolved, and
    /// each of `resourceIDs` is right or 0. Throws MelnarException for spans that differ in length, a malformed tag or
    /// offsets that do not ascend, and then does nothing.
    void encode(DictionaryThread& thread, std::span<const std::string_view> texts, std::span<uint64_t> resourceIDs,
                std::string_view languageTag = {});

    /// The same for a column as Arrow lays it out.
    template<ArrowOffset Offset>
    void encode(DictionaryThread& thread, const ArrowStrings<Offset>& texts, std::span<uint64_t> resourceIDs,
                std::string_view languageTag = {});

    /// Looks up a column of strings as of a commit point; 0 also stands for a string that does not exist. Throws what
    /// encode throws; a text that is longer than any string can be is a failure.
    void lookUp(DictionaryCommitPoint commitPoint, std::span<const std::string_view> texts,
                std::span<uint64_t> resourceIDs, std::string_view languageTag = {}) const;

    /// The same for a column as Arrow lays it out.
    template<ArrowOffset Offset>
    void lookUp(DictionaryCommitPoint commitPoint, const ArrowStrings<Offset>& texts, std::span<uint64_t> resourceIDs,
                std::string_view languageTag = {}) const;

    /// Points `texts` to the texts of strings, committed or not, without '@' and language tag. Points `languageTags`,
    /// unless that span is empty, to their tags, which are empty for xsd:strings. For an ID without a resource, a view
    /// is empty and its data() is null. Throws ColumnException for the first resource that is no string (getTerms reads
    /// those), MelnarException for spans that differ in length, or std::bad_alloc; some texts are set then.
    void decode(std::span<const uint64_t> resourceIDs, std::span<std::string_view> texts,
                std::span<std::string_view> languageTags = {}) const;

    /// Copies texts and tags of strings into buffers in Arrow's layout, and replaces their contents. An ID without a
    /// resource gives a null. Throws what decode into views throws, and MelnarException if the texts or tags are too
    /// long for offsets of 32 bits; after a throw the columns are empty.
    template<ArrowOffset Offset>
    void decode(std::span<const uint64_t> resourceIDs, ArrowColumn<Offset>& texts,
                ArrowColumn<Offset>* languageTags = nullptr) const;

    /// Returns the lexical form of a string, committed or not, with '@' and language tag if it has one: the
    /// dictionary's own bytes, followed by a zero byte. Throws MelnarException for a term that is no string, since its
    /// form may be stored in two parts.
    [[nodiscard]] std::string_view getLexicalForm(uint64_t resourceID) const;

    /// Does the same for any term. A form that is stored in two parts is joined in `joined`; the result is valid until
    /// `joined` changes.
    [[nodiscard]] std::string_view getLexicalForm(uint64_t resourceID, std::string& joined) const;

    /// Points `resourceValue` to the literal of a resource, committed or not. The value of a term that is no string may
    /// have two parts: its auxiliary data is then what getAffix would return.
    void getResource(uint64_t resourceID, ResourceValue& resourceValue) const;

    /// Returns whether there is a resource with this ID: one that was given and not withdrawn.
    [[nodiscard]] bool hasResource(const uint64_t resourceID) const noexcept {
        return getDatatypeID(resourceID) != D_INVALID;
    }

    /// Returns the number of resources that exist, committed or not; withdrawn ones do not count. One that another
    /// thread is creating may count before it can be read. Takes constant time.
    [[nodiscard]] size_t size() const noexcept {
        // Loaded in this order, so the next ID is larger than all IDs that were withdrawn.
        const uint64_t numberOfWithdrawn = m_numberOfWithdrawn.load(std::memory_order_acquire); // C5
        return getNextResourceID() - 1 - numberOfWithdrawn;
    }

    /// Returns whether there may be resources of a datatype: whether there has been one since a compaction removed the
    /// last. Always true for strings. Any thread may call it at any time.
    [[nodiscard]] bool mayHaveResources(uint8_t datatypeID) const;

    /// Replaces the content of `lexicalForm` by that of a resource; returns the resource's datatype ID.
    uint8_t getResource(uint64_t resourceID, std::string& lexicalForm) const;

    /// Appends a resource's literal in Turtle syntax.
    void appendTurtleLiteral(uint64_t resourceID, std::string& output) const;

    /// Appends any literal in Turtle syntax, whether it has a resource or not.
    void appendTurtleLiteral(std::string_view lexicalForm, uint8_t datatypeID, std::string& output) const;

    ///@{
    /// Iterates over the resources that exist, in ascending order of their IDs:
    /// `for (const auto& [resourceID, literal] : dictionary)`.
    [[nodiscard]] DictionaryIterator begin() const noexcept { return {*this, getNextResourceID()}; }
    [[nodiscard]] std::default_sentinel_t end() const noexcept { return {}; }
    ///@}

    /// Moves the commit point past everything resolved so far and returns it.
    DictionaryCommitPoint commit();

    /// Withdraws every resource since the commit point: lookups no longer find them, reading them is an error, and
    /// their literals can be resolved again, under new IDs. Their memory and their IDs are not reused before a
    /// compaction.
    void rollback();

    /// Returns the commit point of the last commit; before the first one, that of the empty dictionary.
    [[nodiscard]] DictionaryCommitPoint getCommitPoint() const noexcept;

    /// Returns the ID that the next resource will get.
    [[nodiscard]] uint64_t getNextResourceID() const noexcept {
        return m_nextResourceID.load(std::memory_order_relaxed);
    }

    /// Returns the largest number of resources, withdrawn ones included.
    [[nodiscard]] uint64_t getMaximumNumberOfResources() const noexcept { return m_maximumNumberOfResources; }

    /// Returns the states in which the dictionary was saved, by which files of its IDs recognise it; see
    /// DictionaryHistory. A save adds a state if the commit point has moved since the last one. open restores the
    /// states in the file. A commit and a rollback change nothing. A compaction increases the generation, and removes
    /// the states unless all committed IDs stay the same.
    [[nodiscard]] const DictionaryHistory& getHistory() const noexcept { return m_history; }

    /// Writes everything to a file, and replaces an old one atomically; see AtomicFileOutputStream. On one thread, the
    /// same operations in the same order give the same bytes. Saves count as operations, since the history contains
    /// them.
    void save(const std::string& fileName) const;

    /// Does the same to the file that the caller has locked. To preserve the work of other writers, take the lock
    /// before you open the file, open it by the name of the lock's target, and hold the lock until the file is saved:
    ///
    ///     FileLock lock("strings.dict");
    ///     const auto dictionary = Dictionary::open(lock.getTarget().getName(), options);
    ///     ...
    ///     dictionary->save(lock);
    void save(FileLock& lock) const;

    /// Returns the dictionary in a file, with the limits of the options. Throws MelnarException, which names file,
    /// section and finding, when the file is not a sound dictionary: a wrong checksum, or anything that could make the
    /// dictionary read out of bounds, probe forever or give an ID twice.
    ///
    /// A file with wrong contents can have correct checksums if somebody who knows the format made it. open does not
    /// see that a literal is found under another ID or not at all, or that a language tag is malformed: verify does.
    /// Texts may be any bytes, as when they are resolved, UTF-8 or not; code that prints them must check.
    [[nodiscard]] static std::unique_ptr<Dictionary> open(const std::string& fileName,
                                                          const DictionaryOptions& options = {});

    /// Returns whether a resource survives a compaction. The value is as getResource sets it.
    using SurvivesCompaction = std::function<bool(uint64_t, const ResourceValue&)>;

    /// Keeps the resources for which `survives` returns true (without it, all that exist), gives them dense IDs from 1
    /// in ascending order of their old ones, stores their literals densely in the order of the new IDs, and releases
    /// the memory after them. Returns a vector that maps old IDs to new ones, with 0 for what has not survived. What
    /// was committed stays committed. Starts a new generation of the history. Needs memory for a second copy of the
    /// literals and for 32 bytes per resource while it runs, and 16 bytes per resource outside of the memory limit;
    /// after a throw nothing has changed.
    std::vector<uint64_t> compact(const SurvivesCompaction& survives = nullptr);

    /// Checks that a lookup finds every resource under its own ID, so no string is there twice, and that every plain
    /// literal has a well-formed tag. This is all that open does not check, except UTF-8 and the history, whose
    /// identities and generation are not checked. Throws MelnarException, which names the first resource that fails.
    void verify() const;

    /// Returns how many resources of a datatype exist. Reads one byte per resource.
    [[nodiscard]] size_t getNumberOfResources(uint8_t datatypeID) const noexcept;

    /// Returns the sum of the lexical lengths of all resources of a datatype. Reads all resources.
    [[nodiscard]] size_t getTextBytes(uint8_t datatypeID) const;

    /// Returns the bytes that the dictionary may commit.
    [[nodiscard]] size_t getMemoryLimit() const noexcept { return m_memoryManager.getReservedBytes(); }

    /// Returns how many bytes of the data pool no resource uses: the ends of blocks that threads have returned or still
    /// hold, and the literals of withdrawn resources. Reads all resources.
    [[nodiscard]] size_t getUnusedDataPoolBytes() const;

    /// Returns how many bytes of memory are committed, all of them counted against the limit.
    [[nodiscard]] size_t getMemoryInUse() const noexcept {
        return m_memoryManager.getReservedBytes() - m_memoryManager.getFreeBytes();
    }

    /// Returns statistics of all parts: memory and occupancy. Reads all resources.
    [[nodiscard]] std::unique_ptr<ComponentInfo> getComponentInfo() const;

    /// Returns the same with figures that take more passes: text and memory per resource, and those that datatypes add,
    /// such as the probe lengths and languages of strings. While no thread resolves, commits or rolls back.
    [[nodiscard]] std::unique_ptr<ComponentInfo> getDetailedComponentInfo() const;

    /// Returns how entries are distributed in the hash tables of all datatypes; see DictionaryDatatype. While no thread
    /// resolves, commits or rolls back.
    [[nodiscard]] std::vector<TableProfile> getTableProfiles(size_t numberOfSegments) const;

private:
    friend class melnar::DictionaryFile;
    friend class DictionaryIterator;
    friend class DictionaryThread;
    friend class ShardedDictionary;

    /// A datatype object and the factory that made it.
    struct Datatype {
        const DictionaryDatatypeFactory* m_factory;
        std::unique_ptr<DictionaryDatatype> m_datatype;
    };

    /// What serves a datatype ID; null pointers if nothing does.
    struct Server {
        const DictionaryDatatypeFactory* m_factory = nullptr;
        DictionaryDatatype* m_datatype = nullptr;
    };

    /// The number of entries that are processed together: of a batch for several datatype objects, and of any batch
    /// that is read.
    static constexpr size_t MIXED_BLOCK_SIZE = 512;

    /// What address space is reserved for.
    struct Capacity {
        uint64_t m_numberOfResources;
        size_t m_dataPoolBytes;
    };

    Dictionary(const DictionaryOptions& options, uint64_t maximumNumberOfResources, const Capacity& capacity);

    static uint64_t getMaximumNumberOfResources(const DictionaryOptions& options);
    static Capacity getLargestCapacity(size_t memoryLimit, uint64_t maximumNumberOfResources) noexcept;
    const Server& getServer(uint8_t datatypeID) const;
    uint8_t getDatatypeID(uint64_t resourceID) const noexcept;
    void prefetchResources(std::span<const BatchEntry> entries) const noexcept;
    uint8_t getDatatypeIDOrThrow(uint64_t resourceID) const;
    size_t getLexicalLength(const ResourceValue& resourceValue) const;
    DictionaryDatatype* getCommonServer(std::span<const BatchEntry> batch) const noexcept;
    template<class Operation>
    void forEachServer(std::span<BatchEntry> block, const Operation& operation) const;
    void createMissing(DictionaryThreadContext& threadContext, std::span<BatchEntry> block, const uint64_t* hashes,
                       size_t begin, std::vector<BatchFailure>& failures);
    void apply(const DictionaryOptions& options);
    std::vector<uint64_t> assignCompactIDs(const SurvivesCompaction& survives) const;
    void compact(const std::vector<uint64_t>& newResourceIDs);

    // Constant after construction. Outlives everything below.
    const uint64_t m_maximumNumberOfResources;
    MemoryManager m_memoryManager;

    // Shared by all threads, each member with its own rules. The datatypes below refer to them.
    melnar::Atomic<uint64_t> m_nextResourceID;
    melnar::Atomic<uint64_t> m_commitPoint;       // C1 to C3
    melnar::Atomic<uint64_t> m_numberOfWithdrawn; // IDs below the next one that have no resource
    MemoryRegion<uint64_t> m_resourceDataOffsets;
    MemoryRegion<melnar::Atomic<uint8_t>> m_resourceFlags; // D_INVALID where no resource exists
    DataPool m_dataPool;

    mutable RunningOperations m_operations;

    mutable DictionaryHistory m_history; // A save changes this record of the dictionary, not the dictionary itself.

    // Constant after construction.
    std::vector<Datatype> m_datatypes;
    std::array<Server, NUMBER_OF_DATATYPE_IDS> m_servers;
};
