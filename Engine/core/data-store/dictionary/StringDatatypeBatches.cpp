#include "Engine/core/data-store/dictionary/GroupProbe.h"
#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "Engine/core/data-store/dictionary/StringDatatype.h"
#include "Engine/core/data-store/dictionary/StringDatatypeImpl.h"

#include <algorithm>
#include <limits>

namespace {

constexpr DictionaryCommitPoint EVERYTHING{std::numeric_limits<uint64_t>::max()};

/// Throws what makes an entry refused.
template<const PlainLiteralFailureLines& failureLines>
void refuse(const BatchEntry& entry) {
    size_t lexicalFormLength = entry.m_lexicalForm.size();
    uint8_t datatypeID = entry.m_datatypeID;
    AdaptiveResourceSizeEncoding::checkLength(lexicalFormLength);
    validatePlainLiteral(entry.m_lexicalForm.data(), lexicalFormLength, datatypeID, failureLines);
}

/// Hands a batch out in groups: calls `operation` for each with what is prepared of it, its entries, and the number of
/// the first one.
template<class Operation>
void forEachGroup(const std::span<BatchEntry> batch, const Operation operation) {
    PreparedEntries prepared;
    for (size_t begin = 0; begin < batch.size(); begin += prepared.getSize()) {
        prepared.prepare(batch.subspan(begin));
        operation(prepared, batch.subspan(begin, prepared.getSize()), begin);
    }
}

} // namespace

/// The slot that a thread holds while it works on a group: in one table at a time, since a thread that waited for a
/// resize of one table while it held its slot in the other could be waited for in turn.
template<class T>
class StringDatatype<T>::EnteredTable : private ::Unmovable {
public:
    ~EnteredTable() { leave(); }

    void enter(Table& table) noexcept {
        if (m_table == &table)
            return;
        leave();
        m_threadContext = &table.enter();
        m_table = &table;
    }

    void leave() noexcept {
        if (m_table != nullptr)
            Table::leave(*m_threadContext);
        m_table = nullptr;
    }

    typename Table::ThreadContext& getThreadContext() const noexcept { return *m_threadContext; }

private:
    Table* m_table = nullptr;
    typename Table::ThreadContext* m_threadContext = nullptr;
};

/// Finds what is there of a group, in both tables; returns in how many it has looked. The slot in the last one is held
/// afterwards.
template<class T>
size_t StringDatatype<T>::findGroup(const PreparedEntries& prepared, const DictionaryCommitPoint commitPoint,
                                    EnteredTable& enteredTable, GroupProbe<T>& groupProbe) const {
    size_t numberOfTables = 0;
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
        if (const std::span<const uint16_t> selected = prepared.getOrder(datatypeID); !selected.empty()) {
            Table& table = selectTable(datatypeID);
            enteredTable.enter(table);
            groupProbe.find(table, commitPoint, selected);
            ++numberOfTables;
        }
    return numberOfTables;
}

template<class T>
void StringDatatype<T>::resolveResources(DictionaryThreadContext* const threadContext,
                                         const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
    forEachGroup(entries, [&](const PreparedEntries& prepared, const std::span<BatchEntry> group, const size_t begin) {
        GroupProbe<T> groupProbe(prepared, GroupProbe<T>::Purpose::CREATE);
        EnteredTable enteredTable;
        const size_t numberOfTables = findGroup(prepared, EVERYTHING, enteredTable, groupProbe);
        // The probe of a literal that is not there goes on where it ended, unless the thread has been out of the table
        // since, or has helped to resize it.
        bool haveBucketsMoved = numberOfTables > 1;
        const auto create = [&](const size_t index) {
            Table& table = selectTable(prepared.getDatatypeID(index));
            enteredTable.enter(table);
            auto& tableThreadContext = enteredTable.getThreadContext();
            haveBucketsMoved = table.reserveInsertionQuota(tableThreadContext) || haveBucketsMoved;
            const uint64_t hash = prepared.getHash(index);
            const ProbePlace place = haveBucketsMoved ? ProbePlace{hash, table.getHomeIndex(hash)}
                                                      : ProbePlace{hash, groupProbe.getLastBucketIndex(index),
                                                                   groupProbe.getNumberOfCollisions(index)};
            const std::string_view form = prepared.getForm(index);
            return doResolveResource(table, tableThreadContext, place, threadContext, GetNextResourceID(), form.data(),
                                     form.size(), prepared.getDatatypeID(index));
        };
        // Memory is reclaimed without a slot, for which a resize may have moved the buckets meanwhile.
        const auto createOrLeave = [&](const size_t index) {
            try {
                return create(index);
            } catch (const MemoryExhaustedException&) {
                enteredTable.leave();
                haveBucketsMoved = true;
                throw;
            }
        };
        // In the order of the entries, which the IDs follow.
        for (size_t index = 0; index < group.size(); ++index) {
            group[index].m_resourceID = groupProbe.getResourceID(index);
            if (prepared.isRefused(index)) [[unlikely]]
                failures.emplace_back(begin + index, group[index], &refuse<RESOLVE_FAILURE_LINES>);
            else if (group[index].m_resourceID == 0)
                try {
                    group[index].m_resourceID =
                        m_xsdStringTable.getMemoryManager().withReclaim([&] { return createOrLeave(index); });
                } catch (...) {
                    haveBucketsMoved = true; // A growth may have succeeded before another one failed.
                    failures.push_back(BatchFailure::ofCurrentException(begin + index));
                }
        }
    });
}

