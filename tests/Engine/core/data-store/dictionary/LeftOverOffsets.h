#pragma once

#include "Engine/core/data-store/dictionary/DictionaryCompactionState.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "tests/Engine/core/data-store/dictionary/SavedDatatype.h"
#include "tests/support/DictionaryFixture.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// How the tables of a datatype begin a new life, in which there are no resources yet.
enum class NewLife { INITIALIZE, INITIALIZE_FOR_SNAPSHOT, COMPACT_TO_NOTHING, LOAD, LOAD_BEFORE_OFFSETS };

inline constexpr std::array ALL_NEW_LIVES = {NewLife::INITIALIZE, NewLife::INITIALIZE_FOR_SNAPSHOT,
                                             NewLife::COMPACT_TO_NOTHING, NewLife::LOAD, NewLife::LOAD_BEFORE_OFFSETS};

/// A datatype that has lived before: whatever chunk of 40 bytes is laid down in its pool now, in the order of the IDs,
/// the offset that is left over at the next ID lies in its middle.
template<class T>
struct LeftOverOffsets : public DictionaryFixture<T> {
    explicit LeftOverOffsets(const uint64_t numberOfResources) {
        this->resolve(std::string(18, 'f')); // a chunk of 20 bytes: header, form and terminator
        for (uint64_t number = 1; number <= numberOfResources; ++number)
            this->resolve(makeForm(number, 'o'));
    }

    /// A form with a chunk of 40 bytes.
    static std::string makeForm(const uint64_t number, const char fill = 'n') {
        std::string form = std::to_string(number);
        return form.append(38 - form.size(), fill);
    }

    void startAgain(const NewLife newLife) {
        this->m_nextResourceID = 1;
        this->m_dataPool.initialize(DictionaryParts::POOL_CAPACITY);
        switch (newLife) {
        case NewLife::INITIALIZE:
            this->m_datatype.initialize(0);
            break;
        case NewLife::INITIALIZE_FOR_SNAPSHOT:
            this->m_datatype.initializeForSnapshot(std::vector<uint64_t>(7, 0));
            break;
        case NewLife::COMPACT_TO_NOTHING: {
            DictionaryCompactionState state(this->m_memoryManager);
            state.m_entries.initialize(1);
            state.m_entries.ensureEndAtLeast(1);
            this->m_datatype.finishCompact(state);
            break;
        }
        case NewLife::LOAD:
            loadNothing();
            break;
        case NewLife::LOAD_BEFORE_OFFSETS:
            const uint64_t end = this->m_resourceDataOffsets.getEnd();
            const std::vector<uint64_t> offsets(&this->m_resourceDataOffsets[0], &this->m_resourceDataOffsets[0] + end);
            this->m_resourceDataOffsets.truncate(0);
            loadNothing();
            this->m_resourceDataOffsets.ensureEndAtLeast(end);
            std::copy(offsets.begin(), offsets.end(), &this->m_resourceDataOffsets[0]);
        }
    }

private:
    void loadNothing() {
        const std::string bytes = SavedDatatype<T>().toStream();
        MemoryInputStream input(bytes);
        this->m_datatype.load(input);
    }
};
