#include "tests/schedules/HostWorkload.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/system/TableSizes.h"
#include "Engine/core/platform/system/ThreadContextIndex.h"
#include "tests/schedules/ReplacedMemory.h"
#include "tests/schedules/StringModel.h"

#include <algorithm>
#include <array>
#include <functional>
#include <random>
#include <string>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t MEMORY_LIMIT = size_t(1) << 20;
constexpr uint64_t MAXIMUM_NUMBER_OF_RESOURCES = 60;

struct Literal {
    std::string m_form;
    uint8_t m_datatypeID;
};

/// Terms that share a datatype or a namespace.
const std::vector<Literal>& getTerms() {
    static const std::vector<Literal> s_terms{
        {"1^^http://example.org/number", D_TYPED_LITERAL},
        {"2^^http://example.org/number", D_TYPED_LITERAL},
        {"1^^http://example.org/size", D_TYPED_LITERAL},
        {"http://example.org/a", D_IRI},
        {"http://example.org/b", D_IRI},
    };
    return s_terms;
}

DictionaryOptions makeOptions(std::mt19937_64& random) {
    DictionaryOptions options;
    options.m_memoryLimit = MEMORY_LIMIT;
    options.m_maximumNumberOfResources = MAXIMUM_NUMBER_OF_RESOURCES;
    options.m_keepFingerprints = random() % 2 == 0;
    return options;
}

class HostWorkload : private ::Unmovable {
public:
    HostWorkload(Schedule& schedule, const uint64_t seed, WorkloadFigures& figures)
        : m_schedule(schedule), m_random(seed * 2 + 1), m_figures(figures), m_dictionary(makeOptions(m_random)) {}

    void runTerms(const uint64_t seed) {
        const size_t numberOfThreads = 2 + m_random() % 2;
        std::vector<Journal> journals(numberOfThreads);
        std::vector<std::function<void()>> threads;
        for (Journal& journal : journals)
            threads.emplace_back([&journal, this, taskSeed = m_random()] { useTerms(journal, taskSeed); });
        m_schedule.run(threads, seed);
        Journal last(getTerms().size());
        for (size_t term = 0; term < getTerms().size(); ++term)
            lookUp(last, term);
        journals.push_back(std::move(last));
        for (size_t term = 0; term < getTerms().size(); ++term) {
            std::vector<StringModel::Operation> history;
            for (const Journal& journal : journals)
                history.insert(history.end(), journal[term].begin(), journal[term].end());
            m_figures.m_operations += history.size();
            StringModel::check(m_schedule, history);
        }
        m_dictionary.verify();
    }

    void runCommits(const uint64_t seed) {
        Plan plan = makePlan();
        std::vector<std::function<void()>> threads;
        threads.emplace_back([this, &plan] { perform(plan); });
        for (size_t left = 1 + m_random() % 2; left > 0; --left)
            threads.emplace_back([this, &plan, taskSeed = m_random()] { readBeside(plan, taskSeed); });
        m_schedule.run(threads, seed);
        m_figures.m_operations += plan.m_steps.size();
        checkAnswers(plan);
        m_dictionary.verify();
    }

private:
    /// By term, the operations of a thread.
    using Journal = std::vector<std::vector<StringModel::Operation>>;
    using Kind = StringModel::Kind;

    enum class Step : uint8_t { RESOLVE, COMMIT, ROLL_BACK };

    /// What the thread of commits does. Each step that resolves takes a new string, so the IDs are known before.
    struct Plan {
        std::vector<Step> m_steps;
        std::vector<bool> m_isWithdrawn; // by ID, whether a later step withdraws it
    };

    static std::string getString(const uint64_t resourceID) { return "string " + std::to_string(resourceID); }

    void require(const bool isRight, const char* const finding) {
        if (!isRight)
            m_schedule.fail(finding);
    }

    void useTerms(Journal& journal, const uint64_t seed) {
        std::mt19937_64 random(seed);
        journal.resize(getTerms().size());
        DictionaryThread thread(m_dictionary);
        for (size_t left = 1 + random() % 3; left > 0; --left) {
            const size_t term = random() % getTerms().size();
            switch (random() % 4) {
            case 0:
                resolve(journal, thread, term);
                break;
            case 1:
                resolveTogether(journal, thread, {term, random() % getTerms().size()});
                break;
            case 2:
                lookUp(journal, term);
                break;
            default:
                read(journal, 1 + random() % 4);
            }
        }
    }

    void note(Journal& journal, const Kind kind, const size_t term, const uint64_t resourceID,
              const uint64_t invocation) {
        journal[term].push_back({kind, resourceID, invocation, m_schedule.takeTime()});
    }

    void resolve(Journal& journal, DictionaryThread& thread, const size_t term) {
        const uint64_t invocation = m_schedule.takeTime();
        const auto& [form, datatypeID] = getTerms()[term];
        note(journal, Kind::RESOLVE, term, m_dictionary.resolveResource(thread, form, datatypeID), invocation);
    }

