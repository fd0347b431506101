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
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <array>
#include <atomic>
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

/// The dictionary of an in-memory store: gives every literal a numeric ID, the resource ID, and gives the literal back.
/// IRIs, blank nodes, triple terms and literals of all datatypes are its literals alike, each family a datatype with an
/// ID of its own: those of strings stand in DatatypeIDs.h, the others in TermFamily.h, with what their lexical forms are.
///
/// IDs        Count from 1 in the order of creation; 0 means no resource. Threads that create resources concurrently
///            get their IDs in any order. A failed creation uses up no ID.
/// Units      Sizes are bytes.
/// Ownership  Owns everything it holds. DictionaryThreads must be destroyed before it is.
/// Addresses  Data that getResource, getLexicalForm and decode point to stays where it is until a compaction or the
///            dictionary's end.
/// Threads    The functions that create resources (each thread with a DictionaryThread that it made), the lookups, the
///            get functions, decode, appendTurtleLiteral and iterators (which need none): any threads concurrently.
///            commit and rollback: while no thread resolves; lookups and reads may go on. save and verify: while no
///            thread resolves, commits or rolls back. Construction, compact and destruction: alone.
/// Errors     MelnarException for a literal that is not one of its datatype, for a datatype or a resource that does not
///            exist, and when the largest number of resources is reached; HashCollisionException for a new literal that
///            collides with too many others (see DictionaryOptions); MemoryExhaustedException at the memory limit;
///            SystemCallException when the system has no more memory; std::bad_alloc from what an operation collects
///            beside the dictionary, which the memory limit does not count. None of them changes the dictionary.
///            getKind tells them apart (FailureKind). A DictionaryThread that is not the caller's, or of another
///            dictionary, is refused by all functions that take one: MelnarException of kind MISUSE.
/// Checks     A library that is compiled with MELNAR_CHECKED refuses operations that may not run beside each other, with
///            MelnarException of kind MISUSE (RunningOperations). The destructor cannot refuse: it ends the process.
///
/// MEMORY ORDERS   of the commit point
///   #   operation                          order    pairs with   makes visible                        checked by
///   C1  commit, store                      release  C2           every resource below it              argued
///   C2  read it, load                      acquire  C1                                                argued
///   C3  compact, store                     release  -            nothing: it runs alone               argued
///   C4  rollback, withdrawn + 1            release  C5           that the next ID is beyond           argued
///   C5  size, load withdrawn               acquire  C4                                                argued
/// Argued: ThreadSanitizer finds nothing with relaxed orders instead, since a lookup orders what it reads by the bucket
/// (O3) and a read by the datatype byte (D2). What they cannot give is C1's: that nothing below the point is missed.
class MELNAR_EXPORT Dictionary : private Unmovable {
public:
    /// No dictionary holds more resources than this, whatever the memory: at 9 bytes each there is room for them, and
    /// for the largest data pool, in the 2^47 bytes of address space that a process has.
    static constexpr uint64_t LARGEST_MAXIMUM_NUMBER_OF_RESOURCES = uint64_t(1) << 43;

    /// The largest number of resources with which the hash tables need 4 bytes a bucket instead of 8.
    static constexpr uint64_t LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS = 0xFFFFFFFD;

    /// Makes an empty dictionary. Reserves address space, 9 bytes a resource and one byte a byte of the memory limit,
    /// unless the options say otherwise; memory is taken as it is needed.
    explicit Dictionary(const DictionaryOptions& options);
    ~Dictionary();

    /// The ID of a literal; creates the resource when there is none. For D_RDF_PLAIN_LITERAL the lexical form is text,
    /// '@' and language tag; with an empty tag it is the D_XSD_STRING before the '@'.
    uint64_t resolveResource(DictionaryThread& thread, std::string_view lexicalForm, uint8_t datatypeID);

    /// The ID of a literal that the commit point covers, or 0. The form is checked as in resolveResource.
    [[nodiscard]] uint64_t tryResolveResource(DictionaryCommitPoint commitPoint, std::string_view lexicalForm,
                                              uint8_t datatypeID) const;

