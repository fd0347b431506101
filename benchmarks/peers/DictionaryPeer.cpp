#include "benchmarks/peers/DictionaryPeer.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "benchmarks/pages/PagePool.h"
#include "benchmarks/pages/WarmVirtualMemory.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace {

class BatchThread final : public PeerThread {
public:
    explicit BatchThread(Dictionary& dictionary)
        : m_dictionary(dictionary), m_thread(dictionary), m_entries(NUMBER_OF_TEXTS_IN_GROUP) {}

    void resolve(const std::span<const std::string_view> texts, const std::span<uint64_t> ids) override {
        const std::span<BatchEntry> entries = ask(texts);
        m_dictionary.resolveResources(m_thread, entries, m_failures);
        answer(entries, ids);
    }

    void lookUp(const std::span<const std::string_view> texts, const std::span<uint64_t> ids) override {
        const std::span<BatchEntry> entries = ask(texts);
        m_dictionary.tryResolveResources(m_dictionary.getCommitPoint(), entries, m_failures);
        answer(entries, ids);
    }

    void get(const std::span<const uint64_t> ids, const std::span<std::string_view> texts) override {
        const std::span<BatchEntry> entries(m_entries.data(), ids.size());
        for (size_t index = 0; index < ids.size(); ++index)
            entries[index].m_resourceID = ids[index];
        m_dictionary.getResources(entries);
        for (size_t index = 0; index < ids.size(); ++index)
            texts[index] = entries[index].m_lexicalForm;
    }

private:
    std::span<BatchEntry> ask(const std::span<const std::string_view> texts) {
        for (size_t index = 0; index < texts.size(); ++index) {
            m_entries[index].m_lexicalForm = texts[index];
            m_entries[index].m_datatypeID = D_XSD_STRING;
        }
        return {m_entries.data(), texts.size()};
    }

    void answer(const std::span<const BatchEntry> entries, const std::span<uint64_t> ids) const {
        if (!m_failures.empty())
            m_failures.front().throwException();
        for (size_t index = 0; index < ids.size(); ++index)
            ids[index] = entries[index].m_resourceID;
    }

    Dictionary& m_dictionary;
    DictionaryThread m_thread;
    std::vector<BatchEntry> m_entries;
    std::vector<BatchFailure> m_failures;
};

class OneByOneThread final : public PeerThread {
public:
    explicit OneByOneThread(Dictionary& dictionary) : m_dictionary(dictionary), m_thread(dictionary) {}

    void resolve(const std::span<const std::string_view> texts, const std::span<uint64_t> ids) override {
        for (size_t index = 0; index < texts.size(); ++index)
            ids[index] = m_dictionary.resolveResource(m_thread, texts[index], D_XSD_STRING);
    }

    void lookUp(const std::span<const std::string_view> texts, const std::span<uint64_t> ids) override {
        const DictionaryCommitPoint commitPoint = m_dictionary.getCommitPoint();
        for (size_t index = 0; index < texts.size(); ++index)
            ids[index] = m_dictionary.tryResolveResource(commitPoint, texts[index], D_XSD_STRING);
    }

    void get(const std::span<const uint64_t> ids, const std::span<std::string_view> texts) override {
        for (size_t index = 0; index < ids.size(); ++index) {
            m_dictionary.getResource(ids[index], m_value);
            texts[index] = {reinterpret_cast<const char*>(m_value.m_data), m_value.m_dataSize - 1};
        }
    }

private:
    Dictionary& m_dictionary;
    DictionaryThread m_thread;
    ResourceValue m_value;
};

class DictionaryPeer final : public Peer {
public:
    DictionaryPeer(const DictionaryUse use, std::unique_ptr<Dictionary> dictionary)
        : m_use(use), m_dictionary(std::move(dictionary)) {}

    std::unique_ptr<PeerThread> makeThread() override {
        if (m_use == DictionaryUse::BATCHES)
            return std::make_unique<BatchThread>(*m_dictionary);
        return std::make_unique<OneByOneThread>(*m_dictionary);
    }

    void commit() override { m_dictionary->commit(); }
    size_t getBytesInUse() const override { return m_dictionary->getMemoryInUse(); }

private:
    const DictionaryUse m_use;
    const std::unique_ptr<Dictionary> m_dictionary;
};

} // namespace

std::unique_ptr<Peer> makeDictionaryPeer(const DictionaryUse use,
                                         const std::function<std::unique_ptr<Dictionary>()>& makeDictionary) {
    const size_t numberOfReservations = getNumberOfWarmReservations();
    auto peer = std::make_unique<DictionaryPeer>(use, makeDictionary());
    if (PagePool::get().isWarm() && getNumberOfWarmReservations() == numberOfReservations)
        throw std::logic_error("The dictionary does not take its memory from the warm pages.");
    return peer;
}