template<class T>
void StringDatatype<T>::tryResolveResources(const DictionaryCommitPoint commitPoint,
                                            const std::span<BatchEntry> entries,
                                            std::vector<BatchFailure>& failures) const {
    forEachGroup(entries, [&](const PreparedEntries& prepared, const std::span<BatchEntry> group, const size_t begin) {
        GroupProbe<T> groupProbe(prepared, GroupProbe<T>::Purpose::LOOK_UP);
        {
            EnteredTable enteredTable;
            findGroup(prepared, commitPoint, enteredTable, groupProbe);
        }
        for (size_t index = 0; index < group.size(); ++index) {
            group[index].m_resourceID = groupProbe.getResourceID(index);
            if (prepared.isRefused(index)) [[unlikely]]
                failures.emplace_back(begin + index, group[index], &refuse<TRY_RESOLVE_FAILURE_LINES>);
        }
    });
}

template<class T>
void StringDatatype<T>::getResources(const std::span<BatchEntry> entries) const {
    // Offsets are asked for twice as far ahead as chunks, each long enough before it is needed.
    constexpr size_t DISTANCE = 24;
    const Policy& policy = m_xsdStringTable.getPolicy();
    for (size_t ahead = 0; ahead < entries.size() + 2 * DISTANCE; ++ahead) {
        if (ahead < entries.size() && entries[ahead].m_datatypeID != D_INVALID)
            policy.prefetchOffset(entries[ahead].m_resourceID);
        if (const size_t index = ahead - DISTANCE; index < entries.size() && entries[index].m_datatypeID != D_INVALID)
            __builtin_prefetch(policy.getChunkAddress(entries[index].m_resourceID));
        if (const size_t index = ahead - 2 * DISTANCE;
            index < entries.size() && entries[index].m_datatypeID != D_INVALID) {
            const StringChunk chunk = policy.getChunk(entries[index].m_resourceID);
            entries[index].m_lexicalForm = {chunk.getLexicalForm(), chunk.getLexicalFormLength()};
            __builtin_prefetch(chunk.getData() + chunk.getLexicalFormLength()); // the caller will read all of it
        }
    }
}

// The header promises an instantiation of the whole class; these are the parts of it that are defined here.
template void StringDatatype<uint32_t>::resolveResources(DictionaryThreadContext*, std::span<BatchEntry>,
                                                         std::vector<BatchFailure>&);
template void StringDatatype<uint32_t>::tryResolveResources(DictionaryCommitPoint, std::span<BatchEntry>,
                                                            std::vector<BatchFailure>&) const;
template size_t StringDatatype<uint32_t>::findGroup(const PreparedEntries&, DictionaryCommitPoint, EnteredTable&,
                                                    GroupProbe<uint32_t>&) const;
template void StringDatatype<uint32_t>::getResources(std::span<BatchEntry>) const;
template void StringDatatype<uint64_t>::resolveResources(DictionaryThreadContext*, std::span<BatchEntry>,
                                                         std::vector<BatchFailure>&);
template void StringDatatype<uint64_t>::tryResolveResources(DictionaryCommitPoint, std::span<BatchEntry>,
                                                            std::vector<BatchFailure>&) const;
template size_t StringDatatype<uint64_t>::findGroup(const PreparedEntries&, DictionaryCommitPoint, EnteredTable&,
                                                    GroupProbe<uint64_t>&) const;
template void StringDatatype<uint64_t>::getResources(std::span<BatchEntry>) const;