    /// Resolves the literals of a batch, of any size and mixture of datatypes, several times faster than one after the
    /// other; what is new takes about a quarter longer where several datatype objects serve the batch, of which the
    /// strings are one. New literals get their IDs in the order of the entries. Groups of entries are looked up, in no
    /// defined order, before the first of the group is created: so an answer is one that resolveResource could have
    /// given at some moment of the call. Each literal appears atomically, the batch as a whole does not: other threads
    /// may see a part of it. A literal that resolveResource would refuse spoils no other: its entry is answered with 0,
    /// and a failure is appended, which refers to the form (BatchFailure). Failures come in ascending order of their
    /// entries. A literal that exists before the call is found even where there is no memory for its hash table to
    /// grow, and resolveResource would fail. Throws only std::bad_alloc, when there is no memory for a failure; some
    /// literals are resolved then.
    void resolveResources(DictionaryThread& thread, std::span<BatchEntry> entries, std::vector<BatchFailure>& failures);

    /// Looks the literals of a batch up, in no defined order: each answer is one that tryResolveResource could have given
    /// at some moment of the call. Failures as above.
    void tryResolveResources(DictionaryCommitPoint commitPoint, std::span<BatchEntry> entries,
                             std::vector<BatchFailure>& failures) const;

    /// Reads the resources of a batch by their IDs, committed or not, into the entries' datatype IDs and lexical forms.
    /// An ID that stands for no resource is answered with D_INVALID and an empty form. A term that is no string may share
    /// a part of its form with others, which getAffix tells: the form is then only the rest. Does not throw.
    void getResources(std::span<BatchEntry> entries) const;

    /// The part of a lexical form that an entry of getResources leaves out: the front of an IRI or a blank node's label,
    /// the end of any other form. Stays where it is until a compaction or the dictionary's end.
    [[nodiscard]] std::string_view getAffix(const BatchEntry& entry) const noexcept;

    /// Appends the whole lexical form of an entry of getResources.
    void appendLexicalForm(const BatchEntry& entry, std::string& output) const;

    /// The ID of a term; creates the resource when there is none. Batches of terms: TermBatch; columns: below.
    uint64_t resolveTerm(DictionaryThread& thread, const Term& term);

    /// The ID of a term that the commit point covers, or 0.
    [[nodiscard]] uint64_t tryResolveTerm(DictionaryCommitPoint commitPoint, const Term& term) const;

    /// Returns the ID of an rdf:langString, a text and its language tag; creates the resource when there is none. An
    /// empty tag means xsd:string. Throws MelnarException for a malformed tag, such as one with '@'.
    uint64_t resolveLangString(DictionaryThread& thread, std::string_view text, std::string_view languageTag);

    /// Returns the ID of an rdf:langString that the commit point covers, or 0. The tag is checked as in
    /// resolveLangString.
    [[nodiscard]] uint64_t tryResolveLangString(DictionaryCommitPoint commitPoint, std::string_view text,
                                                std::string_view languageTag) const;

    /// The term of a resource, committed or not. Replaces the content of `lexicalForm`, to which the term refers.
    [[nodiscard]] Term getTerm(uint64_t resourceID, std::string& lexicalForm) const;

    /// Resolves a column of terms: `resourceIDs[n]` becomes the ID of `terms[n]`, or 0 if there is a failure for it. The
    /// guarantees are those of resolveResources; the IDs of new terms follow the order of the column. Memory beside the
    /// dictionary does not grow with the column, but for the failures. A failure refers to no more than its term's text: if
    /// that is not the form, the exception of a refused term is made immediately. Throws MelnarException if the spans differ
    /// in length, and then does nothing; or std::bad_alloc, when there is no memory for a form or a failure: some terms
    /// are resolved then, and each of `resourceIDs` is right or 0.
    void resolveTerms(DictionaryThread& thread, std::span<const Term> terms, std::span<uint64_t> resourceIDs,
                      std::vector<BatchFailure>& failures);

    /// Looks a column of terms up, as tryResolveResources would; 0 also stands for a term that is not there. Failures, and
    /// what is thrown, as above.
    void tryResolveTerms(DictionaryCommitPoint commitPoint, std::span<const Term> terms,
                         std::span<uint64_t> resourceIDs, std::vector<BatchFailure>& failures) const;

