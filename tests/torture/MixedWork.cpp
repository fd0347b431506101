#include "tests/torture/MixedWork.h"

#include "Engine/core/data-store/dictionary/ColumnException.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/MelnarException.h"

#include <algorithm>
#include <mutex>
#include <numeric>
#include <stdexcept>

namespace {

constexpr std::array<const char*, 16> NAMES{"terms resolved one by one",
                                            "in batches",
                                            "in columns",
                                            "looked up one by one",
                                            "in batches",
                                            "in columns",
                                            "read one by one",
                                            "in batches",
                                            "in columns",
                                            "by iteration",
                                            "statistics",
                                            "verifications",
                                            "commits",
                                            "rollbacks",
                                            "forms refused",
                                            "terms refused for lack of space"};

} // namespace

void MixedCounts::add(const MixedCounts& other) noexcept {
    for (size_t index = 0; index < m_counts.size(); ++index)
        m_counts[index] += other.m_counts[index];
}

uint64_t MixedCounts::sumUp() const noexcept {
    return std::accumulate(m_counts.begin(), m_counts.end(), uint64_t(0));
}

bool MixedCounts::hasAll() const noexcept {
    return std::ranges::all_of(m_counts, [](const uint64_t count) { return count != 0; });
}

std::string MixedCounts::describe() const {
    static_assert(NAMES.size() == std::tuple_size<decltype(m_counts)>());
    std::string text;
    for (size_t index = 0; index < m_counts.size(); ++index)
        text.append(index == 0 ? "" : ", ").append(withCommas(m_counts[index])).append(" ").append(NAMES[index]);
    return text;
}

MixedWork::MixedWork(MixedSubject& subject, const uint64_t seed)
    : m_subject(subject), m_dictionary(subject.m_dictionary), m_model(subject.m_model), m_thread(m_dictionary),
      m_random(seed) {}

void MixedWork::takeTurn() {
    m_failures.clear();
    m_committed = m_dictionary.getCommitPoint();
    const size_t kind = draw(64);
    if (kind == 0) {
        commitOrRollBack();
        return;
    }
    if (kind < 32 && m_subject.m_numberOfWaiting.load(std::memory_order_relaxed) == 0) {
        const std::shared_lock lock(m_subject.m_changes);
        if (kind < 12)
            resolve();
        else if (kind < 24)
            resolveBatch();
        else if (kind < 27)
            resolveTermColumn();
        else if (kind < 30)
            resolveStringColumn();
        else
            resolveRefused();
    } else if (kind < 38)
        lookUp();
    else if (kind < 44)
        lookUpBatch();
    else if (kind < 48)
        lookUpColumn();
    else if (kind < 52)
        read();
    else if (kind < 57)
        readBatch();
    else if (kind < 60)
        readColumn();
    else if (kind < 62)
        iterate();
    else
        collectStatistics();
}

/// Half of the time the numbers are few, and the same for all threads.
void MixedWork::drawNumbers(const size_t size, const bool areStrings) {
    const uint32_t end = m_model.getNumberOfTerms();
    const uint32_t range = draw(2) == 0 ? end : std::min<uint32_t>(end, 300);
    m_numbers.resize(size);
    for (uint32_t& number : m_numbers) {
        number = static_cast<uint32_t>((m_dictionary.getNextResourceID() + draw(range)) % end);
        if (areStrings)
            number -= number % 16 - number % 16 % NumberedTerm::STRINGS_OF_16;
    }
}

/// Makes m_forms and m_terms of m_numbers.
void MixedWork::makeTerms() {
    m_forms.clear();
    m_terms.clear();
    for (const uint32_t number : m_numbers) {
        m_term.make(number);
        m_forms.push_back(m_term.getForm());
    }
    for (size_t index = 0; index < m_numbers.size(); ++index) {
        m_term.make(m_numbers[index]);
        m_terms.push_back(Term::parse(m_term.getDatatypeID(), m_forms[index]));
    }
    m_resourceIDs.assign(m_numbers.size(), 0);
}