    void resolveTogether(Journal& journal, DictionaryThread& thread, const std::vector<size_t>& terms) {
        std::vector<BatchEntry> batch(terms.size());
        for (size_t index = 0; index < terms.size(); ++index) {
            batch[index].m_lexicalForm = getTerms()[terms[index]].m_form;
            batch[index].m_datatypeID = getTerms()[terms[index]].m_datatypeID;
        }
        std::vector<BatchFailure> failures;
        const uint64_t invocation = m_schedule.takeTime();
        m_dictionary.resolveResources(thread, batch, failures);
        require(failures.empty(), "a term was refused");
        for (size_t index = 0; index < terms.size(); ++index)
            note(journal, Kind::RESOLVE, terms[index], batch[index].m_resourceID, invocation);
    }

    void lookUp(Journal& journal, const size_t term) {
        const uint64_t invocation = m_schedule.takeTime();
        const auto& [form, datatypeID] = getTerms()[term];
        note(journal, Kind::LOOK_UP, term,
             m_dictionary.tryResolveResource(DictionaryCommitPoint::ALL, form, datatypeID), invocation);
    }

    /// Reads a resource by its ID, if there is one, and looks its term up: a thread that can read it must find it.
    void read(Journal& journal, const uint64_t resourceID) {
        const uint64_t invocation = m_schedule.takeTime();
        if (!m_dictionary.hasResource(resourceID))
            return;
        std::string form;
        const uint8_t datatypeID = m_dictionary.getResource(resourceID, form);
        const auto found = std::find_if(getTerms().begin(), getTerms().end(), [&](const Literal& term) {
            return term.m_datatypeID == datatypeID && term.m_form == form;
        });
        require(found != getTerms().end(), "an ID means a term that nobody has resolved");
        const auto term = static_cast<size_t>(found - getTerms().begin());
        note(journal, Kind::READ, term, resourceID, invocation);
        lookUp(journal, term);
    }

    /// Resolves a few strings before the threads start, and plans the rest.
    Plan makePlan() {
        Plan plan;
        plan.m_isWithdrawn.push_back(true); // ID 0 has no resource
        DictionaryThread thread(m_dictionary);
        for (size_t left = m_random() % 3; left > 0; --left) {
            m_dictionary.resolveResource(thread, getString(plan.m_isWithdrawn.size()), D_XSD_STRING);
            plan.m_isWithdrawn.push_back(false);
        }
        size_t committedEnd = plan.m_isWithdrawn.size();
        m_dictionary.commit();
        for (size_t left = 1 + m_random() % 6; left > 0; --left) {
            const auto step = static_cast<Step>(std::min<uint64_t>(m_random() % 5, 4) / 2);
            plan.m_steps.push_back(step);
            if (step == Step::RESOLVE)
                plan.m_isWithdrawn.push_back(false);
            else if (step == Step::ROLL_BACK)
                std::fill(plan.m_isWithdrawn.begin() + static_cast<std::ptrdiff_t>(committedEnd),
                          plan.m_isWithdrawn.end(), true);
            else
                committedEnd = plan.m_isWithdrawn.size();
        }
        return plan;
    }

    void perform(const Plan& plan) {
        DictionaryThread thread(m_dictionary);
        for (const Step step : plan.m_steps)
            switch (step) {
            case Step::RESOLVE: {
                const uint64_t resourceID = m_dictionary.getNextResourceID();
                require(m_dictionary.resolveResource(thread, getString(resourceID), D_XSD_STRING) == resourceID,
                        "the only thread that resolves got another ID");
                break;
            }
            case Step::COMMIT:
                m_dictionary.commit();
                break;
            case Step::ROLL_BACK:
                m_dictionary.rollback();
                break;
            }
    }

    void readBeside(const Plan& plan, const uint64_t seed) {
        std::mt19937_64 random(seed);
        for (size_t left = 1 + random() % 3; left > 0; --left)
            if (random() % 3 == 0) {
                const uint64_t size = m_dictionary.size();
                require(size < plan.m_isWithdrawn.size(), "the dictionary has more resources than were resolved");
            } else
                checkAnswers(plan);
    }

    /// All that is committed is found under its ID, unless it was withdrawn; nothing else is found as of the commit
    /// point.
    void checkAnswers(const Plan& plan) {
        const DictionaryCommitPoint commitPoint = m_dictionary.getCommitPoint();
        for (uint64_t resourceID = 1; resourceID < plan.m_isWithdrawn.size(); ++resourceID) {
            const bool isCovered = resourceID < commitPoint.m_resourceID && !plan.m_isWithdrawn[resourceID];
            const uint64_t found = m_dictionary.tryResolveResource(commitPoint, getString(resourceID), D_XSD_STRING);
            require(found == (isCovered ? resourceID : 0), "a lookup does not agree with the commit point");
            std::string form;
            if (isCovered) {
                require(m_dictionary.hasResource(resourceID), "a committed resource cannot be read");
                m_dictionary.getResource(resourceID, form);
                require(form == getString(resourceID), "a committed resource has another string");
            }
        }
    }

    Schedule& m_schedule;
    std::mt19937_64 m_random;
    WorkloadFigures& m_figures;
    Dictionary m_dictionary;
};

} // namespace

void runHostWorkload(Schedule& schedule, const Task first, Task, const uint64_t seed, WorkloadFigures& figures) {
    ReplacedMemory::reset();
    g_currentThreadContextIndex = TableSizes::NUMBER_OF_SLOTS - 1;
    HostWorkload workload(schedule, seed, figures);
    if (first == Task::TERM)
        workload.runTerms(seed);
    else
        workload.runCommits(seed);
}