    /// Replaces the content of `column` by the terms of resources, committed or not: one of kind NONE for an ID that
    /// stands for no resource. Throws only std::bad_alloc; the column then has the terms of the first IDs, or none.
    void getTerms(std::span<const uint64_t> resourceIDs, TermColumn& column) const;

    /// Resolves a column of strings: `resourceIDs[n]` becomes the ID of `texts[n]`, or 0 if that is a null of Arrow's.
    /// Without a language tag they are xsd:strings, with one all are of that language. Texts may be any bytes, zeros
    /// included. The guarantees are those of resolveResources; the IDs of new strings follow the order of the column.
    /// Memory beside the dictionary does not grow with the column.
    ///
    /// Throws ColumnException for the first entry that fails; it tells the entry's index, and has the entry's failure
    /// as its cause. Some of the other entries are resolved then, and each of `resourceIDs` is right or 0; so it is
    /// after std::bad_alloc. Throws MelnarException for spans that differ in length, a malformed tag or offsets that do
    /// not ascend, and then does nothing.
    void encode(DictionaryThread& thread, std::span<const std::string_view> texts, std::span<uint64_t> resourceIDs,
                std::string_view languageTag = {});
    template<ArrowOffset Offset>
    void encode(DictionaryThread& thread, const ArrowStrings<Offset>& texts, std::span<uint64_t> resourceIDs,
                std::string_view languageTag = {});

    /// Looks up a column of strings as of a commit point; 0 also stands for a string that is not there. Fails for a
    /// text that is longer than any, and throws what encode throws.
    void lookUp(DictionaryCommitPoint commitPoint, std::span<const std::string_view> texts,
                std::span<uint64_t> resourceIDs, std::string_view languageTag = {}) const;
    template<ArrowOffset Offset>
    void lookUp(DictionaryCommitPoint commitPoint, const ArrowStrings<Offset>& texts, std::span<uint64_t> resourceIDs,
                std::string_view languageTag = {}) const;

    /// Points `texts` to the texts of strings, committed or not, without '@' and language tag; and `languageTags`, if
    /// that is not empty, to their tags, which are empty for xsd:strings. For an ID that stands for no resource, a view
    /// is empty and points nowhere (its data() is null). Throws ColumnException for the first resource that is no
    /// string (for those there is getTerms), MelnarException for spans that differ in length, or std::bad_alloc; some
    /// texts are there then.
    void decode(std::span<const uint64_t> resourceIDs, std::span<std::string_view> texts,
                std::span<std::string_view> languageTags = {}) const;

    /// Copies texts and tags of strings into buffers as Arrow lays them out, whose contents are replaced. An ID that
    /// stands for no resource gives a null. Throws what decode into views throws, and MelnarException if offsets of 32
    /// bits do not reach the end of the texts or tags; after a throw the columns are empty.
    template<ArrowOffset Offset>
    void decode(std::span<const uint64_t> resourceIDs, ArrowColumn<Offset>& texts,
                ArrowColumn<Offset>* languageTags = nullptr) const;

    /// Returns the lexical form of a string, committed or not, with '@' and language tag if it has one: the
    /// dictionary's own bytes, followed by a zero byte. Throws MelnarException for a term that is no string, as its
    /// form may come in two parts.
    [[nodiscard]] std::string_view getLexicalForm(uint64_t resourceID) const;

    /// Does the same for any term. A form that comes in two parts is joined in `joined`, and is valid until that
    /// changes.
    [[nodiscard]] std::string_view getLexicalForm(uint64_t resourceID, std::string& joined) const;

    /// Points `resourceValue` to the literal of a resource, committed or not. The value of a term that is no string may
    /// come in two parts: what getAffix would tell is then the auxiliary data.
    void getResource(uint64_t resourceID, ResourceValue& resourceValue) const;

    /// Whether there is a resource with this ID: one that was given and not withdrawn.
    [[nodiscard]] bool hasResource(const uint64_t resourceID) const noexcept {
        return getDatatypeID(resourceID) != D_INVALID;
    }