void MixedWork::rememberKnownIDs() {
    m_committed = m_dictionary.getCommitPoint();
    m_knownIDs.clear();
    for (const uint32_t number : m_numbers)
        m_knownIDs.push_back(m_model.getResourceID(number));
}

DictionaryCommitPoint MixedWork::drawCommitPoint() {
    return draw(2) == 0 ? DictionaryCommitPoint::ALL : m_committed;
}

void MixedWork::resolve() {
    drawNumbers(ONE_BY_ONE);
    for (const uint32_t number : m_numbers) {
        m_term.make(number);
        try {
            checkResolved(number, m_dictionary.resolveResource(m_thread, m_term.getForm(), m_term.getDatatypeID()));
            m_counts.add(Kind::RESOLVED);
        } catch (const MelnarException& exception) {
            countRefusal(exception);
        }
    }
}

void MixedWork::resolveBatch() {
    drawNumbers(1 + draw(LARGEST_BATCH));
    m_batch.make(m_numbers);
    m_dictionary.resolveResources(m_thread, m_batch.getEntries(), m_failures);
    size_t numberWithoutID = 0;
    for (size_t index = 0; index < m_numbers.size(); ++index)
        if (const uint64_t resourceID = m_batch.getEntries()[index].m_resourceID; resourceID != 0)
            checkResolved(m_numbers[index], resourceID);
        else
            ++numberWithoutID;
    checkFailures(m_failures, numberWithoutID);
    m_counts.add(Kind::RESOLVED_IN_BATCHES, m_numbers.size() - numberWithoutID);
}

void MixedWork::resolveTermColumn() {
    drawNumbers(1 + draw(LARGEST_BATCH));
    makeTerms();
    m_dictionary.resolveTerms(m_thread, m_terms, m_resourceIDs, m_failures);
    size_t numberWithoutID = 0;
    for (size_t index = 0; index < m_numbers.size(); ++index)
        if (m_resourceIDs[index] != 0)
            checkResolved(m_numbers[index], m_resourceIDs[index]);
        else
            ++numberWithoutID;
    checkFailures(m_failures, numberWithoutID);
    m_counts.add(Kind::RESOLVED_IN_COLUMNS, m_numbers.size() - numberWithoutID);
}

void MixedWork::resolveStringColumn() {
    drawNumbers(1 + draw(LARGEST_BATCH), true);
    makeTerms();
    const std::vector<std::string_view> texts(m_forms.begin(), m_forms.end());
    bool isRefused = false;
    try {
        m_dictionary.encode(m_thread, texts, m_resourceIDs);
    } catch (const ColumnException& exception) {
        countRefusal(exception);
        isRefused = true;
    }
    for (size_t index = 0; index < m_numbers.size(); ++index)
        if (m_resourceIDs[index] != 0 || !isRefused) {
            checkResolved(m_numbers[index], m_resourceIDs[index]);
            m_counts.add(Kind::RESOLVED_IN_COLUMNS);
        }
}

void MixedWork::resolveRefused() {
    const std::string form = "text " + std::to_string(draw(1000)) + "@not a tag";
    try {
        m_dictionary.resolveResource(m_thread, form, D_RDF_PLAIN_LITERAL);
        m_subject.m_findings.add("'" + form + "' is not refused");
    } catch (const MelnarException& exception) {
        if (exception.getKind() != FailureKind::REFUSED_LITERAL)
            throw;
        m_counts.add(Kind::REFUSED_FOR_FORM);
    }
}

void MixedWork::lookUp() {
    drawNumbers(ONE_BY_ONE);
    rememberKnownIDs();
    for (size_t index = 0; index < m_numbers.size(); ++index) {
        m_term.make(m_numbers[index]);
        const DictionaryCommitPoint commitPoint = drawCommitPoint();
        checkFound(index, commitPoint,
                   m_dictionary.tryResolveResource(commitPoint, m_term.getForm(), m_term.getDatatypeID()));
    }
    m_counts.add(Kind::LOOKED_UP, m_numbers.size());
}

