#include "benchmarks/workloads/WorkloadRun.h"

#include "benchmarks/pages/PagePool.h"
#include "benchmarks/workloads/ThreadGroup.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <span>
#include <string>
#include <string_view>

namespace {

using Texts = std::array<std::string_view, NUMBER_OF_TEXTS_IN_GROUP>;

/// Calls `operation` for each group of a share, with its start and its size.
template<class Operation>
void forEachGroup(const Share share, const Operation operation) {
    for (size_t begin = share.m_begin; begin < share.m_end; begin += NUMBER_OF_TEXTS_IN_GROUP)
        operation(begin, std::min(NUMBER_OF_TEXTS_IN_GROUP, share.m_end - begin));
}

std::span<const std::string_view> readGroup(const TextList& texts, const size_t begin, const size_t number,
                                            Texts& group) {
    for (size_t index = 0; index < number; ++index)
        group[index] = texts[begin + index];
    return {group.data(), number};
}

void check(const bool isRight, const PeerKind& kind, const char* const objection) {
    if (!isRight)
        throw WrongAnswer(kind.m_name + ": " + objection);
}

} // namespace

WorkloadRun::WorkloadRun(const WorkloadData& data, const PeerKind& kind, const size_t numberOfThreads)
    : m_data(data), m_kind(kind), m_numberOfThreads(numberOfThreads), m_ids(data.m_texts.getSize()),
      m_answers(std::max(m_ids.size(), data.m_drawnTexts.getSize())) {}

WorkloadRun::~WorkloadRun() = default;

void WorkloadRun::startAgain() {
    m_peer.reset();
    PagePool::get().reset();
    m_peer = m_kind.m_make();
}

double WorkloadRun::resolve(const TextList& texts, std::vector<uint64_t>& ids) {
    const double seconds =
        runShares(*m_peer, m_numberOfThreads, texts.getSize(), [&](PeerThread& thread, const Share share) {
            Texts group;
            forEachGroup(share, [&](const size_t begin, const size_t number) {
                thread.resolve(readGroup(texts, begin, number, group), {ids.data() + begin, number});
            });
        });
    m_peer->commit();
    return seconds;
}

/// Checks that the IDs give the strings, and that there are exactly as many IDs as distinct strings.
void WorkloadRun::checkIDs(const TextList& texts, const std::vector<uint64_t>& ids,
                           const size_t numberOfDistinctTexts) {
    const size_t endID = numberOfDistinctTexts + 1;
    std::vector<std::atomic<uint8_t>> isTaken(endID);
    std::atomic<size_t> numberOfIDs{0};
    runShares(*m_peer, m_numberOfThreads, texts.getSize(), [&](PeerThread& thread, const Share share) {
        Texts group;
        forEachGroup(share, [&](const size_t begin, const size_t number) {
            const std::span<const uint64_t> someIDs(ids.data() + begin, number);
            for (const uint64_t id : someIDs) {
                check(id != 0 && id < endID, m_kind, "an ID is out of range");
                if (isTaken[id].exchange(1, std::memory_order_relaxed) == 0)
                    numberOfIDs.fetch_add(1, std::memory_order_relaxed);
            }
            thread.get(someIDs, {group.data(), number});
            for (size_t index = 0; index < number; ++index)
                check(group[index] == texts[begin + index], m_kind, "an ID does not lead back to its string");
        });
    });
    check(numberOfIDs == numberOfDistinctTexts, m_kind, "there are not as many IDs as strings");
}

double WorkloadRun::build() {
    startAgain();
    const double seconds = resolve(m_data.m_texts, m_ids);
    checkIDs(m_data.m_texts, m_ids, m_data.m_texts.getSize());
    return seconds;
}

double WorkloadRun::resolveAgain() {
    const double seconds = resolve(m_data.m_textsInOrder, m_answers);
    for (size_t index = 0; index < m_data.m_order.size(); ++index)
        check(m_answers[index] == m_ids[m_data.m_order[index]], m_kind, "a string has got another ID");
    return seconds;
}

double WorkloadRun::lookUpAbsent() {
    const TextList& texts = m_data.m_absentTexts;
    const double seconds =
        runShares(*m_peer, m_numberOfThreads, texts.getSize(), [&](PeerThread& thread, const Share share) {
            Texts group;
            forEachGroup(share, [&](const size_t begin, const size_t number) {
                thread.lookUp(readGroup(texts, begin, number, group), {m_answers.data() + begin, number});
            });
        });
    check(std::all_of(m_answers.begin(), m_answers.begin() + static_cast<std::ptrdiff_t>(texts.getSize()),
                      [](const uint64_t id) { return id == 0; }),
          m_kind, "a string is found that is not there");
    return seconds;
}

double WorkloadRun::get() {
    const size_t number = m_ids.size();
    for (size_t index = 0; index < number; ++index)
        m_answers[index] = m_ids[m_data.m_order[index]];
    std::atomic<uint64_t> checksum{0};
    const double seconds = runShares(*m_peer, m_numberOfThreads, number, [&](PeerThread& thread, const Share share) {
        Texts group;
        uint64_t shareOfChecksum = 0;
        forEachGroup(share, [&](const size_t begin, const size_t numberInGroup) {
            thread.get({m_answers.data() + begin, numberInGroup}, {group.data(), numberInGroup});
            for (size_t index = 0; index < numberInGroup; ++index)
                shareOfChecksum += getChecksum(group[index]);
        });
        checksum.fetch_add(shareOfChecksum, std::memory_order_relaxed);
    });
    check(checksum == m_data.m_checksum, m_kind, "the strings that were read are not those that were given");
    return seconds;
}

double WorkloadRun::buildFromDrawn() {
    startAgain();
    const double seconds = resolve(m_data.m_drawnTexts, m_answers);
    checkIDs(m_data.m_drawnTexts, m_answers, m_data.m_numberOfDistinctDrawn);
    return seconds;
}