    /// Returns the number of resources that exist, committed or not; withdrawn ones do not count. One that another
    /// thread is creating may count before it can be read. Takes constant time.
    [[nodiscard]] size_t size() const noexcept {
        // In this order, so that the next ID is one after all that were withdrawn.
        const uint64_t numberOfWithdrawn = m_numberOfWithdrawn.load(std::memory_order_acquire); // C5
        return getNextResourceID() - 1 - numberOfWithdrawn;
    }

    /// Whether there may be resources of a datatype: whether there have been any since it was last compacted away. Always
    /// for strings. Any time.
    [[nodiscard]] bool mayHaveResources(uint8_t datatypeID) const;

    /// Replaces the content of `lexicalForm` by a resource's; returns the resource's datatype ID.
    uint8_t getResource(uint64_t resourceID, std::string& lexicalForm) const;

    /// Appends a resource's literal in Turtle syntax.
    void appendTurtleLiteral(uint64_t resourceID, std::string& output) const;

    /// Appends any literal in Turtle syntax, whether it has a resource or not.
    void appendTurtleLiteral(std::string_view lexicalForm, uint8_t datatypeID, std::string& output) const;

    /// Iterate over the resources that exist, in ascending order of their IDs:
    /// `for (const auto& [resourceID, literal] : dictionary)`.
    [[nodiscard]] DictionaryIterator begin() const noexcept { return {*this, getNextResourceID()}; }
    [[nodiscard]] std::default_sentinel_t end() const noexcept { return {}; }

    /// Moves the commit point past everything resolved so far and returns it.
    DictionaryCommitPoint commit();

    /// Withdraws every resource since the commit point: lookups no longer find them, reading them is an error, and
    /// their literals can be resolved again, under new IDs. Their memory and IDs stay in use.
    void rollback();

    /// The commit point of the last commit; of the empty dictionary before the first.
    [[nodiscard]] DictionaryCommitPoint getCommitPoint() const noexcept;

    /// The ID that the next resource will get.
    [[nodiscard]] uint64_t getNextResourceID() const noexcept {
        return m_nextResourceID.load(std::memory_order_relaxed);
    }

    [[nodiscard]] uint64_t getMaximumNumberOfResources() const noexcept { return m_maximumNumberOfResources; }

    /// The states in which the dictionary was saved, by which files of its IDs know it; see DictionaryHistory. A save
    /// adds a state if the commit point has moved since the last one, open brings back those of the file, a commit and
    /// a rollback change nothing. A compaction increases the generation, and forgets the states unless all committed IDs
    /// stay what they are.
    [[nodiscard]] const DictionaryHistory& getHistory() const noexcept { return m_history; }

    /// Writes everything to a file, replacing an old one atomically; see AtomicFileOutputStream. On one
    /// thread, the same operations in the same order give the same bytes, saves included: they are in the history.
    void save(const std::string& fileName) const;

    /// The same to the file that the caller has locked. A writer that takes the lock before it opens the file, by the
    /// name of the lock's target, and holds it until the file is saved, undoes no other writer's work:
    ///
    ///     FileLock lock("strings.dict");
    ///     const auto dictionary = Dictionary::open(lock.getTarget().getName(), options);
    ///     ...
    ///     dictionary->save(lock);
    void save(FileLock& lock) const;

    /// The dictionary that a file holds, with limits of its own. MelnarException names file, section and
    /// finding when the file is not a sound dictionary: checksums, and all that could make the dictionary read out of
    /// bounds, probe for ever or give an ID twice. A writer who knows the format can put right checksums over wrong
    /// contents. Then open does not see that a literal is found under another ID or not at all, or that a language tag
    /// is malformed: verify does. Texts may be any bytes, here as when they are resolved, UTF-8 or not; those who print
    /// them must look.
    [[nodiscard]] static std::unique_ptr<Dictionary> open(const std::string& fileName,
                                                          const DictionaryOptions& options = {});

    /// Decides whether a resource survives a compaction. The value is as getResource gives it.
    using SurvivesCompaction = std::function<bool(uint64_t, const ResourceValue&)>;