void MixedWork::lookUpBatch() {
    drawNumbers(1 + draw(LARGEST_BATCH));
    m_batch.make(m_numbers);
    rememberKnownIDs();
    const DictionaryCommitPoint commitPoint = drawCommitPoint();
    m_dictionary.tryResolveResources(commitPoint, m_batch.getEntries(), m_failures);
    if (!m_failures.empty())
        m_failures.front().throwException();
    for (size_t index = 0; index < m_numbers.size(); ++index)
        checkFound(index, commitPoint, m_batch.getEntries()[index].m_resourceID);
    m_counts.add(Kind::LOOKED_UP_IN_BATCHES, m_numbers.size());
}

void MixedWork::lookUpColumn() {
    const bool areStrings = draw(2) == 0;
    drawNumbers(1 + draw(LARGEST_BATCH), areStrings);
    makeTerms();
    rememberKnownIDs();
    const DictionaryCommitPoint commitPoint = drawCommitPoint();
    if (areStrings)
        m_dictionary.lookUp(commitPoint, std::vector<std::string_view>(m_forms.begin(), m_forms.end()), m_resourceIDs);
    else
        m_dictionary.tryResolveTerms(commitPoint, m_terms, m_resourceIDs, m_failures);
    if (!m_failures.empty())
        m_failures.front().throwException();
    for (size_t index = 0; index < m_numbers.size(); ++index)
        checkFound(index, commitPoint, m_resourceIDs[index]);
    m_counts.add(Kind::LOOKED_UP_IN_COLUMNS, m_numbers.size());
}

void MixedWork::read() {
    drawNumbers(ONE_BY_ONE);
    rememberKnownIDs();
    std::string turtle;
    for (size_t index = 0; index < m_numbers.size(); ++index) {
        const uint64_t resourceID = m_knownIDs[index];
        if (resourceID == 0)
            continue;
        uint8_t datatypeID = D_INVALID;
        m_form.clear();
        try {
            datatypeID = m_dictionary.getResource(resourceID, m_form);
            turtle.clear();
            m_dictionary.appendTurtleLiteral(resourceID, turtle);
        } catch (const MelnarException& exception) {
            if (exception.getKind() != FailureKind::NO_SUCH_RESOURCE)
                throw;
        }
        checkRead(m_numbers[index], resourceID, datatypeID, m_form);
        m_counts.add(Kind::READ);
    }
}

void MixedWork::readBatch() {
    drawNumbers(1 + draw(LARGEST_BATCH));
    rememberKnownIDs();
    std::vector<BatchEntry> entries;
    for (const uint64_t knownID : m_knownIDs)
        entries.push_back({{}, knownID});
    m_dictionary.getResources(entries);
    for (size_t index = 0; index < m_numbers.size(); ++index)
        if (m_knownIDs[index] != 0) {
            m_form.clear();
            m_dictionary.appendLexicalForm(entries[index], m_form);
            checkRead(m_numbers[index], m_knownIDs[index], entries[index].m_datatypeID, m_form);
        }
    m_counts.add(Kind::READ_IN_BATCHES, m_numbers.size());
}

void MixedWork::readColumn() {
    const bool areStrings = draw(2) == 0;
    drawNumbers(1 + draw(LARGEST_BATCH), areStrings);
    rememberKnownIDs();
    if (areStrings) {
        std::vector<std::string_view> texts(m_numbers.size());
        m_dictionary.decode(m_knownIDs, texts);
        for (size_t index = 0; index < m_numbers.size(); ++index)
            if (m_knownIDs[index] != 0)
                checkRead(m_numbers[index], m_knownIDs[index],
                          texts[index].data() == nullptr ? D_INVALID : D_XSD_STRING, texts[index]);
    } else {
        m_dictionary.getTerms(m_knownIDs, m_column);
        for (size_t index = 0; index < m_numbers.size(); ++index)
            if (const Term& term = m_column.getTerms()[index]; m_knownIDs[index] != 0)
                checkRead(m_numbers[index], m_knownIDs[index],
                          term.m_kind == Term::Kind::NONE ? D_INVALID : term.getDatatypeID(),
                          term.m_kind == Term::Kind::NONE ? std::string_view() : term.getLexicalForm(m_form));
    }
    m_counts.add(Kind::READ_IN_COLUMNS, m_numbers.size());
}