    /// Keeps the resources that `survives` wants (without it, all that exist), gives them dense IDs from 1 in ascending
    /// order of their old ones, lays their literals out densely in the order of the new IDs, and gives back
    /// the memory after them. Returns the new ID of each old one, by old ID, 0 where nothing survived. What was committed
    /// stays committed. Begins a generation of the history. Needs memory for a second copy of the literals meanwhile, and
    /// 16 bytes a resource beside the memory limit; after a throw nothing has changed.
    std::vector<uint64_t> compact(const SurvivesCompaction& survives = nullptr);

    /// Checks that every resource is found under its own ID by a lookup, so that no string is there twice, and that
    /// every plain literal has a well-formed tag: all that open leaves open, but for UTF-8 and for the history, whose
    /// identities and generation are taken as they are. Throws MelnarException that names the first resource that fails.
    void verify() const;

    /// How many resources of a datatype exist. Walks a byte a resource.
    [[nodiscard]] size_t getNumberOfResources(uint8_t datatypeID) const noexcept;

    /// The lexical lengths of all resources of a datatype, summed. Walks all resources.
    [[nodiscard]] size_t getTextBytes(uint8_t datatypeID) const;

    [[nodiscard]] size_t getMemoryLimit() const noexcept { return m_memoryManager.getReservedBytes(); }

    /// Bytes of the data pool that no resource uses: the ends of blocks that threads gave up or still hold, and the
    /// literals of withdrawn resources. Walks all resources.
    [[nodiscard]] size_t getUnusedDataPoolBytes() const;

    /// Bytes of memory committed, all of them counted against the limit.
    [[nodiscard]] size_t getMemoryInUse() const noexcept {
        return m_memoryManager.getReservedBytes() - m_memoryManager.getFreeBytes();
    }

    /// Statistics of all parts: memory and occupancy. Walks all resources.
    [[nodiscard]] std::unique_ptr<ComponentInfo> getComponentInfo() const;

    /// The same with what takes more walks: text and memory per resource, and what the datatypes add, as the strings
    /// their probe lengths and languages. While no thread resolves, commits or rolls back.
    [[nodiscard]] std::unique_ptr<ComponentInfo> getDetailedComponentInfo() const;

    /// How entries lie in the hash tables of all datatypes; see DictionaryDatatype. While no thread resolves, commits or
    /// rolls back.
    [[nodiscard]] std::vector<TableProfile> getTableProfiles(size_t numberOfSegments) const;

private:
    friend class melnar::DictionaryFile;
    friend class DictionaryIterator;
    friend class DictionaryThread;

    /// A datatype object and who made it.
    struct Datatype {
        const DictionaryDatatypeFactory* m_factory;
        std::unique_ptr<DictionaryDatatype> m_datatype;
    };

    /// Who serves a datatype ID; null pointers when nobody does.
    struct Server {
        const DictionaryDatatypeFactory* m_factory = nullptr;
        DictionaryDatatype* m_datatype = nullptr;
    };

    /// So many entries of a batch of several datatype objects are looked at together, and so many of any batch that is read.
    static constexpr size_t MIXED_BLOCK_SIZE = 512;

    /// For how much address space is reserved.
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

    // Constant after construction, and outlived by nothing below.
    const uint64_t m_maximumNumberOfResources;
    MemoryManager m_memoryManager;

    // Shared by all threads, each with its own rules; the datatypes below refer to them.
    std::atomic<uint64_t> m_nextResourceID;
    std::atomic<uint64_t> m_commitPoint;       // C1 to C3
    std::atomic<uint64_t> m_numberOfWithdrawn; // IDs below the next one that stand for no resource
    MemoryRegion<uint64_t> m_resourceDataOffsets;
    MemoryRegion<std::atomic<uint8_t>> m_resourceFlags; // D_INVALID where no resource exists
    DataPool m_dataPool;

    mutable RunningOperations m_operations;

    mutable DictionaryHistory m_history; // A save changes what is known of the dictionary, not the dictionary.

    // Constant after construction.
    std::vector<Datatype> m_datatypes;
    std::array<Server, NUMBER_OF_DATATYPE_IDS> m_servers;
};