void MixedWork::iterate() {
    uint64_t lastID = 0;
    size_t number = 0;
    for (const auto& [resourceID, value] : m_dictionary) {
        if (resourceID <= lastID)
            m_subject.m_findings.add("an iteration gives " + std::to_string(resourceID) + " after " +
                                     std::to_string(lastID));
        lastID = resourceID;
        const std::string_view ownPart(reinterpret_cast<const char*>(value.m_data), value.m_dataSize - 1);
        const std::string_view affix(reinterpret_cast<const char*>(value.m_auxiliaryData), value.m_auxiliaryDataSize);
        m_form.clear();
        if (isOfStrings(value.m_datatypeID))
            m_form = ownPart;
        else
            TermFamily::get(value.m_datatypeID).appendJoined(ownPart, affix, m_form);
        if (const std::optional<uint32_t> known = m_model.getNumber(resourceID))
            checkRead(*known, resourceID, value.m_datatypeID, m_form);
        if (++number == LARGEST_ITERATION)
            break;
    }
    m_counts.add(Kind::ITERATED, number);
}

void MixedWork::collectStatistics() {
    const uint64_t nextID = m_dictionary.getNextResourceID();
    const size_t numberOfStrings = m_dictionary.getNumberOfResources(D_XSD_STRING);
    require(numberOfStrings < m_dictionary.getNextResourceID(), "there are no more strings than IDs");
    require(m_dictionary.size() < m_dictionary.getNextResourceID(), "there are no more terms than IDs");
    require(m_dictionary.getMemoryInUse() <= m_dictionary.getMemoryLimit(), "the limit is kept");
    require(nextID <= m_dictionary.getNextResourceID(), "the next ID never falls");
    require(m_committed <= m_dictionary.getCommitPoint(), "the commit point never falls");
    require(m_dictionary.getTextBytes(D_IRI) == 0 || m_dictionary.mayHaveResources(D_IRI), "there are IRIs");
    const auto info = m_dictionary.getComponentInfo();
    require(info->getSumOverNumericMetric(ComponentInfo::Metric::NUMBER_OF_BUCKETS, std::nullopt) >= 2048,
            "no table shrinks below its first size");
    m_counts.add(Kind::STATISTICS);
}

/// No thread changes anything meanwhile.
void MixedWork::collectDetailedStatistics() {
    const auto info = m_dictionary.getDetailedComponentInfo();
    require(info->getSumOverNumericMetric(ComponentInfo::Metric::BYTES_OF_TEXT, std::nullopt) >=
                m_dictionary.getTextBytes(D_XSD_STRING),
            "strings are a part of the text");
    size_t numberOfEntries = 0;
    for (const TableProfile& profile : m_dictionary.getTableProfiles(1))
        numberOfEntries =
            std::accumulate(profile.m_probeLengths.begin(), profile.m_probeLengths.end(), numberOfEntries);
    require(numberOfEntries == m_dictionary.size(), "each term is once in a table");
    m_counts.add(Kind::STATISTICS);
}

void MixedWork::require(const bool isTrue, const char* const claim) {
    if (!isTrue)
        m_subject.m_findings.add(std::string("a figure is wrong: not true that ") + claim);
}

/// Commits or rolls back, or does what may run beside neither: no thread resolves meanwhile, but others look up and
/// read.
void MixedWork::commitOrRollBack() {
    m_subject.m_numberOfWaiting.fetch_add(1, std::memory_order_relaxed);
    const std::unique_lock lock(m_subject.m_changes);
    m_subject.m_numberOfWaiting.fetch_sub(1, std::memory_order_relaxed);
    const uint64_t nextID = m_dictionary.getNextResourceID();
    switch (draw(8)) {
    case 0:
        m_dictionary.verify();
        m_counts.add(Kind::VERIFIED);
        break;
    case 1:
        collectDetailedStatistics();
        break;
    case 2:
    case 3:
    case 4:
        // The model forgets first: a thread that knows an ID from it must not expect what is being withdrawn.
        m_model.rollBack(m_dictionary.getCommitPoint().m_resourceID, nextID);
        m_dictionary.rollback();
        m_counts.add(Kind::ROLLED_BACK);
        break;
    default:
        if (m_dictionary.commit().m_resourceID != nextID || m_dictionary.getCommitPoint().m_resourceID != nextID)
            m_subject.m_findings.add("a commit does not cover the last ID");
        m_counts.add(Kind::COMMITTED);
    }
}

/// No thread rolls back while this one resolves, so the term can be found and read.
void MixedWork::checkResolved(const uint32_t number, const uint64_t resourceID) {
    if (!m_model.agree(number, resourceID))
        add(number, "is resolved to " + std::to_string(resourceID));
    else if (draw(8) == 0) {
        NumberedTerm term;
        term.make(number);
        std::string form;
        if (m_dictionary.getResource(resourceID, form) != term.getDatatypeID() || form != term.getForm())
            add(number, "is resolved to " + std::to_string(resourceID) + ", under which there is '" + form + "'");
    }
}

/// What was committed before the lookup is found under its ID. What is found is the term, unless it was not committed
/// and has been rolled back.
void MixedWork::checkFound(const size_t index, const DictionaryCommitPoint commitPoint, const uint64_t foundID) {
    const uint32_t number = m_numbers[index];
    const uint64_t resourceID =
        m_subject.m_changeFoundID == nullptr ? foundID : m_subject.m_changeFoundID(number, foundID);
    const bool isCommitted = m_knownIDs[index] != 0 && m_knownIDs[index] < m_committed.m_resourceID;
    if (resourceID >= commitPoint.m_resourceID || (isCommitted && resourceID != m_knownIDs[index]))
        add(number, "is found under " + std::to_string(resourceID) + " as of " +
                        std::to_string(commitPoint.m_resourceID) + " after " + std::to_string(m_knownIDs[index]));
    else if (resourceID != 0) {
        uint8_t datatypeID = D_INVALID;
        m_form.clear();
        try {
            datatypeID = m_dictionary.getResource(resourceID, m_form);
        } catch (const MelnarException& exception) {
            if (exception.getKind() != FailureKind::NO_SUCH_RESOURCE)
                throw;
        }
        checkRead(number, resourceID, datatypeID, m_form);
    }
}

/// Only what was not committed before may be gone. D_INVALID means that there is no resource.
void MixedWork::checkRead(const uint32_t number, const uint64_t resourceID, const uint8_t datatypeID,
                          const std::string_view form) {
    NumberedTerm term;
    term.make(number);
    const bool isRight = datatypeID == D_INVALID ? resourceID >= m_committed.m_resourceID
                                                 : datatypeID == term.getDatatypeID() && form == term.getForm();
    if (!isRight)
        add(number, "has the ID " + std::to_string(resourceID) + ", under which there is '" + std::string(form) +
                        "' of datatype " + std::to_string(datatypeID));
}

void MixedWork::checkFailures(const std::span<const BatchFailure> failures, const size_t numberWithoutID) {
    if (failures.size() != numberWithoutID)
        m_subject.m_findings.add(std::to_string(numberWithoutID) + " entries have no ID, and there are " +
                                 std::to_string(failures.size()) + " failures");
    for (const BatchFailure& failure : failures)
        if (failure.m_kind != FailureKind::MEMORY && failure.m_kind != FailureKind::FULL)
            failure.throwException();
    m_counts.add(Kind::REFUSED_FOR_SPACE, failures.size());
}

void MixedWork::countRefusal(const MelnarException& exception) {
    if (exception.getKind() != FailureKind::MEMORY && exception.getKind() != FailureKind::FULL)
        throw; // NOLINT(misc-throw-by-value): the exception that is being handled
    m_counts.add(Kind::REFUSED_FOR_SPACE);
}

void MixedWork::add(const uint32_t number, const std::string& finding) {
    NumberedTerm term;
    term.make(number);
    m_subject.m_findings.add("'" + term.getForm() + "' " + finding + "; committed below " +
                             std::to_string(m_committed.m_resourceID));
}
